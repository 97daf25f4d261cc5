// SPDX-License-Identifier: Proprietary
#include "DefectList.h"
#include "BadPixelLists.h"
#include "TempFolder.h"
#include "ToolError.h"

#include <gtest/gtest.h>

#include <fstream>

namespace vorel {
namespace tools {
namespace {

TEST(DefectList, ReadsPairsTriplesAndNamedColumns) {
    struct Row {
        const char* text;
        std::vector<cv::Point> pixels;
    };
    const Row rows[] = {
        {"index,x,y\n0,94.000000,104.000000\n1,3.000000,0.000000\n", {{94, 104}, {3, 0}}},  // vsr simulate's
        {"5,7\r\n\n 6 , 8 \n", {{5, 7}, {6, 8}}},
        {"0,1,2\n", {{1, 2}}},
        {"Y,count,X\n4,1,9\n", {{9, 4}}},
        {"", {}},
    };
    const TempFolder folder;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        std::ofstream(folder / "list.csv") << row.text;
        EXPECT_EQ(readDefectList(folder / "list.csv"), row.pixels);
    }
    // The lists of vsr badpixels: x and y lead each row of ten.
    cv::Mat_<unsigned short> list(2, 10, static_cast<unsigned short>(1));
    list(0, 0) = 7, list(0, 1) = 3, list(1, 0) = 12, list(1, 1) = 40;
    for (const char* name : {"bad.yml", "bad.json", "bad.csv"}) {
        SCOPED_TRACE(name);
        writeBadPixelList(folder / name, list);
        EXPECT_EQ(readDefectList(folder / name), (std::vector<cv::Point>{{7, 3}, {12, 40}}));
    }
}

TEST(DefectList, RejectsWhatItCannotUseInOneLine) {
    const TempFolder folder;
    const std::string csv = folder / "list.csv", txt = folder / "list.txt";
    std::ofstream(txt) << "1,2\n";
    struct Row {
        std::string text, path, message;
    };
    const Row rows[] = {
        {"1,2\n3\n", csv, "cannot read '" + csv + "': line 2: expected whole pixel coordinates from 0, got '3'"},
        {"1,2.5\n", csv, "cannot read '" + csv + "': line 1: expected whole pixel coordinates from 0, got '1,2.5'"},
        {"1,2,3,4\n", csv, "cannot read '" + csv + "': line 1: expected x,y or index,x,y, got '1,2,3,4'"},
        {"row,column\n1,2\n", csv, "cannot read '" + csv + "': line 1: a header must name the columns x and y, got 'row,column'"},
        {"x,y\n-1,2\n", csv, "cannot read '" + csv + "': line 2: expected whole pixel coordinates from 0, got '-1,2'"},
        {"", txt,
         "cannot read '" + txt + "': unsupported defect list format (a .csv file of x,y or index,x,y lines, or a "
         "list of vsr badpixels: .csv, .yml, .yaml or .json)"},
        {"", folder / "none.csv", "cannot read '" + (folder / "none.csv") + "': no such file"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.message);
        if (row.path == csv) std::ofstream(csv) << row.text;
        try {
            readDefectList(row.path);
            ADD_FAILURE() << "accepted";
        } catch (const ToolError& error) {
            EXPECT_EQ(error.code(), ExitCode::UnreadableInput);
            EXPECT_EQ(std::string(error.what()), row.message);
        }
    }
    try {
        requireInside({{2, 3}, {40, 3}}, {40, 30}, "list.csv");
        ADD_FAILURE() << "accepted";
    } catch (const ToolError& error) {
        EXPECT_EQ(std::string(error.what()), "cannot use 'list.csv': pixel (40, 3) lies outside the 40x30 frames");
    }
}

}  // namespace
}  // namespace tools
}  // namespace vorel
