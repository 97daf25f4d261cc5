// SPDX-License-Identifier: Proprietary
#include "QualityMetrics.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace vorel {
namespace tools {

double psnr(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, double peak) {
    CV_Assert(image.size() == truth.size() && !image.empty());
    const double squaredError = cv::norm(image, truth, cv::NORM_L2SQR);
    if (squaredError == 0.0) return std::numeric_limits<double>::infinity();
    return 10.0 * std::log10(peak * peak * image.total() / squaredError);
}

double psnrInside(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, int border) {
    const cv::Rect inside(border, border, truth.cols - 2 * border, truth.rows - 2 * border);
    double low = 0.0, high = 0.0;
    cv::minMaxLoc(truth(inside), &low, &high);
    return psnr(image(inside), truth(inside), high - low);
}

double ssim(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, double peak) {
    CV_Assert(image.size() == truth.size() && !image.empty());
    const double c1 = (0.01 * peak) * (0.01 * peak), c2 = (0.03 * peak) * (0.03 * peak);
    cv::Mat x, y;
    image.convertTo(x, CV_64F);
    truth.convertTo(y, CV_64F);
    const auto smooth = [](const cv::Mat& in) {
        cv::Mat out;
        cv::GaussianBlur(in, out, cv::Size(11, 11), 1.5, 1.5, cv::BORDER_REFLECT);
        return out;
    };
    const cv::Mat muX = smooth(x), muY = smooth(y);
    const cv::Mat muXX = muX.mul(muX), muYY = muY.mul(muY), muXY = muX.mul(muY);
    const cv::Mat varX = smooth(x.mul(x)) - muXX, varY = smooth(y.mul(y)) - muYY, covXY = smooth(x.mul(y)) - muXY;
    cv::Mat numerator = (2.0 * muXY + c1).mul(2.0 * covXY + c2);
    cv::Mat denominator = (muXX + muYY + c1).mul(varX + varY + c2);
    cv::Mat map;
    cv::divide(numerator, denominator, map);
    return cv::mean(map)[0];
}

Quality compareAligned(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, int maxShift, int border) {
    CV_Assert(image.size() == truth.size());
    border = std::max(border, maxShift + 1);
    CV_Assert(image.cols > 2 * border && image.rows > 2 * border);
    double low = 0.0, high = 0.0;
    cv::minMaxLoc(truth, &low, &high);
    const double peak = high > low ? high - low : 1.0;
    const cv::Rect interior(border, border, truth.cols - 2 * border, truth.rows - 2 * border);
    const cv::Mat_<float> reference = truth(interior);
    // The image content at p + shift, over the interior.
    const auto moved = [&](cv::Point2f shift) -> cv::Mat_<float> {
        const cv::Point whole(cvRound(shift.x), cvRound(shift.y));
        if (shift == cv::Point2f(whole)) return image(interior + whole);
        const cv::Matx23f translation(1, 0, shift.x + border, 0, 1, shift.y + border);
        cv::Mat_<float> resampled;
        cv::warpAffine(image, resampled, translation, interior.size(), cv::INTER_CUBIC | cv::WARP_INVERSE_MAP,
                       cv::BORDER_REPLICATE);
        return resampled;
    };

    Quality best;
    best.psnr = -std::numeric_limits<double>::infinity();
    const auto consider = [&](cv::Point2f shift) {
        const double score = psnr(moved(shift), reference, peak);
        if (score > best.psnr) {
            best.psnr = score;
            best.shift = shift;
        }
    };
    for (int dy = -maxShift; dy <= maxShift; ++dy)
        for (int dx = -maxShift; dx <= maxShift; ++dx) consider(cv::Point2f(dx, dy));
    const cv::Point2f whole = best.shift;
    for (float dy : {-0.5f, 0.0f, 0.5f})
        for (float dx : {-0.5f, 0.0f, 0.5f})
            if (dx != 0.0f || dy != 0.0f) consider(whole + cv::Point2f(dx, dy));
    best.ssim = ssim(moved(best.shift), reference, peak);
    return best;
}

}  // namespace tools
}  // namespace vorel
