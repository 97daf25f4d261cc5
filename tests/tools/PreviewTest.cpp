// SPDX-License-Identifier: Proprietary
#include "Preview.h"

#include <gtest/gtest.h>

namespace vorel {
namespace tools {
namespace {

TEST(Preview, PaletteRunsFromBlackToWhiteAndClips) {
    const cv::Mat_<float> values = (cv::Mat_<float>(1, 4) << -5.0f, 0.0f, 10.0f, 50.0f);
    const cv::Mat_<cv::Vec3b> colours = colourize(values, 0.0f, 10.0f);
    EXPECT_EQ(colours(0, 0), cv::Vec3b(0, 0, 0));
    EXPECT_EQ(colours(0, 1), cv::Vec3b(0, 0, 0));
    EXPECT_EQ(colours(0, 2), cv::Vec3b(255, 255, 255));
    EXPECT_EQ(colours(0, 3), cv::Vec3b(255, 255, 255));
}

TEST(Preview, PaletteLuminanceRisesSteadily) {
    cv::Mat_<float> ramp(1, 101);
    for (int i = 0; i <= 100; ++i) ramp(0, i) = static_cast<float>(i);
    const cv::Mat_<cv::Vec3b> colours = colourize(ramp, 0.0f, 100.0f);
    double previous = -1.0;
    for (int i = 0; i <= 100; i += 5) {
        const cv::Vec3b c = colours(0, i);
        const double brightness = 0.114 * c[0] + 0.587 * c[1] + 0.299 * c[2];  // luma of BGR
        EXPECT_GT(brightness, previous) << i;
        previous = brightness;
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
    EXPECT_EQ(canvas.cols, 3 * 40 + 2 * 8);
    EXPECT_EQ(canvas.rows, 30 + 24);
    // The range is the last image's: below it black, at its top white.
    EXPECT_EQ(canvas.at<cv::Vec3b>(40, 10), cv::Vec3b(0, 0, 0));
    EXPECT_EQ(canvas.at<cv::Vec3b>(40, 2 * 48 + 39), cv::Vec3b(255, 255, 255));
    EXPECT_EQ(canvas.at<cv::Vec3b>(40, 48 + 39), cv::Vec3b(255, 255, 255));
}

}  // namespace
}  // namespace tools
}  // namespace vorel
