// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatNeon.h"
#include "vision/superresolution/reference/SuperResolution.h"

#include "BurstSimulator.h"
#include "tests/support/NoiselessBurst.h"
#include "QualityMetrics.h"
#include "tests/support/CoutCapture.h"
#include "tests/support/ThrownText.h"
#include "vorel/Exception.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <functional>
#include <iostream>
#include <limits>
#include <regex>
#include <string>
#include <type_traits>
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
const float kNaN = std::numeric_limits<float>::quiet_NaN();


std::vector<cv::Mat_<float>> burst(const std::vector<cv::Point2f>& shifts) {
    return test::noiselessBurst({width, height}, shifts);
}

// No component at a half pixel, where registration on another processor may round the other way.
const std::vector<cv::Point2f> subPixelShifts = {
    {0.625f, 0.25f}, {0.0f, 0.0f}, {-0.25f, 0.625f}, {0.75f, -0.625f}, {0.25f, 0.875f}};

float compute(Engine& engine, const std::vector<cv::Mat_<float>>& frames, std::vector<float>& out,
              std::string* printed = nullptr) {
    for (const auto& frame : frames) EXPECT_EQ(engine.addFrame(frame), 0);
    out.assign(engine.getOutputSize(), kNaN);
    CoutCapture capture;
    const float result = engine.computeSR(out.data());
    if (printed) *printed = capture.text();
    return result;
}

bool allFinite(const std::vector<float>& values) {
    return std::all_of(values.begin(), values.end(), [](float v) { return std::isfinite(v); });
}


// Every stored setting, in a comparable form.
std::vector<float> settings(const Engine& e) {
    return {static_cast<float>(e.getReferenceIndex()),
            e.getMinStructureThreshold(),
            e.getRegError(),
            e.getPsfSigma(),
            e.getWeightTV(),
            e.getRelativeResidue(),
            static_cast<float>(e.getMaxCGIters()),
            static_cast<float>(e.getThreadCount())};
}

TEST(SrFloat, SizesAndDefaults) {
    const Engine engine(161, 120, 5, 2.0f);
    EXPECT_EQ(engine.getInputSize(), 161 * 120);
    EXPECT_EQ(engine.getOutputWidth(), 322);
    EXPECT_EQ(engine.getOutputHeight(), 240);
    EXPECT_EQ(engine.getOutputSize(), 322 * 240);
    EXPECT_EQ(engine.getWindowSize(), 5);
    EXPECT_EQ(engine.getFrameCount(), 0);
    EXPECT_EQ(settings(engine), (std::vector<float>{0, 2.0f, 0.0001f, 0.683f, 400.0f, 0.007f, 8, 1}));

    const Engine oneAndHalf(161, 120, 5, 1.5f);
    EXPECT_EQ(oneAndHalf.getOutputWidth(), 241);  // 241.5 truncated
    EXPECT_EQ(oneAndHalf.getOutputHeight(), 180);
}

TEST(SrFloat, InvalidWindowAndSettingsAreRejectedWithExactTextsAndChangeNothing) {
    const std::string reference = "Invalid reference index specified.";
    const std::string regError = "Invalid maximum registration error specified.";
    const std::string weight = "Invalid total-variation term weight specified.";
    EXPECT_EQ(thrownText([] { Engine(8, 8, 0, 2.0f); }), reference);
    struct Row {
        const char* name;
        std::function<void(Engine&)> set;
        std::string rejection;  // empty: accepted
    };
    const Row rows[] = {
        {"reference 0", [](Engine& e) { e.setReferenceIndex(0); }, ""},
        {"reference 4", [](Engine& e) { e.setReferenceIndex(4); }, ""},
        {"reference 5", [](Engine& e) { e.setReferenceIndex(5); }, reference},
        {"reference -1", [](Engine& e) { e.setReferenceIndex(-1); }, reference},
        {"regError 1", [](Engine& e) { e.setRegError(1.0f); }, ""},
        {"regError 0", [](Engine& e) { e.setRegError(0.0f); }, regError},
        {"regError 1.01", [](Engine& e) { e.setRegError(1.01f); }, regError},
        {"regError NaN", [](Engine& e) { e.setRegError(kNaN); }, ""},
        {"sigma 0.01", [](Engine& e) { e.setPsfSigma(0.01f); }, ""},
        {"sigma 0", [](Engine& e) { e.setPsfSigma(0.0f); }, "Invalid standard deviation of the sensor psf specified."},
        {"sigma NaN", [](Engine& e) { e.setPsfSigma(kNaN); }, ""},
        {"weight 1", [](Engine& e) { e.setWeightTV(1.0f); }, ""},
        {"weight 0.999", [](Engine& e) { e.setWeightTV(0.999f); }, weight},
        {"weight NaN", [](Engine& e) { e.setWeightTV(kNaN); }, ""},
        {"residue 2e-6", [](Engine& e) { e.setRelativeResidue(2e-6f); }, ""},
        // The float nearest 1e-6 lies below it, and the bound is compared in double.
        {"residue 1e-6f", [](Engine& e) { e.setRelativeResidue(1e-6f); }, weight},
        {"residue 1e-7", [](Engine& e) { e.setRelativeResidue(1e-7f); }, weight},  // the TV text, kept
        {"residue NaN", [](Engine& e) { e.setRelativeResidue(kNaN); }, ""},
        {"iterations 1", [](Engine& e) { e.setMaxCGIters(1); }, ""},
        {"iterations 0", [](Engine& e) { e.setMaxCGIters(0); }, "Invalid maximum number of iterations specified."},
        {"threads 0", [](Engine& e) { e.setThreadCount(0); }, "Invalid number of threads specified."},
        {"threads -1", [](Engine& e) { e.setThreadCount(-1); }, "Invalid number of threads specified."},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Engine engine(16, 12, 5, 2.0f);
        const std::vector<float> before = settings(engine);
        EXPECT_EQ(thrownText([&] { row.set(engine); }), row.rejection);
        if (!row.rejection.empty()) {
            EXPECT_EQ(settings(engine), before);
        }
    }
}

TEST(SrFloat, SettersStoreTheirValues) {
    Engine engine(16, 12, 5, 2.0f);
    engine.setReferenceIndex(2);
    engine.setMinStructureThreshold(-1.0f);
    engine.setRegError(0.5f);
    engine.setPsfSigma(0.35f);
    engine.setWeightTV(50.0f);
    engine.setRelativeResidue(0.01f);
    engine.setMaxCGIters(3);
    engine.setThreadCount(3);
    EXPECT_EQ(settings(engine), (std::vector<float>{2, -1.0f, 0.5f, 0.35f, 50.0f, 0.01f, 3, 3}));
}

TEST(SrFloat, WindowSlidesInAgeOrder) {
    Engine engine(width, height, 5, 2.0f);
    const auto base = burst({{0.0f, 0.0f}})[0];
    for (int k = 1; k <= 7; ++k) {
        EXPECT_EQ(engine.addFrame(base + 10.0f * k), 0);
        EXPECT_EQ(engine.getFrameCount(), std::min(k, 5));
    }
    for (int slot = 0; slot < 5; ++slot)  // frames 3 to 7
        EXPECT_EQ(SrFloatInspector::slot(engine, slot)[100], base(100) + 10.0f * (slot + 3)) << slot;
    engine.clearFrames();
    EXPECT_EQ(engine.getFrameCount(), 0);
}

// Three frames after a full window: the registration's slots and the defect maps
// must start again with the window, or old pyramids and maps meet new frames.
template <class Engine>
void expectClearedWindowLikeANewEngine() {
    Engine used(width, height, 5, 2.0f), fresh(width, height, 5, 2.0f);
    const auto frames = burst({{0.5f, 0.25f}, {0.0f, 0.0f}, {-0.25f, 0.5f}});
    CoutCapture quiet;
    std::vector<float> expected(used.getOutputSize()), actual(used.getOutputSize());
    for (const auto& frame : burst(subPixelShifts)) used.addFrame(frame[0]);
    used.computeSR(actual.data());
    used.clearFrames();
    for (const auto& frame : frames) {
        used.addFrame(frame[0]);
        fresh.addFrame(frame[0]);
    }
    EXPECT_EQ(used.computeSR(actual.data()), fresh.computeSR(expected.data()));
    EXPECT_EQ(actual, expected);
}

TEST(SrFloat, ClearedWindowReconstructsLikeANewEngine) {
    expectClearedWindowLikeANewEngine<SrFloat<SrFloatRegistration2>>();
    expectClearedWindowLikeANewEngine<SrFloat<SrFloatRegistration1>>();
    expectClearedWindowLikeANewEngine<SuperResolution>();
}

TEST(SrFloat, ReferenceCountsBackFromTheNewestFrame) {
    struct Row {
        int frames, referenceIndex, referenceSlot;
    };
    const Row rows[] = {{2, 3, 0}, {5, 3, 1}, {5, 0, 4}, {5, 4, 0}, {4, 1, 2}};
    const auto frames = burst(subPixelShifts);
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.frames << " frames, index " << row.referenceIndex);
        Engine engine(width, height, 5, 2.0f);
        engine.setReferenceIndex(row.referenceIndex);
        std::vector<float> out;
        compute(engine, std::vector<cv::Mat_<float>>(frames.begin(), frames.begin() + row.frames), out);
        std::vector<cv::Mat_<unsigned char>> masks;
        engine.getMasks(masks);
        ASSERT_EQ(masks.size(), 5u);
        // Only the reference is usable everywhere: the others lose a border to their shift.
        for (int slot = 0; slot < row.frames; ++slot) {
            EXPECT_EQ(masks[slot].size(), cv::Size(width, height));
            EXPECT_EQ(cv::countNonZero(masks[slot]) == width * height, slot == row.referenceSlot) << "slot " << slot;
        }
    }
}

TEST(SrFloat, ComputeSRReportsPhasesAndSrFactor) {
    Engine engine(width, height, 5, 2.0f);
    std::vector<float> out;
    std::string printed;
    // Identical frames: every mask is full, so srfactor = 4 / 4 + 1.
    EXPECT_EQ(compute(engine, burst(std::vector<cv::Point2f>(5, {0.0f, 0.0f})), out, &printed), 2.0f);
    EXPECT_TRUE(allFinite(out));
    // Labels padded so that the numbers line up; the numbers are non-negative milliseconds.
    std::string pattern = "\\+{10} SrFloat \\+{10}\n";
    for (const char* label :
         {" registration:         ", " large_displacement:   ", " minimization:         ", " save\\+srfactor calc:   "})
        pattern += std::string(label) + "[0-9][0-9.e+-]* ?\\[ms\\]\n";
    EXPECT_TRUE(std::regex_match(printed, std::regex(pattern + "\\+{29}\n"))) << printed;

    std::vector<float> saved(engine.getOutputSize());
    engine.saveFrame(saved.data());
    EXPECT_EQ(saved, out);
}

TEST(SrFloat, SrFactorCountsCoverage) {
    const std::pair<int, float> rows[] = {{5, 2.0f}, {0, 0.75f}, {3, 1.5f}, {1, 1.0f}};  // leading full masks
    Engine engine(16, 12, 5, 2.0f);
    for (const auto& row : rows) {
        for (int i = 0; i < 5; ++i) std::fill_n(SrFloatInspector::mask(engine, i), 16 * 12, i < row.first ? 1 : 0);
        EXPECT_EQ(SrFloatInspector::srFactor(engine, 5), row.second) << row.first << " covering";
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
    Engine engine(width, height, 5, 2.0f);
    engine.setReferenceIndex(3);
    std::vector<float> out;
    const float viaPointer = compute(engine, burst(subPixelShifts), out);
    cv::Mat_<float> image(3, 3, 0.0f);  // wrong size: reallocated
    CoutCapture quiet;
    EXPECT_EQ(engine.computeSR(image), viaPointer);
    ASSERT_EQ(image.size(), cv::Size(2 * width, 2 * height));
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
        EXPECT_NEAR(complete[i].x, shifts[i].x, 0.1) << i;
        EXPECT_NEAR(complete[i].y, shifts[i].y, 0.1) << i;
    }
}

TEST(SrFloat, LargeDisplacementOrHalfMaskedFrameWarnsWithOutputWritten) {
    std::vector<cv::Mat_<float>> large = burst({{0.0f, 0.0f}, {0.0f, 0.0f}, {0.25f, 0.5f}, {0.0f, 6.0f}, {0.5f, 0.0f}});
    std::vector<cv::Mat_<float>> halfMasked = burst(subPixelShifts);
    // Noise far above the scene's detail in the newest frame's right 60 %: unusable there.
    cv::Mat_<float> noise(height, width - 26);
    cv::RNG(7).fill(noise, cv::RNG::NORMAL, 0.0, 20.0);
    halfMasked[4](cv::Rect(26, 0, width - 26, height)) += noise;
    const std::pair<const std::vector<cv::Mat_<float>>*, float> rows[] = {
        {&large, -6.0f},  // a move of 6 rows passes the limit height / 10
        {&halfMasked, -3.0f}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.second);
        Engine engine(width, height, 5, 2.0f);
        engine.setReferenceIndex(3);
        std::vector<float> out;
        EXPECT_EQ(compute(engine, *row.first, out), row.second);
        EXPECT_TRUE(allFinite(out));
    }
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

TEST(SrFloat, DefectsAreReplacedReportedOrThrownWithTheFrameCounted) {
    Engine engine(width, height, 5, 2.0f);
    cv::Mat_<float> frame = burst({{0.0f, 0.0f}})[0];
    frame(0, 0) = kNaN;  // corners are never repaired from neighbours
    EXPECT_EQ(engine.addFrame(frame), -2);
    EXPECT_EQ(SrFloatInspector::slot(engine, 0)[0], 0.0f);
    EXPECT_EQ(engine.getFrameCount(), 1);

    frame(cv::Rect(10, 10, 4, 4)) = kNaN;
    try {
        engine.addFrame(frame);
        FAIL() << "no exception";
    } catch (const Exception& exception) {
        EXPECT_STREQ(exception.what(), "Too many defect pixels. No processing possible.");
    }
    EXPECT_EQ(engine.getFrameCount(), 2);
}

// The phase-correlation engine at thermal temperatures (a large mean that the
// unwindowed correlation carries along) with moves of a few pixels.
TEST(SrFloat, PhaseCorrelationEngineBeatsBicubic) {
    const int w = 160, h = 120, border = 8;
    for (const tools::Scene kind : {tools::Scene::Star, tools::Scene::People}) {
        SCOPED_TRACE(tools::sceneName(kind));
        tools::BurstSettings settings;
        settings.frameSize = {w, h};
        settings.blur = 0.6f;
        settings.scene = kind;
        const tools::BurstSimulator scene(settings);
        cv::RNG noise(3);
        const std::vector<cv::Point2f> shifts = {
            {2.5f, 1.25f}, {0.0f, 0.0f}, {-2.375f, 2.5f}, {3.625f, -2.5f}, {2.25f, -3.875f}};
        SrFloat<SrFloatRegistration1> engine(w, h, 5, 2.0f);
        engine.setReferenceIndex(3);  // slot 1, the unshifted frame
        cv::Mat_<float> reference, result;
        for (const cv::Point2f& shift : shifts) {
            const cv::Mat_<float> frame = scene.frame(shift, noise);
            if (shift == cv::Point2f(0.0f, 0.0f)) reference = frame;
            EXPECT_EQ(engine.addFrame(frame), 0);
        }
        CoutCapture quiet;
        EXPECT_GT(engine.computeSR(result), 1.0f);
        ASSERT_TRUE(cv::checkRange(result));
        const cv::Mat_<float> truth = scene.render({});
        cv::Mat_<float> bicubic;
        cv::resize(reference, bicubic, truth.size(), 0.0, 0.0, cv::INTER_CUBIC);
        const double gain = tools::psnrInside(result, truth, border) - tools::psnrInside(bicubic, truth, border);
        RecordProperty("gain_db_" + tools::sceneName(kind), std::to_string(gain));
        // Registration errors of a tenth of a pixel already cost most of the gain.
        EXPECT_GE(gain, 3.0);
    }
}

// Everything one window of frames gives: the value, the image, the masks and the shifts.
template <class Engine>
std::vector<unsigned char> everyResult(int threads, const std::vector<cv::Mat_<float>>& frames) {
    Engine engine(width, height, 5, 2.0f);
    engine.setReferenceIndex(2);
    engine.setThreadCount(threads);
    std::vector<unsigned char> bytes;
    auto append = [&bytes](const void* data, std::size_t size) {
        const auto* first = static_cast<const unsigned char*>(data);
        bytes.insert(bytes.end(), first, first + size);
    };
    CoutCapture quiet;
    std::vector<float> out(engine.getOutputSize());
    for (const cv::Mat_<float>& frame : frames) {
        engine.addFrame(frame);
        if (engine.getFrameCount() < 5) continue;
        const float value = engine.computeSR(out.data());
        append(&value, sizeof value);
        append(out.data(), out.size() * sizeof(float));
        // The vector engine's float masks: getMasks copies only width * height bytes of them.
        std::vector<std::conditional_t<std::is_base_of<SrFloatNeon<SrFloatNeonRegistration>, Engine>::value,
                                       cv::Mat_<float>, cv::Mat_<unsigned char>>>
            masks;
        engine.getMasks(masks);
        for (const auto& mask : masks) append(mask.data, mask.total());
        std::vector<cv::Point2f> shifts;
        engine.getCompleteShifts(shifts);
        append(shifts.data(), shifts.size() * sizeof(cv::Point2f));
    }
    return bytes;
}

TEST(SrFloat, EveryThreadCountGivesTheSameBits) {
    std::vector<cv::Point2f> shifts = subPixelShifts;
    shifts.insert(shifts.end(), subPixelShifts.rbegin(), subPixelShifts.rend());
    const auto frames = burst(shifts);
    using Flow = SrFloat<SrFloatRegistration2>;
    using Phase = SrFloat<SrFloatRegistration1>;
    using Vector = SrFloatNeon<SrFloatNeonRegistration>;
    const auto flow = everyResult<Flow>(1, frames);
    const auto phase = everyResult<Phase>(1, frames);
    const auto vector = everyResult<Vector>(1, frames);
    for (int threads : {2, 3}) {
        SCOPED_TRACE(threads);
        EXPECT_TRUE(everyResult<Flow>(threads, frames) == flow);
        EXPECT_TRUE(everyResult<Phase>(threads, frames) == phase);
        EXPECT_TRUE(everyResult<Vector>(threads, frames) == vector);
    }
}

TEST(SrFloat, FrameThatThrewBlocksResultsUntilItLeavesTheWindow) {
    std::vector<cv::Point2f> shifts = subPixelShifts;
    shifts.insert(shifts.end(), subPixelShifts.rbegin(), subPixelShifts.rend());
    const auto frames = burst(shifts);
    const cv::Mat_<float> rejected(height, width, kNaN);
    CoutCapture quiet;
    // The clean run never sees the rejected frame; the other gets it after the fifth frame.
    Engine clean(width, height, 5, 2.0f), hit(width, height, 5, 2.0f);
    std::vector<float> cleanOut(clean.getOutputSize()), hitOut(hit.getOutputSize());
    for (std::size_t i = 0; i < frames.size(); ++i) {
        SCOPED_TRACE(i);
        if (i == 5) {
            EXPECT_THROW(hit.addFrame(rejected), Exception);
        }
        clean.addFrame(frames[i]);
        hit.addFrame(frames[i]);
        const float cleanResult = clean.computeSR(cleanOut.data());
        std::fill(hitOut.begin(), hitOut.end(), kNaN);
        const float hitResult = hit.computeSR(hitOut.data());
        if (i >= 5 && i < 9) {  // the rejected frame is in the window
            EXPECT_EQ(hitResult, -998.0f);
            EXPECT_TRUE(std::all_of(hitOut.begin(), hitOut.end(), [](float v) { return std::isnan(v); }));
        } else {
            EXPECT_EQ(hitResult, cleanResult);
            EXPECT_EQ(hitOut, cleanOut);
        }
    }
}

}  // namespace
}  // namespace vision
}  // namespace vorel
