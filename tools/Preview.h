// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace vorel {
namespace tools {

/// Maps temperatures to an 8-bit BGR thermal palette (black, violet, red,
/// orange, yellow, white): `low` and below black, `high` and above white.
cv::Mat colourize(const cv::Mat_<float>& image, float low, float high);

/// The 0.5 and 99.5 percentiles of an image's finite values: a display range
/// that one defective or saturated pixel does not widen.
cv::Vec2f displayRange(const cv::Mat_<float>& image);

/// Images of equal size, side by side in the thermal palette, each captioned.
/// The display range is that of the last image.
cv::Mat sideBySide(const std::vector<cv::Mat_<float>>& images, const std::vector<std::string>& labels);

}  // namespace tools
}  // namespace vorel
