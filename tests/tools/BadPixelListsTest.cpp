// SPDX-License-Identifier: Proprietary
#include "BadPixelLists.h"
#include "TempFolder.h"
#include "ToolFailure.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace vorel {
namespace tools {
namespace {

std::string contentsOf(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

TEST(BadPixelLists, CsvAndFileStorageRoundTrip) {
    TempFolder folder;
    cv::Mat_<unsigned short> list(3, 10);
    cv::RNG(5).fill(list, cv::RNG::UNIFORM, 0, 65536);
    list(0, 0) = 65535;
    for (const cv::Mat_<unsigned short>& written : {list, cv::Mat_<unsigned short>(0, 10)}) {
        for (const char* extension : {".csv", ".yml", ".yaml", ".json"}) {
            SCOPED_TRACE(testing::Message() << written.rows << " rows, " << extension);
            const std::string path = folder / (std::string("list") + extension);
            writeBadPixelList(path, written);
            const cv::Mat_<unsigned short> back = readBadPixelList(path);
            ASSERT_EQ(back.size(), cv::Size(10, written.rows));
            EXPECT_EQ(cv::norm(back, written, cv::NORM_INF), 0.0);
        }
    }
    writeBadPixelList(folder / "one.csv", list.rowRange(0, 1));
    std::string line;
    for (int c = 0; c < 10; ++c) line += std::to_string(list(0, c)) + (c < 9 ? "," : "\n");
    EXPECT_EQ(contentsOf(folder / "one.csv"), "x,y,x1,y1,x2,y2,x3,y3,x4,y4\n" + line);
}

TEST(BadPixelLists, RejectsAnythingButNByTenSixteenBitValues) {
    TempFolder folder;
    const std::string good = "0,1,2,3,4,5,6,7,8,9\n";
    const auto storage = [&](const std::string& name, const cv::Mat& matrix, const char* node) {
        cv::FileStorage storage(folder / name, cv::FileStorage::WRITE);
        storage << node << matrix;
        return folder / name;
    };
    struct Case {
        std::string path;
        std::string reason;
    } const cases[] = {
        {folder / "noHeader.csv", "line 1 is no header; a list starts with the line x,y,x1,y1,x2,y2,x3,y3,x4,y4"},
        {folder / "nine.csv", "line 3 has 9 values; a bad pixel takes 10 (x, y and four replacement pairs)"},
        {folder / "large.csv", "line 2: '70000' is no whole number from 0 to 65535"},
        {folder / "negative.csv", "line 2: '-1' is no whole number from 0 to 65535"},
        {folder / "words.csv", "line 2: 'x' is no whole number from 0 to 65535"},
        {storage("float.yml", cv::Mat(2, 10, CV_32F, cv::Scalar(1)), "badPixels"),
         "'badPixels' is a 2 x 10 CV_32FC1 matrix; a bad-pixel list is N x 10 of CV_16UC1"},
        {storage("nine.json", cv::Mat(2, 9, CV_16U, cv::Scalar(1)), "badPixels"),
         "'badPixels' is a 2 x 9 CV_16UC1 matrix; a bad-pixel list is N x 10 of CV_16UC1"},
        {storage("other.yml", cv::Mat(2, 10, CV_16U, cv::Scalar(1)), "other"), "it holds no 'badPixels' matrix"},
        {folder / "list.txt", "unsupported list format (.csv, .yml, .yaml or .json)"},
    };
    std::ofstream(folder / "noHeader.csv") << good;
    std::ofstream(folder / "nine.csv") << "x,y\n" << good << "0,1,2,3,4,5,6,7,8\n";
    std::ofstream(folder / "large.csv") << "x,y\n70000,1,2,3,4,5,6,7,8,9\n";
    std::ofstream(folder / "negative.csv") << "x,y\n-1,1,2,3,4,5,6,7,8,9\n";
    std::ofstream(folder / "words.csv") << "x,y\nx,y,x1,y1,x2,y2,x3,y3,x4,y4\n";
    std::ofstream(folder / "list.txt") << good;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        const ToolError error = failureOf([&] { readBadPixelList(c.path); });
        EXPECT_EQ(error.code(), ExitCode::UnreadableInput);
        EXPECT_EQ(std::string(error.what()), "cannot read '" + c.path + "': " + c.reason);
    }
}

}  // namespace
}  // namespace tools
}  // namespace vorel
