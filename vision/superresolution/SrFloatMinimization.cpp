// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatMinimization.h"

namespace vorel {
namespace vision {

SrFloatMinimization::SrFloatMinimization(int width, int height, int frameCount, float factor)
    : SrFloatMinimizationBase(width, height, frameCount, factor, 0) {}

}  // namespace vision
}  // namespace vorel
