// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloat.h"

#include "tests/support/SyntheticBurst.h"
#include "vorel/Exception.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <iostream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace vorel {
namespace vision {

using Engine = SrFloat<SrFloatRegistration2>;

class SrFloatInspector {
public:
    static const float* slot(const Engine& engine, int i) { return engine.frames[i]; }
    static char* mask(Engine& engine, int i) { return engine.masks[i]; }
    static float srFactor(const Engine& engine, int n) { return engine.srFactor_(n, 5); }
};

namespace {

constexpr int width = 64;
constexpr int height = 48;

// Keeps the engine's timing lines; restores std::cout when done.
class CoutCapture {
public:
    CoutCapture() : previous(std::cout.rdbuf(captured.rdbuf())) {}
    ~CoutCapture() { std::cout.rdbuf(previous); }
    std::string text() const { return captured.str(); }

private:
    std::ostringstream captured;
    std::streambuf* previous;
};

std::vector<cv::Mat_<float>> burst(const std::vector<cv::Point2f>& shifts) {
    test::SyntheticBurst scene(width, height, 8, 0.5f, 23);
    std::vector<cv::Mat_<float>> frames;
    for (const cv::Point2f& shift : shifts) frames.push_back(scene.frame(shift, 0.0f));
    return frames;
}

const std::vector<cv::Point2f> subPixelShifts = {
    {0.5f, 0.25f}, {0.0f, 0.0f}, {-0.25f, 0.5f}, {0.75f, -0.5f}, {0.25f, 0.875f}};

float compute(Engine& engine, const std::vector<cv::Mat_<float>>& frames, std::vector<float>& out,
              std::string* printed = nullptr) {
    for (const auto& frame : frames) EXPECT_EQ(engine.addFrame(frame), 0);
    out.assign(engine.getOutputSize(), std::numeric_limits<float>::quiet_NaN());
    CoutCapture capture;
    const float result = engine.computeSR(out.data());
    if (printed) *printed = capture.text();
    return result;
}

bool allFinite(const std::vector<float>& values) {
    for (float v : values) {
        if (!std::isfinite(v)) return false;
    }
    return true;
}

TEST(SrFloat, SizesAndDefaults) {
    const Engine engine(161, 120, 5, 2.0f);
    EXPECT_EQ(engine.getInputSize(), 161 * 120);
    EXPECT_EQ(engine.getOutputWidth(), 322);
    EXPECT_EQ(engine.getOutputHeight(), 240);
    EXPECT_EQ(engine.getOutputSize(), 322 * 240);
    EXPECT_EQ(engine.getWindowSize(), 5);
    EXPECT_EQ(engine.getFrameCount(), 0);
    EXPECT_EQ(engine.getReferenceIndex(), 0);
    EXPECT_EQ(engine.getMinStructureThreshold(), 2.0f);
    EXPECT_EQ(engine.getRegError(), 0.0001f);
    EXPECT_EQ(engine.getPsfSigma(), 0.683f);
    EXPECT_EQ(engine.getWeightTV(), 400.0f);
    EXPECT_EQ(engine.getRelativeResidue(), 0.007f);
    EXPECT_EQ(engine.getMaxCGIters(), 8);

    const Engine oneAndHalf(161, 120, 5, 1.5f);
    EXPECT_EQ(oneAndHalf.getOutputWidth(), 241);  // 241.5 truncated
    EXPECT_EQ(oneAndHalf.getOutputHeight(), 180);
}

TEST(SrFloat, EmptyWindowIsRejectedWithReferenceIndexText) {
    try {
        Engine engine(8, 8, 0, 2.0f);
        FAIL() << "no exception";
    } catch (const char* text) {
        EXPECT_STREQ(text, "Invalid reference index specified.");
    }
}

TEST(SrFloat, SettersRejectWithExactTexts) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const char* const referenceText = "Invalid reference index specified.";
    const char* const regErrorText = "Invalid maximum registration error specified.";
    const char* const sigmaText = "Invalid standard deviation of the sensor psf specified.";
    const char* const weightText = "Invalid total-variation term weight specified.";
    const char* const iterationsText = "Invalid maximum number of iterations specified.";
    struct Row {
        const char* name;
        std::function<void(Engine&)> set;
        const char* rejection;  // nullptr: accepted
    };
    const Row rows[] = {
        {"reference 0", [](Engine& e) { e.setReferenceIndex(0); }, nullptr},
        {"reference 4", [](Engine& e) { e.setReferenceIndex(4); }, nullptr},
        {"reference 5", [](Engine& e) { e.setReferenceIndex(5); }, referenceText},
        {"reference -1", [](Engine& e) { e.setReferenceIndex(-1); }, referenceText},
        {"regError 1", [](Engine& e) { e.setRegError(1.0f); }, nullptr},
        {"regError 0", [](Engine& e) { e.setRegError(0.0f); }, regErrorText},
        {"regError 1.01", [](Engine& e) { e.setRegError(1.01f); }, regErrorText},
        {"regError NaN", [&](Engine& e) { e.setRegError(nan); }, nullptr},
        {"sigma 0.01", [](Engine& e) { e.setPsfSigma(0.01f); }, nullptr},
        {"sigma 0", [](Engine& e) { e.setPsfSigma(0.0f); }, sigmaText},
        {"sigma NaN", [&](Engine& e) { e.setPsfSigma(nan); }, nullptr},
        {"weight 1", [](Engine& e) { e.setWeightTV(1.0f); }, nullptr},
        {"weight 0.999", [](Engine& e) { e.setWeightTV(0.999f); }, weightText},
        {"weight NaN", [&](Engine& e) { e.setWeightTV(nan); }, nullptr},
        {"residue 2e-6", [](Engine& e) { e.setRelativeResidue(2e-6f); }, nullptr},
        // The float nearest 1e-6 lies below it, and the bound is compared in double.
        {"residue 1e-6f", [](Engine& e) { e.setRelativeResidue(1e-6f); }, weightText},
        {"residue 1e-7", [](Engine& e) { e.setRelativeResidue(1e-7f); }, weightText},  // the TV text, kept
        {"residue NaN", [&](Engine& e) { e.setRelativeResidue(nan); }, nullptr},
        {"iterations 1", [](Engine& e) { e.setMaxCGIters(1); }, nullptr},
        {"iterations 0", [](Engine& e) { e.setMaxCGIters(0); }, iterationsText},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Engine engine(16, 12, 5, 2.0f);
        try {
            row.set(engine);
            EXPECT_EQ(row.rejection, nullptr) << "accepted";
        } catch (const char* text) {
            ASSERT_NE(row.rejection, nullptr) << "rejected: " << text;
            EXPECT_STREQ(text, row.rejection);
        }
    }
}

TEST(SrFloat, SettersStoreOrKeep) {
    Engine engine(16, 12, 5, 2.0f);
    engine.setReferenceIndex(2);
    engine.setRegError(0.5f);
    engine.setPsfSigma(0.35f);
    engine.setWeightTV(50.0f);
    engine.setRelativeResidue(0.01f);
    engine.setMaxCGIters(3);
    engine.setMinStructureThreshold(-1.0f);
    EXPECT_THROW(engine.setReferenceIndex(5), const char*);
    EXPECT_THROW(engine.setRegError(2.0f), const char*);
    EXPECT_THROW(engine.setPsfSigma(-1.0f), const char*);
    EXPECT_THROW(engine.setWeightTV(0.0f), const char*);
    EXPECT_THROW(engine.setRelativeResidue(0.0f), const char*);
    EXPECT_THROW(engine.setMaxCGIters(-3), const char*);
    EXPECT_EQ(engine.getReferenceIndex(), 2);
    EXPECT_EQ(engine.getRegError(), 0.5f);
    EXPECT_EQ(engine.getPsfSigma(), 0.35f);
    EXPECT_EQ(engine.getWeightTV(), 50.0f);
    EXPECT_EQ(engine.getRelativeResidue(), 0.01f);
    EXPECT_EQ(engine.getMaxCGIters(), 3);
    EXPECT_EQ(engine.getMinStructureThreshold(), -1.0f);
}

TEST(SrFloat, WindowSlidesInAgeOrder) {
    Engine engine(width, height, 5, 2.0f);
    const auto base = burst({{0.0f, 0.0f}})[0];
    for (int k = 1; k <= 7; ++k) {
        const cv::Mat_<float> frame = base + 10.0f * k;
        EXPECT_EQ(engine.addFrame(frame), 0);
        EXPECT_EQ(engine.getFrameCount(), std::min(k, 5));
    }
    // Frames 3 to 7 in slots 0 to 4.
    for (int slot = 0; slot < 5; ++slot) {
        SCOPED_TRACE(slot);
        EXPECT_EQ(SrFloatInspector::slot(engine, slot)[100], base(100) + 10.0f * (slot + 3));
    }
    engine.clearFrames();
    EXPECT_EQ(engine.getFrameCount(), 0);
}

TEST(SrFloat, ReferenceCountsBackFromTheNewestFrame) {
    struct Row {
        int frames;
        int referenceIndex;
        int referenceSlot;
    };
    const Row rows[] = {{2, 3, 0}, {5, 3, 1}, {5, 0, 4}, {5, 4, 0}, {4, 1, 2}};
    const auto frames = burst(subPixelShifts);
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.frames) + " frames, index " + std::to_string(row.referenceIndex));
        Engine engine(width, height, 5, 2.0f);
        engine.setReferenceIndex(row.referenceIndex);
        std::vector<float> out;
        compute(engine, std::vector<cv::Mat_<float>>(frames.begin(), frames.begin() + row.frames), out);
        std::vector<cv::Mat_<unsigned char>> masks;
        engine.getMasks(masks);
        ASSERT_EQ(masks.size(), 5u);
        // Only the reference is usable everywhere: the others lose a border to their shift.
        for (int slot = 0; slot < row.frames; ++slot) {
            EXPECT_EQ(masks[slot].rows, height);
            EXPECT_EQ(masks[slot].cols, width);
            EXPECT_EQ(cv::countNonZero(masks[slot]) == width * height, slot == row.referenceSlot) << "slot " << slot;
        }
    }
}

TEST(SrFloat, ComputeSRReportsPhasesAndSrFactor) {
    Engine engine(width, height, 5, 2.0f);
    const auto frames = burst(std::vector<cv::Point2f>(5, {0.0f, 0.0f}));
    std::vector<float> out;
    std::string printed;
    // Identical frames: every mask is full, so srfactor = 4 / 4 + 1.
    EXPECT_EQ(compute(engine, frames, out, &printed), 2.0f);
    EXPECT_TRUE(allFinite(out));
    const std::string labels[] = {" registration:         ", " large_displacement:   ", " minimization:         ",
                                  " save+srfactor calc:   "};
    std::istringstream lines(printed);
    std::string line;
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_EQ(line, "++++++++++ SrFloat ++++++++++");
    for (const std::string& label : labels) {
        ASSERT_TRUE(std::getline(lines, line));
        SCOPED_TRACE(line);
        ASSERT_EQ(line.compare(0, label.size(), label), 0);  // blanks included, so the numbers line up
        std::istringstream rest(line.substr(label.size()));
        double milliseconds = -1.0;
        std::string unit;
        EXPECT_TRUE(rest >> milliseconds >> unit);
        EXPECT_GE(milliseconds, 0.0);
        EXPECT_EQ(unit, "[ms]");
    }
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_EQ(line, std::string(29, '+'));
    EXPECT_FALSE(std::getline(lines, line));

    std::vector<float> saved(engine.getOutputSize());
    engine.saveFrame(saved.data());
    EXPECT_EQ(saved, out);
}

TEST(SrFloat, SrFactorCountsCoverage) {
    struct Row {
        const char* name;
        int covering;  // leading frames whose masks are set
        float srfactor;
    };
    const Row rows[] = {{"all", 5, 2.0f}, {"none", 0, 0.75f}, {"three", 3, 1.5f}, {"one", 1, 1.0f}};
    Engine engine(16, 12, 5, 2.0f);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        for (int i = 0; i < 5; ++i) std::fill_n(SrFloatInspector::mask(engine, i), 16 * 12, i < row.covering ? 1 : 0);
        EXPECT_EQ(SrFloatInspector::srFactor(engine, 5), row.srfactor);
    }
    // Coverage is capped at maxCount - 1 = 4 extra frames.
    Engine wide(16, 12, 7, 2.0f);
    for (int i = 0; i < 7; ++i) std::fill_n(SrFloatInspector::mask(wide, i), 16 * 12, 1);
    EXPECT_EQ(SrFloatInspector::srFactor(wide, 7), 2.0f);
}

TEST(SrFloat, MaxCountIsFixedByTheFirstReconstruction) {
    const cv::Mat_<float> frame = burst({{0.0f, 0.0f}})[0];
    Engine two(width, height, 5, 2.0f);
    std::vector<float> out;
    EXPECT_EQ(compute(two, std::vector<cv::Mat_<float>>(5, frame), out), 2.0f);
    // Seven full masks: capped at 5 - 1 = 4 extra frames, 4 / 4 + 1. A cap taken
    // from this engine's own factor (3 * 3 + 1) would give 6 / 4 + 1 = 2.5.
    Engine three(width, height, 7, 3.0f);
    EXPECT_EQ(compute(three, std::vector<cv::Mat_<float>>(7, frame), out), 2.0f);
}

TEST(SrFloat, MatrixOverloadMatchesPointerOverload) {
    const auto frames = burst(subPixelShifts);
    Engine engine(width, height, 5, 2.0f);
    engine.setReferenceIndex(3);
    std::vector<float> out;
    const float viaPointer = compute(engine, frames, out);
    cv::Mat_<float> image(3, 3, 0.0f);  // wrong size: reallocated
    CoutCapture quiet;
    EXPECT_EQ(engine.computeSR(image), viaPointer);
    ASSERT_EQ(image.rows, 2 * height);
    ASSERT_EQ(image.cols, 2 * width);
    // The pointer run normalised the shifted copies; a rerun starts from the raw frames.
    EXPECT_EQ(std::vector<float>(image.begin(), image.end()), out);
}

TEST(SrFloat, CompleteShiftsFollowTheFrames) {
    const std::vector<cv::Point2f> shifts = {{1.0f, 0.0f}, {0.0f, 0.0f}, {-1.0f, 2.0f}, {2.0f, -1.0f}, {0.0f, 1.0f}};
    Engine engine(width, height, 5, 2.0f);
    engine.setReferenceIndex(3);  // slot 1, the unshifted frame
    std::vector<float> out;
    compute(engine, burst(shifts), out);
    std::vector<cv::Point2f> complete;
    engine.getCompleteShifts(complete);
    ASSERT_EQ(complete.size(), shifts.size());
    for (std::size_t i = 0; i < shifts.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_NEAR(complete[i].x, shifts[i].x, 0.1);
        EXPECT_NEAR(complete[i].y, shifts[i].y, 0.1);
    }
}

TEST(SrFloat, LargeDisplacementGivesMinus6WithOutputWritten) {
    // Limit: height / 10 = 4 rows.
    const std::vector<cv::Point2f> shifts = {{0.0f, 0.0f}, {0.0f, 0.0f}, {0.25f, 0.5f}, {0.0f, 6.0f}, {0.5f, 0.0f}};
    Engine engine(width, height, 5, 2.0f);
    engine.setReferenceIndex(3);
    std::vector<float> out;
    EXPECT_EQ(compute(engine, burst(shifts), out), -6.0f);
    EXPECT_TRUE(allFinite(out));
}

TEST(SrFloat, HalfMaskedFrameGivesMinus3WithOutputWritten) {
    auto frames = burst(subPixelShifts);
    // Noise far above the scene's detail in the newest frame's right 60 %: unusable there.
    cv::Mat_<float> noise(height, width - 26);
    cv::RNG(7).fill(noise, cv::RNG::NORMAL, 0.0, 5.0);
    frames[4](cv::Rect(26, 0, width - 26, height)) += noise;
    Engine engine(width, height, 5, 2.0f);
    engine.setReferenceIndex(3);
    std::vector<float> out;
    EXPECT_EQ(compute(engine, frames, out), -3.0f);
    EXPECT_TRUE(allFinite(out));
}

TEST(SrFloat, FailedRegistrationGivesMinus998AndPrintsOnlyTheHeader) {
    auto frames = burst(subPixelShifts);
    frames[1] = 30.0f;  // a reference without corners
    Engine engine(width, height, 5, 2.0f);
    engine.setReferenceIndex(3);
    std::vector<float> out;
    std::string printed;
    EXPECT_EQ(compute(engine, frames, out, &printed), -998.0f);
    EXPECT_EQ(printed, "++++++++++ SrFloat ++++++++++\n");
    EXPECT_TRUE(std::isnan(out[0]));  // not written

    engine.clearFrames();
    std::vector<float> none(engine.getOutputSize(), 1.0f);
    CoutCapture quiet;
    EXPECT_EQ(engine.computeSR(none.data()), -998.0f);  // an empty window has no reference
    EXPECT_EQ(none[0], 1.0f);
}

TEST(SrFloat, UnrepairableDefectIsReportedAndReplaced) {
    Engine engine(width, height, 5, 2.0f);
    cv::Mat_<float> frame = burst({{0.0f, 0.0f}})[0];
    frame(0, 0) = std::numeric_limits<float>::quiet_NaN();  // corners are never repaired from neighbours
    EXPECT_EQ(engine.addFrame(frame), -2);
    EXPECT_EQ(SrFloatInspector::slot(engine, 0)[0], 0.0f);
    EXPECT_EQ(engine.getFrameCount(), 1);
}

TEST(SrFloat, TooManyDefectsThrowAndLeaveTheFrameCounted) {
    Engine engine(width, height, 5, 2.0f);
    cv::Mat_<float> frame = burst({{0.0f, 0.0f}})[0];
    frame(cv::Rect(10, 10, 4, 4)) = std::numeric_limits<float>::quiet_NaN();
    try {
        engine.addFrame(frame);
        FAIL() << "no exception";
    } catch (const Exception& exception) {
        EXPECT_STREQ(exception.what(), "Too many defect pixels. No processing possible.");
    }
    EXPECT_EQ(engine.getFrameCount(), 1);
}

}  // namespace
}  // namespace vision
}  // namespace vorel
