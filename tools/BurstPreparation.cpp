// SPDX-License-Identifier: Proprietary
#include "BurstPreparation.h"
#include "DefectList.h"
#include "StreamSilencer.h"

#include "vision/superresolution/PsfSigmaEstimator.h"

#include <unistd.h>

#include <cstdio>

namespace vorel {
namespace tools {

using vision::PsfSigmaEstimator;
using vision::StuckPixelDetector;

BurstPreparation::BurstPreparation(cv::Size frameSize, const PreparationSettings& settings)
    : frameSize_(frameSize), settings_(settings) {}

BurstPreparation::~BurstPreparation() = default;

void BurstPreparation::examine(std::vector<cv::Mat_<float>>& frames) {
    if (settings_.stuckPixels != "off") handleStuckPixels_(frames);
    if (detector_)
        for (cv::Mat_<float>& frame : frames) repair(frame);
    if (settings_.estimateBlur) estimateBlur_(frames);
}

void BurstPreparation::repair(cv::Mat_<float>& frame) const {
    if (detector_ && !detector_->getStuckPixels().empty()) detector_->repair(frame);
}

void BurstPreparation::handleStuckPixels_(const std::vector<cv::Mat_<float>>& frames) {
    // Too small a frame for the detector's neighbourhoods holds no stuck pixel worth finding.
    if (frameSize_.width < 3 || frameSize_.height < 3) return;
    detector_ = std::make_unique<StuckPixelDetector>(frameSize_.width, frameSize_.height,
                                                     static_cast<int>(frames.size()));
    if (settings_.stuckPixels != "auto") {
        const std::vector<cv::Point> pixels = readDefectList(settings_.stuckPixels);
        requireInside(pixels, frameSize_, settings_.stuckPixels);
        detector_->setStuckPixels(pixels);
        findings_.push_back("stuck pixels: " + std::to_string(pixels.size()) + " from " + settings_.stuckPixels +
                            " repaired in every frame");
        return;
    }
    switch (detector_->detect(frames)) {
        case StuckPixelDetector::Status::Found: {
            const size_t found = detector_->getStuckPixels().size();
            if (found > 0) findings_.push_back("stuck pixels: " + std::to_string(found) + " found and repaired in every frame");
            break;
        }
        case StuckPixelDetector::Status::TooFewFrames:
            fallbacks_.push_back("stuck pixels: not looked for: " + std::to_string(StuckPixelDetector::getMinFrames()) +
                                 " frames needed, got " + std::to_string(frames.size()));
            break;
        case StuckPixelDetector::Status::TooFlat:
            fallbacks_.push_back("stuck pixels: not looked for: the frames are flat, without noise to measure");
            break;
        case StuckPixelDetector::Status::TooStill:
            fallbacks_.push_back(
                "stuck pixels: not looked for: the scene moves too little across the sensor to tell stuck pixels "
                "from scene detail");
            break;
    }
}

void BurstPreparation::estimateBlur_(const std::vector<cv::Mat_<float>>& frames) {
    // The last window is the one the result is computed from.
    const int window = std::min(settings_.window, static_cast<int>(frames.size()));
    const std::vector<cv::Mat_<float>> last(frames.end() - window, frames.end());
    PsfSigmaEstimator estimator(frameSize_.width, frameSize_.height, window);
    PsfSigmaEstimator::Status status;
    {
        StreamSilencer quiet(STDOUT_FILENO, !settings_.verbose);
        status = estimator.estimate(last, std::min(settings_.reference, window - 1));
    }
    char text[160];
    switch (status) {
        case PsfSigmaEstimator::Status::Estimated:
            psfSigma_ = estimator.getSigma();
            std::snprintf(text, sizeof text, "blur: sigma %.2f output pixels, estimated from the burst", psfSigma_);
            findings_.push_back(text);
            return;
        case PsfSigmaEstimator::Status::TooFewFrames:
            std::snprintf(text, sizeof text, "blur: not estimated: %d frames needed, got %d; using the default %.3g",
                          PsfSigmaEstimator::getMinFrames(), window, estimator.getSigma());
            break;
        case PsfSigmaEstimator::Status::TooFlat:
            std::snprintf(text, sizeof text,
                          "blur: not estimated: the frames are too flat to register or show too few clean edges; "
                          "using the default %.3g",
                          estimator.getSigma());
            break;
    }
    fallbacks_.push_back(text);
}

}  // namespace tools
}  // namespace vorel
