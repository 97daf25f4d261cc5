// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatFrequencyAlignment.h"

#include "vision/superresolution/SrFloatFft2d.h"
#include "vorel/Dispatch.h"

#include <cmath>

namespace vorel {
namespace vision {

VOREL_DISPATCH_AVX2 void SrFloatFrequencyAlignment::smooth(const Bin* spectrum, const Bin* gaussSpectrum,
                                                          const float* raw, int radius, float* kernel, float* out) {
    const int bins = (fft.getWidth() / 2 + 1) * fft.getHeight();
    for (int i = 0; i < bins; ++i) {
        const float re = spectrum[i][0], im = spectrum[i][1], gaussRe = gaussSpectrum[i][0],
                    gaussIm = gaussSpectrum[i][1];
        cross[i][0] = re * gaussRe + im * gaussIm;
        cross[i][1] = im * gaussRe - re * gaussIm;
    }
    fft.backward(cross, out);
    fft.repairGaussBlur(raw, out, radius, kernel);
}

VOREL_DISPATCH_AVX2 cv::Point_<int> SrFloatFrequencyAlignment::phaseCorrelation(const Bin* a, const Bin* b) {
    const int width = fft.getWidth();
    const int height = fft.getHeight();
    const int bins = (width / 2 + 1) * height;
    // Zero bins give NaN, which never wins the peak search below.
    for (int i = 0; i < bins; ++i) {
        const double powerA = static_cast<double>(a[i][0]) * a[i][0] + static_cast<double>(a[i][1]) * a[i][1];
        const double powerB = static_cast<double>(b[i][0]) * b[i][0] + static_cast<double>(b[i][1]) * b[i][1];
        const float magnitude = static_cast<float>(std::sqrt(powerB * powerA));
        cross[i][0] = (b[i][0] * a[i][0] + b[i][1] * a[i][1]) / magnitude;
        cross[i][1] = (b[i][1] * a[i][0] - b[i][0] * a[i][1]) / magnitude;
    }
    fft.backward(cross, surface);

    // The first strictly largest element; element 0 (no shift) when none beats it.
    const int size = width * height;
    float best = surface[0];
    int peak = 0;
    for (int i = 1; i < size; ++i) {
        if (surface[i] > best) {
            best = surface[i];
            peak = i;
        }
    }
    int x = peak % width;
    int y = peak / width;
    if (y > height / 2) y -= height;
    if (x > width / 2) x -= width;
    return cv::Point_<int>(x, y);
}

}  // namespace vision
}  // namespace vorel
