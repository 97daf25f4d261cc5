// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/reference/SuperResolution.h"

#include "BurstSimulator.h"
#include "CountsSensor.h"
#include "QualityMetrics.h"
#include "tests/support/CoutCapture.h"
#include "tests/support/ThrownText.h"
#include "vorel/Exception.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

namespace vorel {
namespace vision {

class SuperResolutionInspector {
public:
    explicit SuperResolutionInspector(SuperResolution& engine) : e(engine) {}
    int frameCount() const { return e.frameCount; }
    float* frame(int slot) const { return e.frames[slot]; }

private:
    SuperResolution& e;
};

namespace {

const int width = 40, height = 30;



tools::BurstSimulator scene(cv::Size size) {
    tools::BurstSettings settings;
    settings.frameSize = size;
    settings.blur = 0.6f;
    settings.noise = 0.0f;
    settings.scene = tools::Scene::Star;
    return tools::BurstSimulator(settings);
}

TEST(SuperResolution, SettersRejectWithTheirTexts) {
    CoutCapture quiet;
    SuperResolution engine(width, height, 5, 2.0f);
    const std::string reference = "Invalid reference index specified.";
    const std::string tv = "Invalid total-variation term weight specified.";
    const std::string regError = "Invalid maximum registration error specified.";
    const struct {
        const char* name;
        std::function<void()> call;
        std::string text;  // empty: accepted
    } rows[] = {
        {"window 0", [] { SuperResolution(width, height, 0, 2.0f); }, reference},
        {"reference -1", [&] { engine.setReferenceIndex(-1); }, reference},
        {"reference 5", [&] { engine.setReferenceIndex(5); }, reference},
        {"reference 4", [&] { engine.setReferenceIndex(4); }, ""},
        {"iterations 0", [&] { engine.setMaxCGIters(0); }, "Invalid maximum number of iterations specified."},
        {"sigma 0", [&] { engine.setPsfSigma(0.0f); }, "Invalid standard deviation of the sensor psf specified."},
        {"reg error 0", [&] { engine.setRegError(0.0f); }, regError},
        {"reg error 1.0001", [&] { engine.setRegError(1.0001f); }, regError},
        {"reg error 1", [&] { engine.setRegError(1.0f); }, ""},
        {"residue 0", [&] { engine.setRelativeResidue(0.0f); }, tv},
        {"tv 0.5", [&] { engine.setWeightTV(0.5f); }, tv},
        {"tv 1", [&] { engine.setWeightTV(1.0f); }, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(thrownText(row.call), row.text);
    }
    // Rejected values left the accepted ones in place.
    EXPECT_EQ(engine.getReferenceIndex(), 4);
    EXPECT_EQ(engine.getRegError(), 1.0f);
    EXPECT_EQ(engine.getWeightTV(), 1.0f);
    EXPECT_EQ(engine.getMaxCGIters(), 8);
}

TEST(SuperResolution, CalibrationRepairsUnusablePixelsFromNeighbours) {
    CoutCapture quiet;
    SuperResolution engine(3, 3, 2, 2.0f);
    cv::Mat_<float> gain, offset;
    // Gain 1 + x and offset 10 y, but the centre saw the same counts twice.
    cv::Mat_<short> low(3, 3), high(3, 3);
    cv::Mat_<float> lowRadiance(3, 3), highRadiance(3, 3);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 3; ++x) {
            low(y, x) = 100;
            high(y, x) = 110;
            lowRadiance(y, x) = 100.0f * (1 + x) + 10.0f * y;
            highRadiance(y, x) = 110.0f * (1 + x) + 10.0f * y;
        }
    }
    high(1, 1) = 100;
    engine.setNucToRad(low, lowRadiance, high, highRadiance);
    engine.getNucToRad(gain, offset);
    EXPECT_FLOAT_EQ(gain(1, 1), (1.0f + 3.0f + 2.0f + 2.0f) / 4.0f);
    EXPECT_FLOAT_EQ(offset(1, 1), (10.0f + 10.0f + 0.0f + 20.0f) / 4.0f);
    EXPECT_FLOAT_EQ(gain(0, 2), 3.0f);

    // A calibration that cannot use any pixel leaves NaN everywhere.
    engine.setNucToRad(low, lowRadiance, low, highRadiance);
    engine.getNucToRad(gain, offset);
    EXPECT_EQ(cv::countNonZero(gain == gain) + cv::countNonZero(offset == offset), 0);  // NaN != NaN
}

TEST(SuperResolution, ProcessFrame2BeforeCalibrationThrows) {
    CoutCapture quiet;
    SuperResolution engine(width, height, 3, 2.0f);
    const std::vector<short> counts(width * height, 7);
    std::vector<float> out(engine.getOutputSize());
    try {
        engine.processFrame2(counts.data(), out.data());
        FAIL() << "no exception";
    } catch (const vorel::Exception& e) {
        EXPECT_STREQ(e.what(), "NucToRad() not initialized");
        const std::string tail = ": 377: vorel::vision::SuperResolution::processFrame2(..)";
        ASSERT_GE(e.place().size(), tail.size());
        EXPECT_EQ(e.place().substr(e.place().size() - tail.size()), tail);
        EXPECT_NE(e.place().find("reference/SuperResolution.cpp"), std::string::npos);
    }
}

TEST(SuperResolution, FullWindowDropsTheOldestFrame) {
    CoutCapture quiet;
    SuperResolution engine(width, height, 3, 2.0f);
    SuperResolutionInspector inspect(engine);
    for (int k = 1; k <= 4; ++k) {
        const std::vector<float> frame(width * height, static_cast<float>(k));
        EXPECT_EQ(engine.addFrame(frame.data()), 0);
    }
    EXPECT_EQ(inspect.frameCount(), 3);
    for (int slot = 0; slot < 3; ++slot) {
        SCOPED_TRACE(slot);
        EXPECT_EQ(inspect.frame(slot)[0], static_cast<float>(slot + 2));
    }
}

TEST(SuperResolution, ShortFramesSkipBadPixelRepair) {
    CoutCapture quiet;
    SuperResolution engine(width, height, 2, 2.0f);
    SuperResolutionInspector inspect(engine);
    // 6000 lies above the limit for degrees Celsius: a defect in a float frame.
    std::vector<short> counts(width * height, 20);
    counts[5 * width + 5] = 6000;
    const std::vector<float> values(counts.begin(), counts.end());
    engine.addFrame(values.data());
    EXPECT_NE(inspect.frame(0)[5 * width + 5], 6000.0f);
    engine.addFrame(counts.data());
    EXPECT_EQ(inspect.frame(1)[5 * width + 5], 6000.0f);
}

TEST(SuperResolution, ShortResultIsTheFloatResultTruncatedTowardZero) {
    CoutCapture quiet;
    const tools::BurstSimulator simulator = scene({width, height});
    cv::RNG noise(1);
    SuperResolution floats(width, height, 3, 2.0f), shorts(width, height, 3, 2.0f);
    for (const cv::Point2f shift : {cv::Point2f(0.5f, 0.0f), cv::Point2f(0.0f, 0.0f), cv::Point2f(0.0f, 0.5f)}) {
        // Tenths of a degree around zero, so that both signs are truncated.
        cv::Mat_<float> frame = (simulator.frame(shift, noise) - 25.0f) * 10.0f;
        cv::Mat_<short> counts;
        frame.convertTo(counts, CV_16S);
        counts.convertTo(frame, CV_32F);
        floats.addFrame(frame[0]);
        shorts.addFrame(counts[0]);
    }
    std::vector<float> floatOut(floats.getOutputSize());
    std::vector<short> shortOut(shorts.getOutputSize());
    EXPECT_GE(floats.computeSR(floatOut.data()), 1.0f);
    EXPECT_GE(shorts.computeSR(shortOut.data()), 1.0f);
    int negative = 0;
    for (std::size_t i = 0; i < floatOut.size(); ++i) {
        ASSERT_EQ(shortOut[i], static_cast<short>(std::trunc(floatOut[i]))) << i;
        negative += floatOut[i] < -1.0f;
    }
    EXPECT_GT(negative, 0);
}

TEST(SuperResolution, StatusCodesReportShiftsAndInvalidPixels) {
    const tools::BurstSimulator simulator = scene({width, height});
    const struct {
        const char* name;
        float shift;     // of the newest frame along x, input pixels
        float regError;  // mask threshold
        float expected;  // 0: an effective factor in [1, 2]
    } rows[] = {
        {"sub-pixel", 0.5f, 1e-4f, 0.0f},
        {"above a tenth of the height", 4.0f, 1e-4f, -6.0f},
        {"nothing explains the frames", 0.5f, 1e-30f, -3.0f},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        CoutCapture quiet;
        cv::RNG noise(2);
        SuperResolution engine(width, height, 3, 2.0f);
        engine.setReferenceIndex(2);
        engine.setRegError(row.regError);
        for (const cv::Point2f shift :
             {cv::Point2f(0.0f, 0.0f), cv::Point2f(0.0f, 0.5f), cv::Point2f(row.shift, 0.0f)}) {
            const cv::Mat_<float> frame = simulator.frame(shift, noise);
            engine.addFrame(frame[0]);
        }
        std::vector<float> out(engine.getOutputSize(), NAN);
        const float status = engine.computeSR(out.data());
        if (row.expected == 0.0f) {
            EXPECT_GE(status, 1.0f);
            EXPECT_LE(status, 2.0f);
        } else {
            EXPECT_EQ(status, row.expected);
        }
        EXPECT_TRUE(cv::checkRange(cv::Mat_<float>(1, static_cast<int>(out.size()), out.data())));
    }
}

// Counts of a sensor with its own gain and offset per pixel, calibrated on two
// uniform scenes, then super-resolved in degrees.
TEST(SuperResolution, CountsToTemperaturesBeatBicubic) {
    CoutCapture quiet;
    const int w = 80, h = 60, border = 6;
    const tools::BurstSimulator simulator = scene({w, h});
    cv::RNG rng(5);
    const tools::CountsSensor sensor({w, h}, 5);
    const cv::Mat_<short> low = sensor.readUniform(20.0f);
    const cv::Mat_<short> high = sensor.readUniform(40.0f);
    SuperResolution engine(w, h, 5, 2.0f);
    engine.setReferenceIndex(3);  // the second frame, unshifted
    engine.setNucToRad(low, cv::Mat_<float>(h, w, 20.0f), high, cv::Mat_<float>(h, w, 40.0f));
    const std::vector<cv::Point2f> shifts = {{0.5f, 0.25f}, {0.0f, 0.0f}, {-0.25f, 0.5f}, {0.5f, -0.5f}, {0.25f, 0.75f}};
    cv::Mat_<float> result(2 * h, 2 * w), converted;
    float status = 0.0f;
    for (const cv::Point2f& shift : shifts) {
        const cv::Mat_<short> counts = sensor.read(simulator.frame(shift, rng));
        if (shift == cv::Point2f(0.0f, 0.0f)) converted = tools::CountsSensor::convert(counts, low, 20.0f, high, 40.0f);
        status = engine.processFrame2(counts[0], result[0]);
    }
    EXPECT_GT(status, 1.0f);
    ASSERT_TRUE(cv::checkRange(result));
    const cv::Mat_<float> truth = simulator.render({});
    cv::Mat_<float> bicubic;
    cv::resize(converted, bicubic, truth.size(), 0.0, 0.0, cv::INTER_CUBIC);
    const double gain = tools::psnrInside(result, truth, border) - tools::psnrInside(bicubic, truth, border);
    RecordProperty("gain_db", std::to_string(gain));
    EXPECT_GT(gain, 2.0);  // 3.2 dB measured; registration errors eat it first
}

}  // namespace
}  // namespace vision
}  // namespace vorel
