// SPDX-License-Identifier: Proprietary
#include "Upsampling.h"

#include <opencv2/imgproc.hpp>

namespace vorel {
namespace tools {

cv::Mat_<float> upsample(const cv::Mat_<float>& frame, int interpolation) {
    // Output (x, y) samples the input at (x / 2, y / 2); cv::resize would
    // align pixel centres instead and shift everything by half a pixel.
    const cv::Matx23d outputToInput(0.5, 0.0, 0.0, 0.0, 0.5, 0.0);
    cv::Mat_<float> enlarged;
    cv::warpAffine(frame, enlarged, outputToInput, cv::Size(2 * frame.cols, 2 * frame.rows),
                   interpolation | cv::WARP_INVERSE_MAP, cv::BORDER_REPLICATE);
    return enlarged;
}

}  // namespace tools
}  // namespace vorel
