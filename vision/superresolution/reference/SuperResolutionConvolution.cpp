// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/reference/SuperResolutionConvolution.h"

#include "vision/superresolution/SrFloatConvolution.h"

#include <opencv2/core.hpp>

namespace vorel {
namespace vision {

SuperResolutionConvolution::SuperResolutionConvolution(int gridWidth, int gridHeight, int kernelWidth,
                                                       int kernelHeight, float factor)
    : gridWidth(gridWidth),
      gridHeight(gridHeight),
      operators(std::make_shared<SrFloatConvolution>(gridWidth, gridHeight, kernelWidth, kernelHeight, factor)) {}

SuperResolutionConvolution::~SuperResolutionConvolution() = default;
SuperResolutionConvolution::SuperResolutionConvolution(const SuperResolutionConvolution&) = default;
SuperResolutionConvolution& SuperResolutionConvolution::operator=(const SuperResolutionConvolution&) = default;

void SuperResolutionConvolution::fullConvFromSparse(float* lowRes, float* psfX, float* psfY, char* mask, float* out) {
    operators->fullConvFromSparse(lowRes, psfX, psfY, mask, out);
}

void SuperResolutionConvolution::validCorrToSparse(float* grid, float* psfX, float* psfY, float* out) {
    operators->validCorrToSparse(grid, psfX, psfY, out);
}

void SuperResolutionConvolution::sameConvOnes(float* in, int radius, float* out) {
    cv::Mat_<float> source(gridHeight, gridWidth, in);
    cv::Mat_<float> target(gridHeight, gridWidth, out);
    SrFloatConvolution::blurImageMeanFilter(source, radius, target);
}

}  // namespace vision
}  // namespace vorel
