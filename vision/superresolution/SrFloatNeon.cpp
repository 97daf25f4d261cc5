// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatNeon.h"

#include <algorithm>
#include <cstring>

namespace vorel {
namespace vision {

template <class Registration>
SrFloatNeon<Registration>::SrFloatNeon(int width, int height, int numFrames, float factor)
    : Base(width, height, numFrames, factor) {}

template <class Registration>
float SrFloatNeon<Registration>::computeSR(cv::Mat_<float>& out) {
    if (out.rows != this->outputHeight || out.cols != this->outputWidth || !out.data)
        out.create(this->outputHeight, this->outputWidth);
    return computeSR(out[0]);
}

template <class Registration>
float SrFloatNeon<Registration>::computeSR(float* out) {
    const int maxCount = this->sampleCap_();
    const int n = this->frameCount;
    const int ref = std::max(0, n - this->referenceIndex - 1);
    if (n == 0 ||
        this->registration.doRegistration(n, ref, this->frames, this->shifts, this->masks, this->shiftedFrames) < 0)
        return -998.0f;
    std::vector<cv::Point2f> completeShifts;
    const int status = this->checkWindow_(n, completeShifts);
    const int iterations =
        this->minimization.minimize(n, ref, this->shiftedFrames, this->shifts, this->masks, this->estimate);
    if (iterations < 0) return static_cast<float>(iterations);
    std::copy_n(this->estimate, this->outputSize, out);
    const float srfactor = this->srFactor_(n, maxCount);
    return status != 0 ? static_cast<float>(status) : srfactor;
}

template <class Registration>
void SrFloatNeon<Registration>::getMasks(std::vector<cv::Mat_<float>>& out) const {
    out.resize(static_cast<std::size_t>(this->numFrames));
    for (int i = 0; i < this->numFrames; ++i) {
        out[i].create(this->height, this->width);
        std::memcpy(out[i].data, this->masks[i], static_cast<std::size_t>(this->inputSize));
    }
}

template class SrFloatNeon<SrFloatNeonRegistration>;

}  // namespace vision
}  // namespace vorel
