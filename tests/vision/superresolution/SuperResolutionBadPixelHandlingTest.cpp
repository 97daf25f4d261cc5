// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

#include "vorel/Exception.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace vorel {
namespace vision {

namespace {

float fromBits(std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::uint32_t bitsOf(float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

// x + 10 y: a neighbour mean reproduces the pixel's own ramp value exactly.
cv::Mat_<float> ramp(int cols, int rows) {
    cv::Mat_<float> image(rows, cols);
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < cols; ++x) image(y, x) = static_cast<float>(x + 10 * y);
    return image;
}

struct Defect {
    const char* name;
    float value;
    unsigned char code;
    bool changesResult;  // when it cannot be repaired from neighbours
    enum Fallback { kMin, kMax, kZero } fallback;
};

const Defect kDefects[] = {
    {"marker 130", fromBits(130), 1, false, Defect::kMin},
    {"marker 129", fromBits(129), 2, false, Defect::kMax},
    {"marker 132", fromBits(132), 3, true, Defect::kZero},
    {"marker 133", fromBits(133), 3, true, Defect::kZero},
    {"NaN", kNaN, 3, true, Defect::kZero},
    {"+infinity", kInf, 5, true, Defect::kMax},
    {"-infinity", -kInf, 4, true, Defect::kMin},
    {"above 5000", 6000.0f, 5, true, Defect::kMax},
    {"below -274", -300.0f, 4, true, Defect::kMin},
};

// Expects `call` to throw vorel::Exception with this message from this function.
template <typename Call>
void expectThrows(Call call, const char* message, const char* function) {
    try {
        call();
        FAIL() << "no exception";
    } catch (const vorel::Exception& error) {
        EXPECT_STREQ(error.what(), message);
        EXPECT_NE(error.place().find(std::string("SuperResolutionBadPixelHandling::") + function + "(..)"),
                  std::string::npos)
            << error.place();
    }
}

TEST(SuperResolutionBadPixelHandling, DataIsNUCSwitchesTheLimits) {
    const struct {
        float value;
        unsigned char celsius, nuc;  // defect codes
    } rows[] = {{5000.0f, 0, 0},  {5000.5f, 5, 0},  {-274.0f, 0, 0},   {-274.5f, 4, 0},
                {32767.0f, 5, 0}, {32768.0f, 5, 5}, {-32768.0f, 4, 0}, {-32769.0f, 4, 4}};
    SuperResolutionBadPixelHandling handling(1);
    for (const bool nuc : {false, true, false}) {
        handling.setDataIsNUC(nuc);
        for (const auto& row : rows) {
            SCOPED_TRACE(testing::Message() << row.value << (nuc ? " NUC" : ""));
            cv::Mat_<float> frame = ramp(5, 4);
            frame(2, 2) = row.value;
            EXPECT_EQ(handling.detectAndReplaceBadPixel(frame), 0);
            EXPECT_EQ(handling.getDefectMaps().back()(2, 2), nuc ? row.nuc : row.celsius);
        }
    }
}

TEST(SuperResolutionBadPixelHandling, MinMaxSkipsInvalidPixelsAndKeepsTheFirstExtreme) {
    SuperResolutionBadPixelHandling handling(1);
    // A later equal minimum at (3, 2) or maximum at (2, 1) does not move the location.
    cv::Mat_<float> image = (cv::Mat_<float>(3, 4) << fromBits(129), 2, kNaN, 6000, 9, 7, 9, 7, -kInf, -300, 7, 2);
    float minVal = 0.0f, maxVal = 0.0f;
    cv::Point minLoc, maxLoc;
    handling.getMinMaxVal(image, minVal, maxVal, &minLoc, &maxLoc);
    EXPECT_EQ(minVal, 2.0f);
    EXPECT_EQ(maxVal, 9.0f);
    EXPECT_EQ(minLoc, cv::Point(1, 0));
    EXPECT_EQ(maxLoc, cv::Point(0, 1));

    cv::Mat_<float> invalid(2, 2, kNaN);
    invalid(1, 1) = fromBits(130);
    handling.getMinMaxVal(invalid, minVal, maxVal);
    EXPECT_EQ(minVal, 5000.0f);
    EXPECT_EQ(maxVal, -274.0f);
}

// On ramp + 100: inside, a defect takes the mean of its four neighbours, on an edge that
// of three; a corner falls back to the valid range taken before any repair, or to 0.
TEST(SuperResolutionBadPixelHandling, DefectsTakeTheNeighbourMeanOrFallBackToTheFrameRange) {
    const std::pair<cv::Point, float> positions[] = {{{4, 3}, 134.0f},
                                                     {{0, 2}, (121 + 110 + 130) / 3.0f},
                                                     {{6, 3}, (135 + 126 + 146) / 3.0f},
                                                     {{3, 0}, (102 + 104 + 113) / 3.0f},
                                                     {{2, 5}, (151 + 153 + 142) / 3.0f},
                                                     {{0, 0}, 0.0f},
                                                     {{6, 0}, 0.0f},
                                                     {{0, 5}, 0.0f},
                                                     {{6, 5}, 0.0f}};  // corners
    for (const Defect& defect : kDefects) {
        for (const auto& position : positions) {
            const cv::Point at = position.first;
            SCOPED_TRACE(testing::Message() << defect.name << " at " << at);
            SuperResolutionBadPixelHandling handling(2);
            cv::Mat_<float> frame = ramp(7, 6) + 100.0f;
            frame(at) = defect.value;
            const bool corner = (at.x == 0 || at.x == 6) && (at.y == 0 || at.y == 5);
            const float minVal = at == cv::Point(0, 0) ? 101.0f : 100.0f;
            const float maxVal = at == cv::Point(6, 5) ? 155.0f : 156.0f;
            const float expected = !corner                           ? position.second
                                   : defect.fallback == Defect::kMin ? minVal
                                   : defect.fallback == Defect::kMax ? maxVal
                                                                     : 0.0f;
            EXPECT_EQ(handling.detectAndReplaceBadPixel(frame), corner && defect.changesResult ? -2 : 0);
            EXPECT_EQ(bitsOf(frame(at)), bitsOf(expected));
            const cv::Mat_<unsigned char>& map = handling.getDefectMaps().back();
            EXPECT_EQ(map(at), defect.code);
            EXPECT_EQ(cv::countNonZero(map), 1);
        }
    }
}

TEST(SuperResolutionBadPixelHandling, MoreThanTenHopelessPixelsThrowAfterStoringTheMap) {
    // Each corner is one hopeless pixel; in an interior run of NaN every pixel but the
    // last still sees its defective right neighbour.
    for (const int run : {7, 8}) {
        SCOPED_TRACE(testing::Message() << "run of " << run);
        SuperResolutionBadPixelHandling handling(3);
        cv::Mat_<float> frame = ramp(12, 6);
        for (const cv::Point corner : {cv::Point(0, 0), cv::Point(11, 0), cv::Point(0, 5), cv::Point(11, 5)})
            frame(corner) = kNaN;
        for (int x = 2; x < 2 + run; ++x) frame(3, x) = kNaN;
        const int hopeless = 4 + run - 1;
        if (hopeless <= 10) {
            EXPECT_EQ(handling.detectAndReplaceBadPixel(frame), -2);
        } else {
            expectThrows([&] { handling.detectAndReplaceBadPixel(frame); },
                         "Too many defect pixels. No processing possible.", "detectAndReplaceBadPixel");
        }
        ASSERT_EQ(handling.getDefectMaps().size(), 1u);
        EXPECT_EQ(cv::countNonZero(handling.getDefectMaps()[0]), 4 + run);
        EXPECT_EQ(frame(0, 0), 0.0f);
        EXPECT_EQ(frame(3, 2), 0.0f);
        // The last of the run sees its repaired left neighbour (0.0) and three ramp values.
        const float last = static_cast<float>(run);
        EXPECT_EQ(frame(3, 1 + run), (0.0f + (32.0f + last) + (21.0f + last) + (41.0f + last)) / 4.0f);
        for (const float value : frame) EXPECT_FALSE(std::isnan(value));
    }
}

TEST(SuperResolutionBadPixelHandling, DefectMapsSlideWithTheWindow) {
    SuperResolutionBadPixelHandling handling(3);
    for (int k = 0; k < 5; ++k) {
        cv::Mat_<float> frame = ramp(6, 4);
        frame(1, k) = kNaN;
        handling.detectAndReplaceBadPixel(frame);
        ASSERT_EQ(handling.getDefectMaps().size(), static_cast<std::size_t>(std::min(k + 1, 3)));
    }
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(handling.getDefectMaps()[i](1, i + 2), 3);
        EXPECT_EQ(cv::countNonZero(handling.getDefectMaps()[i]), 1);
    }
}

// Defect maps with one defect of the given value at (x, y) per frame.
SuperResolutionBadPixelHandling withDefects(const std::vector<std::pair<cv::Point, float>>& defects, int cols,
                                            int rows) {
    SuperResolutionBadPixelHandling handling(static_cast<unsigned int>(defects.size()));
    for (const auto& defect : defects) {
        cv::Mat_<float> frame = ramp(cols, rows);
        frame(defect.first) = defect.second;
        handling.detectAndReplaceBadPixel(frame);
    }
    return handling;
}

std::vector<cv::Point> markedPixels(const cv::Mat_<float>& estimate, std::uint32_t marker) {
    std::vector<cv::Point> marked;
    for (int r = 0; r < estimate.rows; ++r)
        for (int c = 0; c < estimate.cols; ++c)
            if (bitsOf(estimate(r, c)) == marker) marked.emplace_back(c, r);
    return marked;
}

// A defect at low-resolution (x, y) marks the block of 7 x 7 estimate pixels around
// (2 (x - shift.x), 2 (y - shift.y)), clipped to the estimate, with 130, 129 or 132.
TEST(SuperResolutionBadPixelHandling, MaskWritesClippedSevenBySevenMarkerBlocks) {
    const struct {
        cv::Point at;
        float value;
        cv::Point2f shift;
        std::uint32_t marker;
        cv::Rect block;
    } rows[] = {
        {{5, 4}, fromBits(130), {0.75f, -0.5f}, 130, {5, 6, 7, 7}},  // around (8.5, 9)
        {{5, 4}, fromBits(129), {0.75f, -0.5f}, 129, {5, 6, 7, 7}},
        {{5, 4}, kNaN, {0.75f, -0.5f}, 132, {5, 6, 7, 7}},
        {{9, 0}, fromBits(133), {0.0f, 0.0f}, 132, {15, 0, 5, 4}},  // (18, 0)
        {{9, 0}, 6000.0f, {-2.0f, 0.0f}, 132, {19, 0, 1, 4}},       // (22, 0)
        {{9, 0}, -300.0f, {0.0f, -7.75f}, 132, {15, 12, 5, 4}},     // (18, 15.5)
        {{9, 0}, kNaN, {-3.0f, 0.0f}, 132, {}},                     // (24, 0): right of the estimate
        {{9, 0}, kNaN, {9.5f, 0.0f}, 132, {}},                      // x < 0
        {{9, 0}, kNaN, {0.0f, 0.5f}, 132, {}},                      // y < 0
        {{9, 0}, kNaN, {0.0f, -8.0f}, 132, {}},                     // y = 16 rows
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.at << " " << row.value << " shift " << row.shift);
        SuperResolutionBadPixelHandling handling = withDefects({{row.at, row.value}}, 10, 8);
        cv::Mat_<float> estimate(16, 20, 1.0f);
        handling.maskBadPixel(estimate, {row.shift});
        const std::vector<cv::Point> marked = markedPixels(estimate, row.marker);
        EXPECT_EQ(cv::countNonZero(estimate != 1.0f), static_cast<int>(marked.size()));
        ASSERT_EQ(marked.size(), static_cast<std::size_t>(row.block.area()));
        if (!marked.empty()) {
            EXPECT_EQ(marked.front(), row.block.tl());
            EXPECT_EQ(marked.back(), row.block.br() - cv::Point(1, 1));
        }
    }
}

TEST(SuperResolutionBadPixelHandling, MaskNeedsOneShiftPerDefectMapAndRefillNeedsMaps) {
    SuperResolutionBadPixelHandling handling = withDefects({{cv::Point(1, 1), kNaN}, {cv::Point(2, 2), kNaN}}, 6, 5);
    cv::Mat_<float> estimate(10, 12, 0.0f);
    expectThrows([&] { handling.maskBadPixel(estimate, {cv::Point2f(0.0f, 0.0f)}); },
                 "maskBadPixel(): number of shifts ist not equal to number of defectMaps", "maskBadPixel");
    EXPECT_EQ(cv::countNonZero(estimate), 0);

    SuperResolutionBadPixelHandling empty(3);
    expectThrows([&] { empty.replaceMaskedPixel(estimate, {}, {}); }, "bad pixel masks not initalized",
                 "replaceMaskedPixel");
}

TEST(SuperResolutionBadPixelHandling, RefillAveragesShiftedValidSamplesAndKeepsHopelessMarkers) {
    const int cols = 6, rows = 5;
    SuperResolutionBadPixelHandling handling =
        withDefects({{cv::Point(2, 1), kNaN}, {cv::Point(3, 1), kNaN}}, cols, rows);
    const std::vector<cv::Mat_<float>> frames = {ramp(cols, rows), ramp(cols, rows) + 100.0f};
    const std::vector<cv::Point2f> shifts = {cv::Point2f(0.0f, 0.0f), cv::Point2f(1.4f, -0.7f)};
    // Per estimate pixel (R, C): each frame offers low-resolution
    // (trunc(C / 2 + shift.x), trunc(R / 2 + shift.y)).
    struct Row {
        int r, c;
        std::uint32_t marker;
        float expected;  // NaN: the marker stays
    };
    const Row cases[] = {
        {2, 4, 130, 103.0f},                   // frame 0 (2, 1) defective; frame 1 (3, 0) valid
        {3, 5, 132, 103.0f},                   // frame 0 (2, 1) defective; frame 1 (trunc 3.9, trunc 0.8)
        {2, 2, 129, (11.0f + 102.0f) / 2.0f},  // frame 0 (1, 1) and frame 1 (2, 0) valid
        {3, 6, 133, kNaN},                     // 133 is not a high-resolution marker
        {3, 3, 132, (11.0f + 102.0f) / 2.0f},  // frame 0 (1, 1) and frame 1 (2, 0) valid
        {9, 11, 129, 45.0f},                   // frame 0 (5, 4); frame 1 trunc(6.9) = 6 is outside
        {0, 4, 132, (2.0f + 103.0f) / 2.0f},   // frame 1 trunc(-0.7) = 0 still samples row 0
        {2, 6, 130, (13.0f + 104.0f) / 2.0f},  // frame 0 (3, 1) valid there; frame 1 (4, 0)
    };
    cv::Mat_<float> estimate(2 * rows, 2 * cols, 0.0f);
    for (const Row& row : cases) estimate(row.r, row.c) = fromBits(row.marker);
    handling.replaceMaskedPixel(estimate, shifts, frames);
    for (const Row& row : cases) {
        SCOPED_TRACE(testing::Message() << row.r << "," << row.c);
        const float expected = std::isnan(row.expected) ? fromBits(row.marker) : row.expected;
        EXPECT_EQ(bitsOf(estimate(row.r, row.c)), bitsOf(expected));
    }

    // Truncation: a position just left of the frame still samples its first column.
    SuperResolutionBadPixelHandling single = withDefects({{cv::Point(4, 4), kNaN}}, cols, rows);
    cv::Mat_<float> leftEdge(2 * rows, 2 * cols, 0.0f);
    leftEdge(2, 0) = fromBits(132);
    single.replaceMaskedPixel(leftEdge, {cv::Point2f(-0.7f, 0.0f)}, {frames[1]});
    EXPECT_EQ(leftEdge(2, 0), 110.0f);

    // Where every frame is defective the marker stays.
    SuperResolutionBadPixelHandling both = withDefects({{cv::Point(2, 1), kNaN}, {cv::Point(2, 1), kNaN}}, cols, rows);
    cv::Mat_<float> hopeless(2 * rows, 2 * cols, 0.0f);
    hopeless(2, 4) = fromBits(130);
    both.replaceMaskedPixel(hopeless, {cv::Point2f(0.0f, 0.0f), cv::Point2f(0.0f, 0.0f)}, frames);
    EXPECT_EQ(bitsOf(hopeless(2, 4)), 130u);
}

TEST(SuperResolutionBadPixelHandling, ColorPaintsMarkers129RedAnd130Blue) {
    SuperResolutionBadPixelHandling handling(1);
    cv::Mat_<float> image(2, 3, 5.0f);
    image(0, 0) = fromBits(129);
    image(1, 2) = fromBits(130);
    image(0, 1) = fromBits(132);
    const cv::Vec3b grey(7, 8, 9), red(0, 0, 255), blue(255, 0, 0);
    cv::Mat_<cv::Vec3b> picture(2, 3, grey);
    handling.colorBadPixel(image, picture);
    EXPECT_EQ(picture(0, 0), red);
    EXPECT_EQ(picture(1, 2), blue);
    EXPECT_EQ(picture(0, 1), grey);
    EXPECT_EQ(picture(0, 2), grey);
}

}  // namespace
}  // namespace vision
}  // namespace vorel
