// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

namespace vorel {
namespace tools {

/// Scores of an image against its ground truth.
struct Quality {
    double psnr = 0.0;  ///< dB; infinity for identical images
    double ssim = 0.0;  ///< 1 for identical images
    cv::Point2f shift;  ///< the global shift that aligned the image, in its own pixels
};

/// Peak signal-to-noise ratio, with `peak` the value range that counts as full scale.
double psnr(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, double peak);
/// PSNR over the interior that leaves out `border` pixels on every side, the
/// truth's value range there as the peak; no alignment.
double psnrInside(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, int border);

/// Mean structural similarity over an 11-pixel Gaussian window (sigma 1.5),
/// with the usual constants (0.01 peak)^2 and (0.03 peak)^2.
double ssim(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, double peak);

/// Aligns `image` to `truth` by the global shift within +-maxShift, on a
/// half-pixel grid, that gives the highest PSNR, then scores both on the same
/// interior: a border of `border` pixels (at least maxShift + 1) is left out,
/// so that every method is judged on the same pixels whatever it does at the
/// image edges. Half-pixel shifts resample the image by bicubic interpolation;
/// they let results whose pixel grid sits half a pixel off compete on their
/// content. The peak is the truth's value range.
Quality compareAligned(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, int maxShift = 3, int border = 8);

}  // namespace tools
}  // namespace vorel
