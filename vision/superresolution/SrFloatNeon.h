// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatNeonMinimization.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"

#include <opencv2/core.hpp>

#include <vector>

namespace vorel {
namespace vision {

/// The float engine on four-lane vector operators: SrFloat with float masks
/// (1.0 = use, 0.0 = ignore), SrFloatNeonRegistration and SrFloatNeonMinimization.
/// Frames, parameters and their checks are SrFloat's.
///
/// computeSR() takes the short path: no timing report, and no masking or
/// refilling of the result's pixels near defective frame pixels, so it suits
/// frames without defects. It returns the srfactor, or -998 (registration
/// failed or the window is empty), -6 or -3 as SrFloat does; a null mask
/// pointer raises OpenCV's assertion error (-215).
template <class Registration>
class VRLIB_API SrFloatNeon : public SrFloat<Registration, SrFloatNeonMinimization, float> {
public:
    SrFloatNeon(int width, int height, int numFrames, float factor);

    /// Reconstructs from the window into `out` (outputWidth x outputHeight floats).
    float computeSR(float* out);
    float computeSR(cv::Mat_<float>& out);

    /// One float image of the frame size per window slot, into which only the
    /// first width * height *bytes* of the slot's mask are copied: a quarter of
    /// the floats; the rest keep what the allocation left. Hosts rely on this
    /// byte count, so it stays.
    void getMasks(std::vector<cv::Mat_<float>>& masks) const;

private:
    friend class SrFloatNeonInspector;  // test access to the masks
    using Base = SrFloat<Registration, SrFloatNeonMinimization, float>;
};

extern template class SrFloat<SrFloatNeonRegistration, SrFloatNeonMinimization, float>;
extern template class SrFloatNeon<SrFloatNeonRegistration>;

}  // namespace vision
}  // namespace vorel
