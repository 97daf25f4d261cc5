// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

namespace vorel {
namespace tools {

/// Enlarges a frame to twice its width and height with an OpenCV interpolation
/// (cv::INTER_CUBIC, cv::INTER_LANCZOS4, ...), on the library's grid: input
/// pixel (i, j) lands on output pixel (2i, 2j), so that results of all methods
/// share one geometry.
cv::Mat_<float> upsample(const cv::Mat_<float>& frame, int interpolation);

}  // namespace tools
}  // namespace vorel
