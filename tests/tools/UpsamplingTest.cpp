// SPDX-License-Identifier: Proprietary
#include "Upsampling.h"

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

namespace vorel {
namespace tools {
namespace {

TEST(Upsampling, InputPixelsSitAtTheCentreOfTheirTwoByTwoBlock) {
    // Input (i, j) holds 2j + 10i. Output (u, v) lies at input position
    // ((u - 0.5) / 2, (v - 0.5) / 2), so linear interpolation gives
    // (u - 0.5) + 5 (v - 0.5) away from the border.
    cv::Mat_<float> ramp(6, 8);
    for (int row = 0; row < 6; ++row)
        for (int col = 0; col < 8; ++col) ramp(row, col) = 2.0f * col + 10.0f * row;
    const cv::Mat_<float> enlarged = upsample(ramp, cv::INTER_LINEAR);
    ASSERT_EQ(enlarged.size(), cv::Size(16, 12));
    for (int v = 1; v < 11; ++v)
        for (int u = 1; u < 15; ++u)
            EXPECT_NEAR(enlarged(v, u), (u - 0.5f) + 5.0f * (v - 0.5f), 1e-3f) << u << " " << v;
}

}  // namespace
}  // namespace tools
}  // namespace vorel
