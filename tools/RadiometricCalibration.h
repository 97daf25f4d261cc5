// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace vorel {
namespace vision {
class SuperResolution;
}
namespace tools {

/// One point of a two-point calibration as vsr run --nuc takes it,
/// COUNTS:VALUE: a frame of 16-bit counts of a reference scene and the value
/// that scene shows, either one number for a uniform scene or the path of a
/// 32-bit float TIFF with a value per pixel.
struct CalibrationPoint {
    std::string counts;
    std::string value;

    /// Splits at the last ':'. Throws ToolError(Usage) when either side is empty.
    static CalibrationPoint parse(const std::string& text);
};

/// The pixels a calibration could not use (equal or saturated counts, or a gain
/// or offset beyond +-1000): repaired from their neighbours, or left NaN when
/// none of those was usable either.
struct CalibrationReport {
    int repaired = 0;
    int leftNaN = 0;

    /// One line for the user.
    std::string describe() const;
};

/// A two-point calibration from sensor counts to radiometric values, read and
/// checked for the library's reference engine. Counts of 32767 and above are
/// saturated (or do not fit the engine's signed counts): such a pixel counts as
/// unusable in both points and the engine fills it from its neighbours.
class RadiometricCalibration {
public:
    /// Reads both points for frames of `frameSize`. Throws ToolError: Usage for
    /// equal values everywhere, UnreadableInput for files that cannot be read or
    /// hold no 16-bit counts (no 32-bit floats for values), UnusableBurst for
    /// another size or for two frames without a pixel of different unsaturated counts.
    RadiometricCalibration(const CalibrationPoint& low, const CalibrationPoint& high, cv::Size frameSize);

    /// Calibrates the engine (setNucToRad) and reports from what it made of it.
    CalibrationReport applyTo(vision::SuperResolution& engine) const;

private:
    cv::Mat_<short> counts_[2];
    cv::Mat_<float> values_[2];
};

}  // namespace tools
}  // namespace vorel
