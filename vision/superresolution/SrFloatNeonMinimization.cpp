// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatNeonMinimization.h"

namespace vorel {
namespace vision {

SrFloatNeonMinimization::SrFloatNeonMinimization(int width, int height, int frameCount, float factor)
    : SrFloatMinimizationBase(width, height, frameCount, factor, 4) {}

}  // namespace vision
}  // namespace vorel
