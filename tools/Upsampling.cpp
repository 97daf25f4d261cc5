// SPDX-License-Identifier: Proprietary
#include "Upsampling.h"

#include <opencv2/imgproc.hpp>

namespace vorel {
namespace tools {

cv::Mat_<float> upsample(const cv::Mat_<float>& frame, int interpolation) {
    // cv::resize aligns pixel centres, which is the library's geometry.
    cv::Mat_<float> enlarged;
    cv::resize(frame, enlarged, cv::Size(2 * frame.cols, 2 * frame.rows), 0.0, 0.0, interpolation);
    return enlarged;
}

}  // namespace tools
}  // namespace vorel
