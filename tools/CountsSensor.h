// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <cstdint>

namespace vorel {
namespace tools {

/// A sensor that reads the scene as 16-bit counts through a gain and an offset
/// of its own per pixel (40 to 60 counts per degree, 500 to 1500 counts at zero
/// degrees), for the radiometric path: the counts of a burst, and those of the
/// uniform scenes that calibrate it.
class CountsSensor {
public:
    CountsSensor(cv::Size size, std::uint64_t seed);

    /// The counts for a frame of values in degrees, rounded to the nearest count.
    cv::Mat_<short> read(const cv::Mat_<float>& degrees) const;
    /// The counts for a uniform scene.
    cv::Mat_<short> readUniform(float degrees) const;

    /// Counts converted by the line through two calibration points per pixel
    /// (counts `low` read `lowValue`, `high` read `highValue`), worked out
    /// directly, as a yardstick for the library's conversion.
    static cv::Mat_<float> convert(const cv::Mat_<short>& counts, const cv::Mat_<short>& low, float lowValue,
                                   const cv::Mat_<short>& high, float highValue);

private:
    cv::Mat_<float> slope_;
    cv::Mat_<float> intercept_;
};

}  // namespace tools
}  // namespace vorel
