// SPDX-License-Identifier: Proprietary
#include "ReferenceEngine.h"

#include "EngineWarnings.h"
#include "StreamSilencer.h"

#include "vision/superresolution/reference/SuperResolution.h"
#include "vorel/Exception.h"

#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace vorel {
namespace python {

ReferenceEngine::ReferenceEngine(const EngineOptions& requested, bool calibrated) {
    const EngineOptions options = resolvedOptions(requested);
    width_ = options.width;
    height_ = options.height;
    window_ = options.window;
    reference_ = *options.reference;
    calibrated_ = calibrated;
    verbose_ = options.verbose;
    const std::size_t outputSize = static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_) * 4;
    values_.resize(outputSize);
    if (!calibrated_) counts_.resize(outputSize);
    {
        // The engine prints its pre-blur taps while it is built.
        const tools::StreamSilencer quiet(STDOUT_FILENO, !verbose_);
        engine_ = std::make_unique<vision::SuperResolution>(width_, height_, window_, 2.0f);
    }
    // Its own defaults are the C interface's but for the reference frame.
    settingUp([&] {
        engine_->setReferenceIndex(reference_);
        if (options.tvWeight) engine_->setWeightTV(*options.tvWeight);
        if (options.iterations) engine_->setMaxCGIters(*options.iterations);
        if (options.psfSigma) engine_->setPsfSigma(*options.psfSigma);
    });
}

ReferenceEngine::~ReferenceEngine() = default;

Outcome ReferenceEngine::add(const float* frame) { return add_(frame, values_); }

Outcome ReferenceEngine::add(const short* counts) {
    if (!calibrated_) return add_(counts, counts_);
    const std::lock_guard<std::mutex> lock(busy_);
    const tools::StreamSilencer quiet(STDOUT_FILENO, !verbose_);
    Outcome outcome;
    if (!engine_->checkImageStructureQuality(cv::Mat_<short>(height_, width_, const_cast<short*>(counts))))
        outcome.code = -4;
    // With a calibration of the frame size the frame enters the window whatever follows.
    if (calibrationSet_) ++frameCount_;
    float value = 0.0f;
    try {
        value = engine_->processFrame2(counts, values_.data());
    } catch (const vorel::Exception& error) {
        if (calibrationSet_) throw;
        throw std::runtime_error(std::string(error.what()) + ": call set_calibration() before adding counts");
    }
    recordComputation(value, outcome);
    result_ = Result::Values;
    if (const char* warning = tools::engineWarning(outcome.code)) outcome.warning = warning;
    return outcome;
}

template <class T>
Outcome ReferenceEngine::add_(const T* frame, std::vector<T>& result) {
    const std::lock_guard<std::mutex> lock(busy_);
    const tools::StreamSilencer quiet(STDOUT_FILENO, !verbose_);
    Outcome outcome;
    // A flat frame is only flagged, as by the other engine: it is used all the same.
    if (!engine_->checkImageStructureQuality(cv::Mat_<T>(height_, width_, const_cast<T*>(frame)))) outcome.code = -4;
    const int repair = engine_->addFrame(frame);
    if (repair < 0) outcome.code = repair;
    ++frameCount_;
    if (frameCount_ >= window_) {
        recordComputation(engine_->computeSR(result.data()), outcome);
        result_ = std::is_same<T, float>::value ? Result::Values : Result::Counts;
    }
    if (const char* warning = tools::engineWarning(outcome.code)) outcome.warning = warning;
    return outcome;
}

void ReferenceEngine::setCalibration(const cv::Mat_<short>& countsLow, const cv::Mat_<float>& valueLow,
                                     const cv::Mat_<short>& countsHigh, const cv::Mat_<float>& valueHigh) {
    const std::lock_guard<std::mutex> lock(busy_);
    engine_->setNucToRad(countsLow, valueLow, countsHigh, valueHigh);
    calibrationSet_ = true;
}

ReferenceEngine::Result ReferenceEngine::result() const {
    const std::lock_guard<std::mutex> lock(busy_);
    return result_;
}

void ReferenceEngine::copyResult(float* out) const {
    const std::lock_guard<std::mutex> lock(busy_);
    std::copy(values_.begin(), values_.end(), out);
}

void ReferenceEngine::copyResult(short* out) const {
    const std::lock_guard<std::mutex> lock(busy_);
    std::copy(counts_.begin(), counts_.end(), out);
}

std::vector<cv::Point2f> ReferenceEngine::shifts() {
    const std::lock_guard<std::mutex> lock(busy_);
    std::vector<vision::PointF> complete;
    engine_->getCompleteShifts(complete);
    std::vector<cv::Point2f> shifts;
    for (const vision::PointF& shift : complete) shifts.emplace_back(shift.x, shift.y);
    return shifts;
}

std::vector<cv::Mat_<unsigned char>> ReferenceEngine::masks() {
    const std::lock_guard<std::mutex> lock(busy_);
    std::vector<cv::Mat_<unsigned char>> masks;
    engine_->getMasks(masks);
    return masks;
}

long long ReferenceEngine::frameCount() const {
    const std::lock_guard<std::mutex> lock(busy_);
    return frameCount_;
}

}  // namespace python
}  // namespace vorel
