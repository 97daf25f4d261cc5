// SPDX-License-Identifier: Proprietary
#include "Upsampling.h"

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

namespace vorel {
namespace tools {
namespace {

TEST(Upsampling, InputPixelsLandOnEvenOutputPixels) {
    cv::Mat_<float> frame(9, 12);
    cv::RNG(2).fill(frame, cv::RNG::UNIFORM, 10.0f, 40.0f);
    for (int interpolation : {cv::INTER_LINEAR, cv::INTER_CUBIC, cv::INTER_LANCZOS4}) {
        SCOPED_TRACE(interpolation);
        const cv::Mat_<float> enlarged = upsample(frame, interpolation);
        ASSERT_EQ(enlarged.size(), cv::Size(24, 18));
        for (int row = 0; row < 9; ++row)
            for (int col = 0; col < 12; ++col) EXPECT_NEAR(enlarged(2 * row, 2 * col), frame(row, col), 1e-4f);
    }
}

TEST(Upsampling, LinearInterpolationFillsTheMidpoints) {
    cv::Mat_<float> ramp(4, 6);
    for (int row = 0; row < 4; ++row)
        for (int col = 0; col < 6; ++col) ramp(row, col) = 2.0f * col + 10.0f * row;
    const cv::Mat_<float> enlarged = upsample(ramp, cv::INTER_LINEAR);
    EXPECT_NEAR(enlarged(2, 3), 2.0f * 1.5f + 10.0f * 1.0f, 1e-3f);
    EXPECT_NEAR(enlarged(3, 5), 2.0f * 2.5f + 10.0f * 1.5f, 1e-3f);
}

}  // namespace
}  // namespace tools
}  // namespace vorel
