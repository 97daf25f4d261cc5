// SPDX-License-Identifier: Proprietary
#include "tests/support/SyntheticBurst.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace vorel {
namespace test {

SyntheticBurst::SyntheticBurst(int width, int height, int oversampling, float blurSigma, std::uint64_t seed)
    : width(width), height(height), oversampling(oversampling), rng(seed) {
    const int o = oversampling;
    fine.create((height + 2 * margin) * o, (width + 2 * margin) * o);
    // Smooth background with a texture near the frames' resolution limit; u and v
    // are in frame pixels.
    for (int y = 0; y < fine.rows; ++y) {
        const double v = (y + 0.5) / o;
        for (int x = 0; x < fine.cols; ++x) {
            const double u = (x + 0.5) / o;
            fine(y, x) =
                static_cast<float>(26.0 + 3.0 * std::sin(u * 6.2832 / width) + 2.0 * std::cos(v * 4.0 / height) +
                                   1.5 * std::sin(0.9 * u + 0.4 * v) * std::cos(0.5 * u - 0.8 * v) +
                                   0.8 * std::sin(2.1 * u) * std::sin(1.7 * v));
        }
    }
    // Objects with sharp edges at fine-grid positions, then hot spots of about one frame pixel.
    const int objects = std::max(4, width * height / 300);
    for (int i = 0; i < objects; ++i) {
        const cv::Point corner(rng.uniform(0, fine.cols), rng.uniform(0, fine.rows));
        const cv::Size size(rng.uniform(3 * o, 14 * o), rng.uniform(3 * o, 14 * o));
        const double value = rng.uniform(27.0, 35.0);
        if (i % 2) {
            cv::rectangle(fine, cv::Rect(corner, size), value, cv::FILLED);
        } else {
            cv::circle(fine, corner, size.width / 2, value, cv::FILLED);
        }
    }
    for (int i = 0; i < objects; ++i) {
        const cv::Point corner(rng.uniform(0, fine.cols), rng.uniform(0, fine.rows));
        cv::rectangle(fine, cv::Rect(corner, cv::Size(o, o)), rng.uniform(37.0, 40.0), cv::FILLED);
    }
    fine = cv::min(cv::max(fine, 20.0f), 40.0f);

    const double fineSigma = blurSigma * o / 2.0;
    if (fineSigma > 0.0) {
        cv::GaussianBlur(fine, blurredFine, cv::Size(), fineSigma, fineSigma, cv::BORDER_REFLECT);
    } else {
        blurredFine = fine.clone();
    }
}

cv::Mat_<float> SyntheticBurst::groundTruth() const {
    const int o = oversampling;
    cv::Mat_<float> truth;
    cv::resize(fine(cv::Rect(margin * o, margin * o, width * o, height * o)), truth, cv::Size(2 * width, 2 * height),
               0.0, 0.0, cv::INTER_AREA);
    return truth;
}

cv::Mat_<float> SyntheticBurst::frame(cv::Point2f shift, float noiseSigma) {
    const int o = oversampling;
    const int dx = cvRound(shift.x * o);
    const int dy = cvRound(shift.y * o);
    cv::Mat_<float> result;
    cv::resize(blurredFine(cv::Rect(margin * o - dx, margin * o - dy, width * o, height * o)), result,
               cv::Size(width, height), 0.0, 0.0, cv::INTER_AREA);
    if (noiseSigma > 0.0f) {
        cv::Mat_<float> noise(result.size());
        rng.fill(noise, cv::RNG::NORMAL, 0.0, noiseSigma);
        result += noise;
    }
    return result;
}

double psnr(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, int border) {
    const cv::Rect interior(border, border, truth.cols - 2 * border, truth.rows - 2 * border);
    double low = 0.0;
    double high = 0.0;
    cv::minMaxLoc(truth(interior), &low, &high);
    const double error = cv::norm(image(interior), truth(interior), cv::NORM_L2SQR) / interior.area();
    return 10.0 * std::log10((high - low) * (high - low) / error);
}

}  // namespace test
}  // namespace vorel
