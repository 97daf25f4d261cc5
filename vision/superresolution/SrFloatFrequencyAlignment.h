// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

namespace vorel {
namespace vision {

class SrFloatFft2d;

/// The frequency-domain stage that the phase-correlation registrations share,
/// on scratch the registration owns: Gaussian smoothing of a frame from its half
/// spectrum, and the whole-pixel shift from the peak of the phase correlation.
/// A view: cheap to make for each call.
class SrFloatFrequencyAlignment {
public:
    using Bin = float[2];  // one complex value of a half spectrum

    SrFloatFrequencyAlignment(SrFloatFft2d& fft, Bin* cross, float* surface) : fft(fft), cross(cross), surface(surface) {}

    /// The frame with this spectrum and pixels `raw`, smoothed by the kernel whose
    /// spectrum and taps gaussFft gave, with the border repaired, into `out`.
    void smooth(const Bin* spectrum, const Bin* gaussSpectrum, const float* raw, int radius, float* kernel,
                float* out);

    /// Whole-pixel shift of the frame with spectrum b against the one with spectrum a.
    cv::Point_<int> phaseCorrelation(const Bin* a, const Bin* b);

private:
    SrFloatFft2d& fft;
    Bin* cross;
    float* surface;
};

}  // namespace vision
}  // namespace vorel
