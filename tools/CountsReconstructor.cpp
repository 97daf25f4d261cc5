// SPDX-License-Identifier: Proprietary
#include "CountsReconstructor.h"
#include "EngineCalls.h"
#include "ImageFiles.h"

#include "vision/superresolution/reference/SuperResolution.h"

namespace vorel {
namespace tools {

bool holdsCounts(const cv::Mat& image) { return image.depth() == CV_16U || image.depth() == CV_16S; }

cv::Mat_<short> engineCounts(const cv::Mat& image, const std::string& path) {
    double largest = 0.0;
    cv::minMaxLoc(image, nullptr, &largest);
    if (largest > 32767.0)
        throw ToolError(ExitCode::UnreadableInput,
                        cannotRead(path, "counts above 32767 do not fit the engine's signed 16-bit counts"));
    cv::Mat_<short> counts;
    image.convertTo(counts, CV_16S);
    return counts;
}

CountsReconstructor::CountsReconstructor(cv::Size frameSize, const ReconstructionSettings& settings)
    : engine_(configuredEngine<vision::SuperResolution>(frameSize, settings)), verbose_(settings.verbose) {}

CountsReconstructor::~CountsReconstructor() = default;

CalibrationReport CountsReconstructor::calibrate(const RadiometricCalibration& calibration) {
    calibrated_ = true;
    return calibration.applyTo(*engine_);
}

Outcome CountsReconstructor::add(const cv::Mat_<short>& counts) {
    const cv::Mat_<short> pixels = counts.isContinuous() ? counts : counts.clone();
    StreamSilencer quiet(STDOUT_FILENO, !verbose_);
    Outcome outcome;
    outcome.computed = ++frames_ >= engine_->getWindowSize();
    float value = 0.0f;
    if (calibrated_) {
        // Each call converts, adds and computes; only a full window's result counts.
        value = guarded(ExitCode::Reconstruction, [&] {
            result_.create(2 * counts.rows, 2 * counts.cols, CV_32F);
            return engine_->processFrame2(pixels[0], result_.ptr<float>());
        });
    } else {
        outcome.code = guarded(ExitCode::Reconstruction, [&] { return engine_->addFrame(pixels[0]); });
        if (!outcome.computed) return outcome;
        value = guarded(ExitCode::Reconstruction, [&] {
            result_.create(2 * counts.rows, 2 * counts.cols, CV_16S);
            return engine_->computeSR(result_.ptr<short>());
        });
    }
    if (outcome.computed) interpretComputation(value, outcome);
    return outcome;
}

}  // namespace tools
}  // namespace vorel
