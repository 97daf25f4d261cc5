// SPDX-License-Identifier: Proprietary
#include "QualityMetrics.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vorel {
namespace tools {
namespace {

// A smooth scene moved by `shift`: image(p + shift) == scene(p).
cv::Mat_<float> scene(cv::Size size, cv::Point2f shift = {}) {
    cv::Mat_<float> image(size);
    for (int row = 0; row < size.height; ++row)
        for (int col = 0; col < size.width; ++col) {
            const float x = col - shift.x, y = row - shift.y;
            image(row, col) = 20.0f + 4.0f * std::sin(0.3f * x) + 3.0f * std::cos(0.23f * y + 0.1f * x);
        }
    return image;
}

TEST(QualityMetrics, SsimIsOneForIdenticalAndFallsWithNoise) {
    const cv::Mat_<float> truth = scene({64, 48});
    EXPECT_NEAR(ssim(truth, truth, 10.0), 1.0, 1e-9);
    double previous = 1.0;
    for (float sigma : {0.1f, 0.5f, 2.0f}) {
        SCOPED_TRACE(sigma);
        cv::Mat_<float> noise(truth.size());
        cv::RNG(5).fill(noise, cv::RNG::NORMAL, 0.0, sigma);
        const double score = ssim(truth + noise, truth, 10.0);
        EXPECT_LT(score, previous);
        EXPECT_GT(score, 0.0);
        previous = score;
    }
    // A brightness offset alone costs little structure; a flat image loses it all.
    EXPECT_GT(ssim(truth + 0.2f, truth, 10.0), 0.99);
    EXPECT_LT(ssim(cv::Mat_<float>(truth.size(), 20.0f), truth, 10.0), 0.1);
}

TEST(QualityMetrics, CompareAlignedFindsWholeAndHalfPixelShifts) {
    const cv::Size size(80, 60);
    const cv::Mat_<float> truth = scene(size);
    for (const cv::Point2f shift :
         {cv::Point2f(0, 0), cv::Point2f(2, -1), cv::Point2f(-3, 3), cv::Point2f(1.5, -0.5)}) {
        SCOPED_TRACE(testing::Message() << shift);
        const Quality quality = compareAligned(scene(size, shift), truth, 3, 8);
        EXPECT_EQ(quality.shift, shift);
        if (shift.x == std::round(shift.x)) {
            EXPECT_TRUE(std::isinf(quality.psnr));
            EXPECT_NEAR(quality.ssim, 1.0, 1e-9);
        } else {
            EXPECT_GT(quality.psnr, 50.0);
            EXPECT_GT(quality.ssim, 0.999);
        }
    }
}

TEST(QualityMetrics, PsnrUsesTheTruthRangeAsPeak) {
    const cv::Mat_<float> truth = scene({40, 40});
    double low = 0.0, high = 0.0;
    cv::minMaxLoc(truth, &low, &high);
    const Quality quality = compareAligned(truth + 0.25f, truth, 0, 4);
    EXPECT_EQ(quality.shift, cv::Point2f());
    EXPECT_NEAR(quality.psnr, 20.0 * std::log10((high - low) / 0.25), 1e-4);
}

}  // namespace
}  // namespace tools
}  // namespace vorel
