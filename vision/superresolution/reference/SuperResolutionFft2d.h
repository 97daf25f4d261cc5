// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include <memory>

namespace vorel {
namespace vision {

class SrFloatFft2d;

/// Two-dimensional real FFT of the reference engine, with the Gaussian pre-blur
/// spectrum. The transforms are the float engine's (SrFloatFft2d, same spectrum
/// layout); gaussFft also prints the normalised taps, one per line. Assignment
/// and copies are shallow: they share the plans and scratch of the source.
class VRLIB_API SuperResolutionFft2d {
public:
    SuperResolutionFft2d(int width, int height);
    ~SuperResolutionFft2d();
    SuperResolutionFft2d(const SuperResolutionFft2d&);
    SuperResolutionFft2d& operator=(const SuperResolutionFft2d&);

    /// Real width x height image to its half spectrum, height rows of width / 2 + 1 values.
    void forward(float* image, float (*spectrum)[2]);
    /// The inverse of forward without the 1 / (width * height) scaling.
    void backward(float (*spectrum)[2], float* image);
    /// Taps of the pixel-integrated Gaussian (radius + 1, centre first, printed
    /// to standard output) and its spectrum divided by width * height.
    void gaussFft(int radius, float sigma, float (*spectrum)[2], float* kernel);
    /// Turns the circular smoothing `blurred` of `raw` into the smoothing with the
    /// kernel cut at the border and renormalised, in place.
    void repairGaussBlur(const float* raw, float* blurred, int radius, float* kernel);

    int getWidth() const { return width; }
    int getHeight() const { return height; }

private:
    friend class SuperResolutionRegistration;  // runs the shared spectral stage on the same plans

    int width;
    int height;
    std::shared_ptr<SrFloatFft2d> transforms;
};

}  // namespace vision
}  // namespace vorel
