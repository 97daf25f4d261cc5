// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/reference/SuperResolutionFft2d.h"

#include "vision/superresolution/SrFloatFft2d.h"

#include <iostream>

namespace vorel {
namespace vision {

SuperResolutionFft2d::SuperResolutionFft2d(int width, int height)
    : width(width), height(height), transforms(std::make_shared<SrFloatFft2d>(width, height)) {}

SuperResolutionFft2d::~SuperResolutionFft2d() = default;
SuperResolutionFft2d::SuperResolutionFft2d(const SuperResolutionFft2d&) = default;
SuperResolutionFft2d& SuperResolutionFft2d::operator=(const SuperResolutionFft2d&) = default;

void SuperResolutionFft2d::forward(float* image, float (*spectrum)[2]) { transforms->forward(image, spectrum); }

void SuperResolutionFft2d::backward(float (*spectrum)[2], float* image) { transforms->backward(spectrum, image); }

void SuperResolutionFft2d::gaussFft(int radius, float sigma, float (*spectrum)[2], float* kernel) {
    transforms->gaussFft(radius, sigma, spectrum, kernel);
    // Hosts of this engine read the taps from its log.
    for (int i = 0; i <= radius; ++i) std::cout << kernel[i] << std::endl;
}

void SuperResolutionFft2d::repairGaussBlur(const float* raw, float* blurred, int radius, float* kernel) {
    transforms->repairGaussBlur(raw, blurred, radius, kernel);
}

}  // namespace vision
}  // namespace vorel
