// SPDX-License-Identifier: Proprietary
#include "vorel/ImageIO.h"
#include "vorel/StopWatch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace vorel {
namespace {

TEST(ImageIO, ClosedUntilOpenedAndWritesNothingThen) {
    exp::ImageIO dump(2);
    EXPECT_FALSE(dump.isOpen());
    dump << cv::Mat_<float>(3, 4, 1.0f);
    EXPECT_EQ(dump.count(), 0);
    EXPECT_FALSE(dump.open("/nonexistent/folder"));
    EXPECT_FALSE(dump.isOpen());
}

TEST(ImageIO, WritesNumberedFloatMapsWhileOpen) {
    char pattern[] = "/tmp/imageio_XXXXXX";
    const std::string folder = mkdtemp(pattern);
    exp::ImageIO dump(7);
    ASSERT_TRUE(dump.open(folder));
    cv::Mat_<float> image(2, 3);
    for (int i = 0; i < 6; ++i) image(i / 3, i % 3) = static_cast<float>(i);
    dump << image << image;
    EXPECT_EQ(dump.count(), 2);
    dump.close();
    EXPECT_FALSE(dump.isOpen());

    std::ifstream file(folder + "/stream7_000001.pfm", std::ios::binary);
    ASSERT_TRUE(file.good());
    std::string magic, scale;
    int cols = 0, rows = 0;
    file >> magic >> cols >> rows >> scale;
    file.get();
    EXPECT_EQ(magic, "Pf");
    EXPECT_EQ(cols, 3);
    EXPECT_EQ(rows, 2);
    float bottomRow[3];
    file.read(reinterpret_cast<char*>(bottomRow), sizeof bottomRow);
    EXPECT_EQ(bottomRow[0], 3.0f);  // rows are stored bottom to top
    EXPECT_EQ(bottomRow[2], 5.0f);
    std::remove((folder + "/stream7_000000.pfm").c_str());
    std::remove((folder + "/stream7_000001.pfm").c_str());
    std::remove(folder.c_str());
}

TEST(StopWatch, MeasuresMonotonicSeconds) {
    StopWatch watch;
    const double first = watch.stop();
    const double second = watch.stop();
    EXPECT_GE(first, 0.0);
    EXPECT_GE(second, first);
    watch.start();
    EXPECT_LE(watch.stop(), second + 1.0);
}

}  // namespace
}  // namespace vorel
