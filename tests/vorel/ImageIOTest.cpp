// SPDX-License-Identifier: Proprietary
#include "vorel/ImageIO.h"
#include "vorel/StopWatch.h"

#include "tests/tools/TempFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace vorel {
namespace {

TEST(ImageIO, WritesNumberedFloatMapsOnlyWhileOpen) {
    const tools::TempFolder folder;
    exp::ImageIO dump(7);
    cv::Mat_<float> image(2, 3);
    for (int i = 0; i < 6; ++i) image(i / 3, i % 3) = static_cast<float>(i);
    dump << image;
    EXPECT_FALSE(dump.open(folder / "missing"));
    EXPECT_FALSE(dump.isOpen());
    EXPECT_EQ(dump.count(), 0);
    ASSERT_TRUE(dump.open(folder.path()));
    dump << image << image;
    EXPECT_EQ(dump.count(), 2);
    dump.close();
    EXPECT_FALSE(dump.isOpen());

    std::ifstream file(folder / "stream7_000001.pfm", std::ios::binary);
    std::string header;
    std::getline(file, header, '\n');
    int cols = 0, rows = 0;
    std::string scale;
    file >> cols >> rows >> scale;
    file.get();
    EXPECT_EQ(header, "Pf");
    EXPECT_EQ(cols, 3);
    EXPECT_EQ(rows, 2);
    float bottomRow[3] = {};
    file.read(reinterpret_cast<char*>(bottomRow), sizeof bottomRow);
    EXPECT_EQ(bottomRow[0], 3.0f);  // rows are stored bottom to top
    EXPECT_EQ(bottomRow[2], 5.0f);
}

TEST(StopWatch, MeasuresMonotonicSeconds) {
    StopWatch watch;
    const double first = watch.stop();
    EXPECT_GE(first, 0.0);
    EXPECT_GE(watch.stop(), first);
}

}  // namespace
}  // namespace vorel
