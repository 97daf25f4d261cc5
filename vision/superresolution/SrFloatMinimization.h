// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"
#include "vision/superresolution/SrFloatMinimizationBase.h"

namespace vorel {
namespace vision {

/// The float engine's minimiser (see SrFloatMinimizationBase): byte masks, and
/// full-size images kept in the column-phase order of SrFloatConvolution, in
/// which both operators run over contiguous memory.
class VRLIB_API SrFloatMinimization : public SrFloatMinimizationBase<SrFloatConvolution, char> {
public:
    /// width, height: frame size; frameCount: largest window; factor: up-scaling.
    SrFloatMinimization(int width, int height, int frameCount, float factor);

private:
    friend class SrFloatMinimizationInspector;  // test access to the steps
};

}  // namespace vision
}  // namespace vorel
