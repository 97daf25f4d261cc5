// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/reference/SuperResolutionMinimization.h"

#include "vision/superresolution/SrFloatMinimization.h"

#include <algorithm>

namespace vorel {
namespace vision {

SuperResolutionMinimization::SuperResolutionMinimization(int width, int height, int frameCount, float factor)
    : minimizer(std::make_shared<SrFloatMinimization>(width, height, frameCount, factor)),
      shiftScratch(static_cast<std::size_t>(std::max(frameCount, 0))) {}

SuperResolutionMinimization::~SuperResolutionMinimization() = default;
SuperResolutionMinimization::SuperResolutionMinimization(const SuperResolutionMinimization&) = default;
SuperResolutionMinimization& SuperResolutionMinimization::operator=(const SuperResolutionMinimization&) = default;

int SuperResolutionMinimization::minimize(int n, int ref, float** frames, PointF* shifts, char** masks, float* out) {
    for (int k = 0; k < n; ++k) shiftScratch[k] = cv::Point_<float>(shifts[k].x, shifts[k].y);
    return minimizer->minimize(n, ref, frames, shiftScratch.data(), masks, out);
}

int SuperResolutionMinimization::getMaxIter() const { return minimizer->getMaxIter(); }
void SuperResolutionMinimization::setMaxIter(int n) { minimizer->setMaxIter(n); }
float SuperResolutionMinimization::getPsfSigma() const { return minimizer->getPsfSigma(); }
void SuperResolutionMinimization::setPsfSigma(float sigma) { minimizer->setPsfSigma(sigma); }
float SuperResolutionMinimization::getRelRes() const { return minimizer->getRelRes(); }
void SuperResolutionMinimization::setRelRes(float r) { minimizer->setRelRes(r); }
float SuperResolutionMinimization::getWeightTV() const { return minimizer->getWeightTV(); }
void SuperResolutionMinimization::setWeightTV(float w) { minimizer->setWeightTV(w); }
float SuperResolutionMinimization::getEpsilon() const { return minimizer->getEpsilon(); }
void SuperResolutionMinimization::setEpsilon(float e) { minimizer->setEpsilon(e); }

}  // namespace vision
}  // namespace vorel
