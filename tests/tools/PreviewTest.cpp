// SPDX-License-Identifier: Proprietary
#include "Preview.h"

#include <gtest/gtest.h>

namespace vorel {
namespace tools {
namespace {

TEST(Preview, PaletteRunsFromBlackToWhiteWithRisingLuminanceAndClips) {
    cv::Mat_<float> ramp(1, 23);
    for (int i = 0; i < 23; ++i) ramp(0, i) = 5.0f * (i - 1);  // -5 to 105
    const cv::Mat_<cv::Vec3b> colours = colourize(ramp, 0.0f, 100.0f);
    for (const int i : {0, 1}) EXPECT_EQ(colours(0, i), cv::Vec3b(0, 0, 0));
    for (const int i : {21, 22}) EXPECT_EQ(colours(0, i), cv::Vec3b(255, 255, 255));
    double previous = -1.0;
    for (int i = 1; i <= 21; ++i) {
        const cv::Vec3b c = colours(0, i);
        const double luma = 0.114 * c[0] + 0.587 * c[1] + 0.299 * c[2];  // of BGR
        EXPECT_GT(luma, previous) << i;
        previous = luma;
    }
}

TEST(Preview, DisplayRangeIgnoresOutliers) {
    cv::Mat_<float> image(20, 20);
    for (int i = 0; i < 400; ++i) image(i) = static_cast<float>(i % 100);
    image(0) = 1e6f;  // a defective pixel
    const cv::Vec2f range = displayRange(image);
    EXPECT_LE(range[0], 1.0f);
    EXPECT_GE(range[1], 98.0f);
    EXPECT_LE(range[1], 99.0f);
}

TEST(Preview, SideBySideHasOneCaptionedTilePerImage) {
    cv::Mat_<float> ramp(30, 40);
    for (int col = 0; col < 40; ++col) ramp.col(col).setTo(static_cast<float>(col));
    const cv::Mat_<float> cold(30, 40, -1.0f);
    const cv::Mat canvas = sideBySide({cold, ramp, ramp}, {"a", "b", "c"});
    EXPECT_EQ(canvas.type(), CV_8UC3);
    EXPECT_EQ(canvas.size(), cv::Size(3 * 40 + 2 * 8, 30 + 24));
    // The range is the last image's: below it black, at its top white.
    EXPECT_EQ(canvas.at<cv::Vec3b>(40, 10), cv::Vec3b(0, 0, 0));
    EXPECT_EQ(canvas.at<cv::Vec3b>(40, 2 * 48 + 39), cv::Vec3b(255, 255, 255));
    EXPECT_EQ(canvas.at<cv::Vec3b>(40, 48 + 39), cv::Vec3b(255, 255, 255));
}

}  // namespace
}  // namespace tools
}  // namespace vorel
