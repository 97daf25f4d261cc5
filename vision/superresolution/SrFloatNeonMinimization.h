// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"
#include "vision/superresolution/SrFloatMinimizationBase.h"

namespace vorel {
namespace vision {

/// The vector engine's minimiser (see SrFloatMinimizationBase): float masks
/// (1.0 = use, 0.0 = ignore), the four-lane operators of SrFloatNeonConvolution
/// and row-major full-size images. Every image buffer ends in 4 zeroed spare
/// floats, so that a four-lane loop may run up to 3 elements past its end.
class VRLIB_API SrFloatNeonMinimization : public SrFloatMinimizationBase<SrFloatNeonConvolution, float> {
public:
    /// width, height: frame size; frameCount: largest window; factor: up-scaling (2).
    SrFloatNeonMinimization(int width, int height, int frameCount, float factor);
};

}  // namespace vision
}  // namespace vorel
