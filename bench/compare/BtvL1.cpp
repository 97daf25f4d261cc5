// SPDX-License-Identifier: Proprietary
#include "BtvL1.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/superres.hpp>

#include <algorithm>
#include <limits>

namespace vorel {
namespace bench {
namespace {

// Hands out the burst's frames once, then empty frames, as a finished video would.
class BurstFrameSource : public cv::superres::FrameSource {
public:
    explicit BurstFrameSource(std::vector<cv::Mat> frames) : frames_(std::move(frames)) {}

    void nextFrame(cv::OutputArray frame) override {
        if (next_ < frames_.size()) frames_[next_++].copyTo(frame);
        else frame.release();
    }
    void reset() override { next_ = 0; }

private:
    std::vector<cv::Mat> frames_;
    size_t next_ = 0;
};

constexpr int kKernelSize = 7;  // OpenCV's default bilateral kernel, also the border it drops

}  // namespace

BtvL1::BtvL1(float blurSigma, int iterations) : blurSigma_(blurSigma), iterations_(iterations) {}

std::vector<cv::Mat_<float>> BtvL1::reconstruct(const std::vector<cv::Mat_<float>>& burst) const {
    double low = std::numeric_limits<double>::max(), high = std::numeric_limits<double>::lowest();
    for (const cv::Mat_<float>& frame : burst) {
        double frameLow = 0.0, frameHigh = 0.0;
        cv::minMaxLoc(frame, &frameLow, &frameHigh);
        low = std::min(low, frameLow);
        high = std::max(high, frameHigh);
    }
    const double scale = high > low ? 255.0 / (high - low) : 1.0;
    std::vector<cv::Mat> scaled(burst.size());
    for (size_t i = 0; i < burst.size(); ++i) burst[i].convertTo(scaled[i], CV_32F, scale, -low * scale);

    const cv::Ptr<cv::superres::SuperResolution> method = cv::superres::createSuperResolution_BTVL1();
    method->setScale(2);
    method->setIterations(iterations_);
    method->setKernelSize(kKernelSize);
    method->setBlurSigma(blurSigma_);
    method->setTemporalAreaRadius(static_cast<int>(burst.size()) / 2);
    method->setInput(cv::makePtr<BurstFrameSource>(scaled));

    std::vector<cv::Mat_<float>> results;
    for (size_t i = 0; i < burst.size(); ++i) {
        cv::Mat output;
        method->nextFrame(output);
        CV_Assert(output.rows == 2 * (burst[i].rows - kKernelSize) && output.cols == 2 * (burst[i].cols - kKernelSize));
        cv::Mat_<float> result;
        output.convertTo(result, CV_32F, 1.0 / scale, low);
        cv::copyMakeBorder(result, result, kKernelSize, kKernelSize, kKernelSize, kKernelSize, cv::BORDER_REPLICATE);
        results.push_back(result);
    }
    return results;
}

}  // namespace bench
}  // namespace vorel
