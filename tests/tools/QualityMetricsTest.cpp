// SPDX-License-Identifier: Proprietary
#include "QualityMetrics.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vorel {
namespace tools {
namespace {

cv::Mat_<float> texture(cv::Size size) {
    cv::Mat_<float> image(size);
    for (int row = 0; row < size.height; ++row)
        for (int col = 0; col < size.width; ++col)
            image(row, col) =
                20.0f + 5.0f * std::sin(col * 0.7f) * std::cos(row * 0.4f) + 0.05f * ((row * 31 + col * 17) % 13);
    return image;
}

TEST(QualityMetrics, PsnrOfAConstantErrorIsKnown) {
    const cv::Mat_<float> truth = texture({30, 20});
    // error 0.5 everywhere, peak 10: 20 log10(10 / 0.5) = 26.0206 dB
    EXPECT_NEAR(psnr(truth + 0.5f, truth, 10.0), 20.0 * std::log10(20.0), 1e-6);
    EXPECT_TRUE(std::isinf(psnr(truth, truth, 10.0)));
}

TEST(QualityMetrics, SsimIsOneForIdenticalAndFallsWithNoise) {
    const cv::Mat_<float> truth = texture({64, 48});
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

TEST(QualityMetrics, CompareAlignedFindsTheShiftOfAMovedImage) {
    const cv::Mat_<float> scene = texture({90, 70});
    const cv::Rect window(5, 5, 80, 60);
    const cv::Mat_<float> truth = scene(window).clone();
    for (const cv::Point shift : {cv::Point(0, 0), cv::Point(2, -1), cv::Point(-3, 3)}) {
        SCOPED_TRACE(testing::Message() << shift);
        // image(p + shift) == truth(p)
        const cv::Mat_<float> image = scene(window - shift).clone();
        const Quality quality = compareAligned(image, truth, 3, 8);
        EXPECT_EQ(quality.shift, cv::Point2f(shift));
        EXPECT_TRUE(std::isinf(quality.psnr));
        EXPECT_NEAR(quality.ssim, 1.0, 1e-9);
    }
}

TEST(QualityMetrics, CompareAlignedFindsHalfPixelShifts) {
    const auto smooth = [](float x, float y) {
        return 20.0f + 4.0f * std::sin(0.3f * x) + 3.0f * std::cos(0.23f * y + 0.1f * x);
    };
    cv::Mat_<float> truth(60, 80), image(60, 80);
    for (int row = 0; row < 60; ++row)
        for (int col = 0; col < 80; ++col) {
            truth(row, col) = smooth(col, row);
            image(row, col) = smooth(col - 1.5f, row + 0.5f);  // image(p + (1.5, -0.5)) == truth(p)
        }
    const Quality quality = compareAligned(image, truth, 3, 8);
    EXPECT_EQ(quality.shift, cv::Point2f(1.5f, -0.5f));
    EXPECT_GT(quality.psnr, 50.0);
    EXPECT_GT(quality.ssim, 0.999);
}

TEST(QualityMetrics, CompareAlignedUsesTheTruthRangeAsPeak) {
    const cv::Mat_<float> truth = texture({40, 40});
    double low = 0.0, high = 0.0;
    cv::minMaxLoc(truth(cv::Rect(0, 0, 40, 40)), &low, &high);
    const Quality quality = compareAligned(truth + 0.25f, truth, 0, 4);
    EXPECT_EQ(quality.shift, cv::Point2f());
    EXPECT_NEAR(quality.psnr, 20.0 * std::log10((high - low) / 0.25), 1e-4);
}

}  // namespace
}  // namespace tools
}  // namespace vorel
