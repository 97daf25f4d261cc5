// SPDX-License-Identifier: Proprietary
#pragma once

#include "RadiometricCalibration.h"
#include "Reconstructor.h"

#include <opencv2/core.hpp>

#include <memory>
#include <string>

namespace vorel {
namespace vision {
class SuperResolution;
}
namespace tools {

/// Whether an image as readImage returns it holds 16-bit counts (unsigned from
/// PNG or TIFF, signed from a raw int16 file).
bool holdsCounts(const cv::Mat& image);

/// The counts as the engine takes them, signed 16-bit. Counts above 32767 do
/// not fit and throw ToolError(UnreadableInput) naming `path`.
cv::Mat_<short> engineCounts(const cv::Mat& image, const std::string& path);

/// The first-generation engine on 16-bit sensor counts: super-resolved as
/// counts through its short path (a 16-bit result, truncated toward zero), or,
/// once calibrated, each frame converted to radiometric values and
/// super-resolved as floats (processFrame2: a 32-bit float result in the
/// calibration's units). Failures of the library throw ToolError(Reconstruction).
class CountsReconstructor {
public:
    CountsReconstructor(cv::Size frameSize, const ReconstructionSettings& settings);
    ~CountsReconstructor();

    /// Converts every later frame with this calibration.
    CalibrationReport calibrate(const RadiometricCalibration& calibration);
    /// Adds a frame; once the window is full, recomputes the result.
    Outcome add(const cv::Mat_<short>& counts);
    /// The last result, twice the frames' width and height: CV_16S, or CV_32F when calibrated.
    const cv::Mat& result() const { return result_; }

private:
    std::unique_ptr<vision::SuperResolution> engine_;
    bool verbose_;
    bool calibrated_ = false;
    int frames_ = 0;
    cv::Mat result_;
};

}  // namespace tools
}  // namespace vorel
