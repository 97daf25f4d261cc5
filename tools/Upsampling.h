// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

namespace vorel {
namespace tools {

/// Enlarges a frame to twice its width and height with an OpenCV interpolation
/// (cv::INTER_CUBIC, cv::INTER_LANCZOS4, ...) in the library's geometry: input
/// pixel (i, j) covers output pixels 2i..2i+1 and 2j..2j+1, its value landing
/// at their centre (2i + 0.5, 2j + 0.5), so that every method's result can be
/// compared with the same ground truth.
cv::Mat_<float> upsample(const cv::Mat_<float>& frame, int interpolation);

}  // namespace tools
}  // namespace vorel
