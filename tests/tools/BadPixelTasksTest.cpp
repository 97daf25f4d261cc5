// SPDX-License-Identifier: Proprietary
#include "BadPixelTasks.h"
#include "BadPixelLists.h"
#include "ImageFiles.h"
#include "TempFolder.h"
#include "ToolFailure.h"

#include "BurstSimulator.h"
#include "SyntheticSensor.h"

#include <opencv2/imgcodecs.hpp>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>

namespace vorel {
namespace tools {
namespace {

namespace fs = std::filesystem;

// Find on a flat field, then draw and repair with the list a scene frame that
// shows the same defects: every defect takes a value from its clean neighbourhood.
TEST(BadPixelTasks, FindDrawRepairRoundTripOnASyntheticSensor) {
    TempFolder folder;
    const tools::SyntheticSensor sensor({64, 48}, 3, 4, 21);
    writeImage(folder / "flat.png", cv::Mat_<unsigned short>(sensor.frame));
    std::ostringstream report;
    const BadPixelFindOptions find{folder / "flat.png", folder / "list.csv", {}, {}};
    const BadPixelCounts counts = findBadPixels(find, report);
    EXPECT_EQ(std::make_pair(counts.outliers, counts.isolated), std::make_pair(3, 4));
    const cv::Mat_<unsigned short> list = readBadPixelList(find.output);
    std::vector<cv::Point> defects = sensor.stuck;
    defects.insert(defects.end(), sensor.isolated.begin(), sensor.isolated.end());
    std::set<std::pair<int, int>> listed, planted;
    for (int r = 0; r < list.rows; ++r) listed.emplace(list(r, 0), list(r, 1));
    for (const cv::Point& p : defects) planted.emplace(p.x, p.y);
    EXPECT_EQ(listed, planted);

    // A merge adds only what is new, with its replacements computed.
    cv::Mat_<unsigned short> more(2, 10, static_cast<unsigned short>(0));
    list.row(0).copyTo(more.row(0));
    more(1, 0) = 30, more(1, 1) = 20, more(1, 2) = 64, more(1, 3) = 48;
    writeBadPixelList(folder / "more.yml", more);
    const BadPixelMergeOptions merge{find.output, folder / "more.yml", folder / "merged.json", {64, 48}};
    mergeBadPixels(merge, report);
    const cv::Mat_<unsigned short> merged = readBadPixelList(merge.output);
    ASSERT_EQ(merged.rows, 8);
    EXPECT_EQ(cv::norm(merged.rowRange(0, 7), list, cv::NORM_INF), 0.0);
    const std::vector<unsigned short> added(merged[7], merged[7] + 10);
    EXPECT_EQ(added, (std::vector<unsigned short>{30, 20, 30, 21, 29, 20, 30, 19, 31, 20}));

    const BadPixelDrawOptions draw{find.output, folder / "flat.png", folder / "overlay.png", {}};
    drawBadPixelList(draw, report);
    const cv::Mat_<cv::Vec3b> overlay = cv::imread(draw.output);
    for (const cv::Point& p : defects)  // the left side of its 7 x 7 box
        if (p.x >= 3) {
            EXPECT_EQ(overlay(p.y, p.x - 3), cv::Vec3b(0, 255, 0)) << p;
        }

    BurstSettings settings;
    settings.frameSize = {64, 48};
    settings.blur = 0.7f;
    cv::RNG noise(3);
    const cv::Mat_<float> scene = BurstSimulator(settings).frame({0.0f, 0.0f}, noise);
    cv::Mat_<unsigned short> clean;
    scene.convertTo(clean, CV_16U, 100.0, 3000.0);  // 0.01 K per count, below the isolated values
    cv::Mat_<unsigned short> defective = clean.clone();
    for (const cv::Point& p : defects) defective(p) = static_cast<unsigned short>(sensor.frame(p));
    writeImage(folder / "scene.png", defective);
    const BadPixelRepairOptions repair{find.output, {folder / "scene.png"}, folder / "repaired", {}};
    repairBadPixels(repair, report);
    const cv::Mat repaired = cv::imread(folder / "repaired/scene.png", cv::IMREAD_UNCHANGED);
    ASSERT_EQ(repaired.type(), CV_16UC1);
    for (const cv::Point& p : defects) {
        double low, high;
        cv::minMaxLoc(clean(cv::Rect(p - cv::Point(3, 3), cv::Size(7, 7)) & cv::Rect(0, 0, 64, 48)), &low, &high);
        EXPECT_GE(repaired.at<unsigned short>(p), low) << p;
        EXPECT_LE(repaired.at<unsigned short>(p), high) << p;
        defective(p) = repaired.at<unsigned short>(p);
    }
    EXPECT_EQ(cv::norm(repaired, defective, cv::NORM_INF), 0.0);  // nothing else changed

    EXPECT_EQ(report.str(), "found 7 defective pixels (3 outliers, 4 isolated values), written to " + find.output +
                                "\nmerged 1 new defective pixels (1 already listed) into 7: 8 written to " +
                                merge.output + "\nboxed 7 defective pixels in " + draw.output +
                                "\nrepaired 7 pixels in each of 1 frames, written to " + repair.outputFolder + "\n");
}

TEST(BadPixelTasks, BadInputEndsWithItsExitCodeAndWritesNothing) {
    TempFolder folder;
    writeImage(folder / "flat.png", cv::Mat_<unsigned short>(tools::SyntheticSensor({64, 48}, 2, 2, 4).frame));
    writeImage(folder / "float.tif", cv::Mat_<float>(48, 64, 20.0f));
    cv::Mat_<unsigned short> far(1, 10, static_cast<unsigned short>(2));
    far(0, 1) = 70;
    writeBadPixelList(folder / "far.csv", far);
    far(0, 1) = 2;
    far(0, 9) = 48;
    writeBadPixelList(folder / "open.csv", far);
    const auto files = [&] { return std::distance(fs::directory_iterator(folder.path()), {}); };
    const auto before = files();

    const auto findWith = [&](std::function<void(BadPixelFindOptions&)> change) {
        return [&, change] {
            BadPixelFindOptions options{folder / "flat.png", folder / "list.csv", {}, {}};
            change(options);
            findBadPixels(options, std::cout);
        };
    };
    struct Case {
        const char* name;
        std::function<void()> task;
        ExitCode code;
        std::string message;
    } const cases[] = {
        {"min at max", findWith([](auto& o) { o.search.minValue = o.search.maxValue; }), ExitCode::Usage,
         "--min 16383 must be below --max 16383"},
        {"span", findWith([](auto& o) { o.search.span = 1; }), ExitCode::Usage,
         "--span must be between 2 and 65535, got 1"},
        {"list format", findWith([&](auto& o) { o.output = folder / "list.txt"; }), ExitCode::UnwritableOutput,
         "cannot write '" + folder / "list.txt" + "': unsupported list format (.csv, .yml, .yaml or .json)"},
        {"float frame", findWith([&](auto& o) { o.frame = folder / "float.tif"; }), ExitCode::UnreadableInput,
         "cannot read '" + folder / "float.tif" +
             "': it holds CV_32FC1 values; bad pixels are found and repaired on 16-bit counts"},
        {"capacity", findWith([](auto& o) { o.search.capacity = 3; }), ExitCode::Reconstruction,
         "more than 3 defective pixels; raise --capacity (at most 65535)"},
        {"pixel outside",
         [&] {
             drawBadPixelList({folder / "far.csv", folder / "flat.png", folder / "o.png", {}}, std::cout);
         },
         ExitCode::UnreadableInput,
         "cannot read '" + folder / "far.csv" + "': row 1: pixel (2, 70) lies outside the 64x48 frame"},
        {"replacement outside",
         [&] {
             repairBadPixels({folder / "open.csv", {folder / "flat.png"}, folder / "out", {}}, std::cout);
         },
         ExitCode::UnreadableInput,
         "cannot read '" + folder / "open.csv" +
             "': row 1: replacement (2, 48) of pixel (2, 2) lies outside the 64x48 frame"},
        {"merge without size",
         [&] {
             mergeBadPixels({folder / "open.csv", folder / "far.csv", folder / "m.csv", {}}, std::cout);
         },
         ExitCode::Usage, "option --size (the sensor's WxH) is required"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const ToolError error = failureOf(c.task);
        EXPECT_EQ(error.code(), c.code);
        EXPECT_EQ(std::string(error.what()), c.message);
        EXPECT_EQ(files(), before);
    }
}

}  // namespace
}  // namespace tools
}  // namespace vorel
