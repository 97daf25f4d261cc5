// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include <memory>

namespace vorel {
namespace vision {

/// Two-dimensional FFT of a width x height real image, and Gaussian smoothing in
/// the frequency domain with a repair of the border that the circular smoothing
/// wraps around.
///
/// A half spectrum holds `height` rows of width / 2 + 1 complex values
/// (interleaved real, imaginary floats): entry [y][k] is the DFT coefficient of
/// column frequency k and row frequency y, exponent sign -, no scaling. For an odd
/// width, [y][width / 2] comes from the imaginary part of the last row
/// coefficient and its real part is dropped; the transform then loses that part.
/// Plans and buffers are made once in the constructor; no call allocates, and as
/// every call uses them as scratch, one object serves one call at a time.
class VRLIB_API SrFloatFft2d {
public:
    SrFloatFft2d(int width, int height);
    ~SrFloatFft2d();
    SrFloatFft2d(const SrFloatFft2d&) = delete;
    SrFloatFft2d& operator=(const SrFloatFft2d&) = delete;

    /// Real image (height rows of width floats) to half spectrum.
    void forward(const float* image, float (*spectrum)[2]);
    /// Half spectrum to real image, unscaled: backward(forward(x)) = width * height * x
    /// for even widths. The spectrum is left unchanged.
    void backward(const float (*spectrum)[2], float* image);

    /// Writes the radius + 1 taps (centre first) of a pixel-integrated Gaussian,
    /// normalised so that the 2 radius + 1 taps sum to 1, into `kernel`, and the
    /// response of the separable kernel divided by width * height into `spectrum`:
    /// backward of a spectrum times this response is the circular smoothing.
    void gaussFft(int radius, float sigma, float (*spectrum)[2], float* kernel);

    /// Turns `blurred`, the circular smoothing of `raw` with the taps of gaussFft,
    /// into the smoothing with the kernel cut at the image border and renormalised
    /// to the taps inside, in place. Only pixels within `radius` of the border change.
    void repairGaussBlur(const float* raw, float* blurred, int radius, float* kernel);

    int getWidth() const { return width; }
    int getHeight() const { return height; }

private:
    void convolveRowCircular_(const float* row, const float* kernel, int radius, float* out) const;
    void convolveColumnCut_(const float* raw, int column, const float* kernel, int radius, float* out) const;

    int width;
    int height;
    std::unique_ptr<float[]> realWork;
    std::unique_ptr<float[]> complexWork;
    int realFactors[15];
    int complexFactors[15];
    std::unique_ptr<float[]> lineBuffer;
    int numPlans;
    // Rows or columns transformed side by side, and their scratch.
    std::unique_ptr<float[]> batch;
    std::unique_ptr<float[]> batchScratch;
};

}  // namespace vision
}  // namespace vorel
