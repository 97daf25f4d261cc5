// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/BadPixel.h"

#include "SyntheticSensor.h"
#include "vorel/Exception.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace vorel {
namespace vision {
namespace {

using Point = BadPixel::Point;
using Rows = std::vector<std::vector<unsigned short>>;

// A bad-pixel list from rows of (x, y) or of all ten columns; missing columns read 77.
cv::Mat_<unsigned short> listOf(const Rows& rows) {
    cv::Mat_<unsigned short> list(static_cast<int>(rows.size()), 10, static_cast<unsigned short>(77));
    for (std::size_t r = 0; r < rows.size(); ++r)
        for (std::size_t c = 0; c < rows[r].size(); ++c) list(static_cast<int>(r), static_cast<int>(c)) = rows[r][c];
    return list;
}

std::vector<unsigned short> rowOf(const cv::Mat& list, int r) {
    return std::vector<unsigned short>(list.ptr<unsigned short>(r), list.ptr<unsigned short>(r) + 10);
}

TEST(BadPixel, RecordStoresItsPositionCrosswise) {
    const BadPixel empty;
    EXPECT_EQ(empty.pos(), Point(0, 0));
    EXPECT_EQ(empty.getNumberOfReplacementPixels(), 0u);

    BadPixel pixel(3, 7, {Point(1, 2)}, {4});
    unsigned int a = 0, b = 0;
    pixel.pos(a, b);
    EXPECT_EQ(std::make_pair(a, b), std::make_pair(3u, 7u));
    EXPECT_EQ(pixel.pos(), Point(7, 3));  // x() = 7, y() = 3
    pixel.set(Point(3, 7));
    EXPECT_EQ(std::make_pair(pixel.x(), pixel.y()), std::make_pair(7u, 3u));
    pixel.set(2, 9);
    pixel.pos(a, b);
    EXPECT_EQ(std::make_pair(a, b), std::make_pair(2u, 9u));
    EXPECT_EQ(pixel.pos(), Point(9, 2));

    const BadPixel before = pixel;
    pixel.addReplacementPixel(5, 6);
    pixel.addReplacementPixel(Point(8, 9));
    pixel.addDefectReasons({5, 4, 6, 5});
    EXPECT_EQ(pixel.getReplacementPixels(), (std::vector<Point>{{1, 2}, {6, 5}, {8, 9}}));
    EXPECT_EQ(pixel.retrieveDefectReasons(), (std::vector<unsigned short>{4, 5, 6}));
    EXPECT_EQ(before.getNumberOfReplacementPixels(), 1u);
    pixel.clearReplacements();
    EXPECT_EQ(pixel.getNumberOfReplacementPixels(), 0u);
}

TEST(BadPixel, ReplacePixelQueryForSmallRadii) {
    using Entries = std::vector<std::pair<float, cv::Point>>;
    const std::pair<unsigned int, std::vector<Entries>> cases[] = {
        // Radius 0 reaches as far as 1: only the adjacent pixel, at distance 0.
        {0, {{{0, {0, 1}}}, {{0, {-1, 0}}}, {{0, {0, -1}}}, {{0, {1, 0}}}}},
        {1, {{{0, {0, 1}}}, {{0, {-1, 0}}}, {{0, {0, -1}}}, {{0, {1, 0}}}}},
        {2,
         {{{0, {0, 1}}, {1, {1, 1}}, {1, {-1, 1}}, {1, {0, 2}}},
          {{0, {-1, 0}}, {1, {-1, 1}}, {1, {-1, -1}}, {1, {-2, 0}}},
          {{0, {0, -1}}, {1, {-1, -1}}, {1, {1, -1}}, {1, {0, -2}}},
          {{0, {1, 0}}, {1, {1, -1}}, {1, {1, 1}}, {1, {2, 0}}}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        const BadPixel::ReplacePixelQuery query = BadPixel::computeReplacePixelQuery(c.first);
        ASSERT_EQ(query.size(), 4u);
        for (int direction = 0; direction < 4; ++direction)
            EXPECT_EQ(Entries(query[direction].begin(), query[direction].end()), c.second[direction]) << direction;
    }
}

TEST(BadPixel, SingleReplacementsSkipBadPixelsAndMayRepeat) {
    const Rows cluster = {{1, 1}, {0, 0}, {1, 0}, {2, 0}, {0, 1}, {2, 1}, {0, 2}, {1, 2}, {2, 2}};
    struct Case {
        const char* name;
        cv::Size size;
        Rows list;  // row 0 is computed
        int radius;
        std::vector<unsigned short> expected;  // empty: false and the row unchanged
    } const cases[] = {
        {"search in a corner", {5, 4}, {{0, 0}}, 2, {0, 1, 1, 0, 0, 1, 1, 0}},
        {"fixed table in a corner", {5, 4}, {{4, 3}}, 3, {4, 2, 3, 3, 3, 3, 3, 3}},
        {"search past a bad neighbour", {5, 5}, {{2, 2}, {2, 3}}, 2, {1, 2, 2, 1, 3, 2, 3, 3}},
        {"fixed table past a bad neighbour", {5, 5}, {{2, 2}, {2, 1}}, 3, {2, 0, 3, 2, 2, 3, 1, 2}},
        {"search, all neighbours bad", {3, 3}, cluster, 2, {}},
        {"fixed table, all neighbours bad", {3, 3}, cluster, 3, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        cv::Mat_<unsigned short> list = listOf(c.list);
        EXPECT_EQ(BadPixel::calculateSingleReplacePixel(list, 0, c.size, c.radius), !c.expected.empty());
        std::vector<unsigned short> expected = c.list[0];
        expected.resize(2);
        expected.insert(expected.end(), c.expected.begin(), c.expected.end());
        expected.resize(10, 77);
        EXPECT_EQ(rowOf(list, 0), expected);
    }
}

TEST(BadPixel, AppendRecomputesOnlyRowsThatTheMergeConcerns) {
    const cv::Size size(10, 10);
    const cv::Mat_<unsigned short> old = listOf({
        {2, 2, 5, 5, 1, 2, 2, 1, 3, 2},  // names new pixel (5, 5): recomputed
        {7, 7, 6, 7, 8, 7, 7, 6, 7, 8},  // kept
    });
    const cv::Mat_<unsigned short> added = listOf({
        {5, 5, 2, 2, 4, 5, 5, 4, 6, 5},   // names old pixel (2, 2): recomputed
        {5, 8, 5, 8, 4, 8, 5, 7, 6, 8},   // names itself: recomputed
        {1, 8, 10, 0, 0, 8, 1, 7, 2, 8},  // a replacement outside: recomputed
        {8, 1, 8, 0, 7, 1, 9, 1, 8, 2},   // kept, though the search would order it otherwise
        {3, 8, 1, 8, 4, 8, 3, 7, 3, 9},   // names only another new pixel: kept
    });
    cv::Mat list = old.clone();
    ASSERT_TRUE(BadPixel::appendBadPixel(added, list, size, 2));
    const Rows expected = {
        {2, 2, 2, 3, 1, 2, 2, 1, 3, 2}, {7, 7, 6, 7, 8, 7, 7, 6, 7, 8}, {5, 5, 5, 6, 4, 5, 5, 4, 6, 5},
        {5, 8, 5, 9, 4, 8, 5, 7, 6, 8}, {1, 8, 1, 9, 0, 8, 1, 7, 2, 8}, {8, 1, 8, 0, 7, 1, 9, 1, 8, 2},
        {3, 8, 1, 8, 4, 8, 3, 7, 3, 9},
    };
    ASSERT_EQ(list.rows, 7);
    for (int r = 0; r < 7; ++r) EXPECT_EQ(rowOf(list, r), expected[r]) << "row " << r;

    cv::Mat untouched = old.clone();
    EXPECT_TRUE(BadPixel::appendBadPixel(cv::Mat(), untouched, size, 2));
    EXPECT_EQ(cv::norm(untouched, old, cv::NORM_INF), 0.0);
    cv::Mat created;
    EXPECT_TRUE(BadPixel::appendBadPixel(cv::Mat_<unsigned short>(0, 10), created, size, 2));
    EXPECT_EQ(std::make_pair(created.size(), created.type()), std::make_pair(cv::Size(10, 0), CV_16U));
    for (const cv::Mat& wrong : {cv::Mat(old.colRange(0, 9)), cv::Mat(1, 10, CV_32S, cv::Scalar(1))}) {
        EXPECT_FALSE(BadPixel::appendBadPixel(wrong, untouched, size, 2));
        EXPECT_EQ(untouched.rows, 2);
    }
}

TEST(BadPixel, RemoveTruncatesTowardZeroAndSkipsRowsOutside) {
    cv::Mat_<short> image = (cv::Mat_<short>(3, 4) << 7, -1, -1, 0,  //
                             -1, 9, 9, 9,                            //
                             -7, 0, 0, 0);
    const cv::Mat_<unsigned short> list = listOf({
        {1, 1, 1, 0, 2, 0, 0, 1, 3, 0},  // (-1 - 1 - 1 + 0) / 4 = 0
        {2, 1, 0, 0, 2, 2, 2, 2, 2, 2},  // 7 / 4 = 1
        {3, 1, 0, 2, 1, 1, 1, 1, 1, 2},  // -7 / 4 = -1, with (1, 1) as repaired above
        {4, 0, 0, 0, 0, 0, 0, 0, 0, 0},  // pixel outside: skipped
        {0, 1, 0, 0, 0, 0, 0, 0, 4, 0},  // replacement outside: skipped
    });
    EXPECT_FALSE(BadPixel::removeBadPixel(image, list));
    const cv::Mat_<short> expected = (cv::Mat_<short>(3, 4) << 7, -1, -1, 0, -1, 0, 1, -1, -7, 0, 0, 0);
    EXPECT_EQ(cv::norm(image, expected, cv::NORM_INF), 0.0);
    EXPECT_TRUE(BadPixel::removeBadPixel(image, list.rowRange(0, 3)));
    cv::Mat_<short> none;
    EXPECT_FALSE(BadPixel::removeBadPixel(none, list));
}

TEST(BadPixel, HistogramCountsValuesBeyondTheLimitsIntoTheEndBins) {
    const cv::Mat_<short> image = (cv::Mat_<short>(2, 4) << -5, 0, 1, 3, 4, 9, 4, 4);
    cv::Mat_<int> histogram;
    ASSERT_TRUE(BadPixel::buildValueHistogram(image, histogram, 0, 4));
    EXPECT_EQ(std::vector<int>(histogram.begin(), histogram.end()), (std::vector<int>{2, 1, 0, 1, 4}));
    EXPECT_FALSE(BadPixel::buildValueHistogram(image, histogram, 4, 4));
    EXPECT_FALSE(BadPixel::buildValueHistogram(cv::Mat_<short>(), histogram, 0, 4));
}

TEST(BadPixel, NeighbourSearchFindsThePlantedDefectsAndOnlyThose) {
    const tools::SyntheticSensor sensor({64, 48}, 3, 4, 11);
    std::vector<cv::Point> stuck = sensor.stuck;
    std::sort(stuck.begin(), stuck.end(),
              [](cv::Point a, cv::Point b) { return std::make_pair(a.y, a.x) < std::make_pair(b.y, b.x); });
    std::vector<cv::Point> all = stuck;  // outliers in row-major order, then isolated pixels by value
    all.insert(all.end(), sensor.isolated.begin(), sensor.isolated.end());
    const auto search = [&](const cv::Mat_<short>& frame, int capacity, cv::Mat_<unsigned short>& list) {
        cv::Mat_<int> histogram;
        EXPECT_TRUE(BadPixel::buildValueHistogram(frame, histogram, 0, 16383));
        list.create(capacity, 10);
        return BadPixel::performNeighbourSearch(frame, histogram, list, 0, 16383, 5, 16);
    };
    // Outliers come all or not at all; an isolated value is cut where the list is full.
    const std::pair<int, bool> capacities[] = {{100, true}, {7, true}, {5, false}, {2, false}};
    for (const auto& [capacity, complete] : capacities) {
        SCOPED_TRACE(capacity);
        cv::Mat_<unsigned short> list;
        EXPECT_EQ(search(sensor.frame, capacity, list), complete);
        const int found = capacity < 3 ? 0 : std::min(capacity, 7);
        ASSERT_EQ(list.size(), cv::Size(10, found));
        for (int r = 0; r < found; ++r)
            EXPECT_EQ(rowOf(list, r),
                      (std::vector<unsigned short>{static_cast<unsigned short>(all[r].x),
                                                   static_cast<unsigned short>(all[r].y), 64, 48, 0, 0, 0, 0, 0, 0}));
        if (capacity == 100) {
            EXPECT_TRUE(BadPixel::calculateReplacePixels(list, sensor.frame.size(), 3));
            cv::Mat_<short> repaired = sensor.frame.clone();
            EXPECT_TRUE(BadPixel::removeBadPixel(repaired, list));
            EXPECT_EQ(cv::countNonZero(cv::abs(repaired - tools::SyntheticSensor::level) > tools::SyntheticSensor::noise),
                      0);
        }
    }

    const tools::SyntheticSensor clean({64, 48}, 0, 0, 12);
    cv::Mat_<unsigned short> list;
    EXPECT_TRUE(search(clean.frame, 100, list));
    EXPECT_EQ(list.size(), cv::Size(10, 0));

    cv::Mat_<int> histogram(1, 16384, 0);
    for (const auto& [threshold, span, columns] :
         {std::make_tuple(0, 16, 10), std::make_tuple(5, 1, 10), std::make_tuple(5, 16, 9)}) {
        cv::Mat_<unsigned short> wrong(10, columns);
        EXPECT_FALSE(BadPixel::performNeighbourSearch(sensor.frame, histogram, wrong, 0, 16383, threshold, span));
    }
}

TEST(BadPixel, DrawBoxesEachPixelAndRejectsBadLists) {
    cv::Mat_<cv::Vec3b> image(10, 12, cv::Vec3b(0, 0, 0));
    BadPixel::drawBadPixels(listOf({{5, 4}}), image, cv::Scalar(0, 255, 0), 3, false);
    cv::Mat_<cv::Vec3b> expected(10, 12, cv::Vec3b(0, 0, 0));
    expected(cv::Rect(4, 3, 3, 3)).setTo(cv::Vec3b(0, 255, 0));
    expected(4, 5) = cv::Vec3b(0, 0, 0);
    EXPECT_EQ(cv::norm(image, expected, cv::NORM_INF), 0.0);

    cv::Mat_<cv::Vec3b> vga(480, 640);
    const std::pair<cv::Mat, std::string> cases[] = {
        {cv::Mat(1, 10, CV_32S, cv::Scalar(1)), "ERROR: \t >>Unspported BadPixel format!!"},
        {listOf({{5, 4}}).colRange(0, 9), "ERROR: \t >>Unspported BadPixel format!!"},
        {listOf({{5, 4}, {5, 700}}), "ERROR: \t >>BadPixel [700,5] out of bounds "},
        {listOf({{640, 0}}), "ERROR: \t >>BadPixel [0,640] out of bounds "},
    };
    for (const auto& [list, message] : cases) {
        SCOPED_TRACE(message);
        try {
            BadPixel::drawBadPixels(list, vga, cv::Scalar(0, 255, 0), 3, true);
            ADD_FAILURE() << "no exception";
        } catch (const vorel::Exception& error) {
            EXPECT_EQ(error.message(), message);
            EXPECT_NE(error.place().find(": vorel::vision::BadPixel::drawBadPixels(..)"), std::string::npos);
        }
    }
}

}  // namespace
}  // namespace vision
}  // namespace vorel
