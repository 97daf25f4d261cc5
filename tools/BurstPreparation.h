// SPDX-License-Identifier: Proprietary
#pragma once

#include "vision/superresolution/StuckPixelDetector.h"

#include <opencv2/core.hpp>

#include <memory>
#include <string>
#include <vector>

namespace vorel {
namespace tools {

/// What vsr does to a burst before the library sees it.
struct PreparationSettings {
    std::string stuckPixels = "auto";  ///< "auto", "off" or the path of a defect list
    bool estimateBlur = false;         ///< estimate the blur from the burst
    int window = 5;                    ///< frames per reconstruction
    int reference = 3;                 ///< reference frame, counted back from the newest
    bool verbose = false;              ///< let the library's timing lines through
};

/// Handles two things real thermal bursts bring that the library's defaults
/// do not: stuck sensor pixels, found by vision::StuckPixelDetector or read
/// from a defect list and repaired in every frame (each replaced by the median
/// of its good neighbours), and an unknown blur, estimated with
/// vision::PsfSigmaEstimator from the last window of the burst.
class BurstPreparation {
public:
    BurstPreparation(cv::Size frameSize, const PreparationSettings& settings);
    ~BurstPreparation();

    /// Looks at the first frames of a burst (all the stills, or a video's first
    /// window), repairs them in place and estimates the blur if asked. A burst
    /// too short or too flat for either leaves a line in fallbacks() and the
    /// library's defaults in place. A defect list that cannot be read or does not
    /// fit the frames throws ToolError(UnreadableInput).
    void examine(std::vector<cv::Mat_<float>>& frames);
    /// Repairs a later frame as the examined ones were.
    void repair(cv::Mat_<float>& frame) const;

    /// The estimated blur sigma, or 0 to keep the library's.
    float psfSigma() const { return psfSigma_; }
    /// What was found, a line each, for standard output.
    const std::vector<std::string>& findings() const { return findings_; }
    /// What could not be done and what was used instead, a line each, for standard error.
    const std::vector<std::string>& fallbacks() const { return fallbacks_; }

private:
    void handleStuckPixels_(const std::vector<cv::Mat_<float>>& frames);
    void estimateBlur_(const std::vector<cv::Mat_<float>>& frames);

    cv::Size frameSize_;
    PreparationSettings settings_;
    std::unique_ptr<vision::StuckPixelDetector> detector_;
    float psfSigma_ = 0.0f;
    std::vector<std::string> findings_;
    std::vector<std::string> fallbacks_;
};

}  // namespace tools
}  // namespace vorel
