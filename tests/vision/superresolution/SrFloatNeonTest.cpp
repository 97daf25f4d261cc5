// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatNeon.h"

#include "tests/support/NoiselessBurst.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace vorel {
namespace vision {

using NeonEngine = SrFloatNeon<SrFloatNeonRegistration>;

class SrFloatNeonInspector {
public:
    static float*& mask(NeonEngine& engine, int i) { return engine.masks[i]; }
};

namespace {

constexpr int width = 64;
constexpr int height = 48;

std::vector<cv::Mat_<float>> burst(const std::vector<cv::Point2f>& shifts) {
    return test::noiselessBurst({width, height}, shifts);
}

const std::vector<cv::Point2f> subPixelShifts = {
    {0.5f, 0.25f}, {0.0f, 0.0f}, {-0.25f, 0.5f}, {0.75f, -0.5f}, {0.25f, 0.875f}};

template <class Engine>
float compute(Engine& engine, const std::vector<cv::Mat_<float>>& frames, cv::Mat_<float>& out) {
    engine.setReferenceIndex(3);
    for (const auto& frame : frames) EXPECT_EQ(engine.addFrame(frame), 0);
    return engine.computeSR(out);
}

// Frames without defects leave the scalar engine's repair nothing to do: both
// engines then register alike and reconstruct the same image up to rounding.
TEST(SrFloatNeon, ReconstructsTheScalarEnginesImageWithoutAReport) {
    const auto frames = burst(subPixelShifts);
    SrFloat<SrFloatRegistration2> scalar(width, height, 5, 2.0f);
    NeonEngine vector(width, height, 5, 2.0f);
    cv::Mat_<float> expected, actual;
    testing::internal::CaptureStdout();
    const float scalarResult = compute(scalar, frames, expected);
    testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    EXPECT_EQ(compute(vector, frames, actual), scalarResult);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_GT(scalarResult, 1.0f);
    EXPECT_LT(cv::norm(actual, expected, cv::NORM_INF), 1e-3);

    std::vector<cv::Mat_<unsigned char>> byteMasks;
    scalar.getMasks(byteMasks);
    for (int i = 0; i < 5; ++i) {
        const cv::Mat_<float> mask(height, width, SrFloatNeonInspector::mask(vector, i));
        cv::Mat_<float> expectedMask;
        byteMasks[i].convertTo(expectedMask, CV_32F);
        EXPECT_EQ(cv::norm(mask, expectedMask, cv::NORM_INF), 0.0) << "slot " << i;
    }
}

TEST(SrFloatNeon, ResultCodes) {
    std::vector<cv::Mat_<float>> noCorners = burst(subPixelShifts);
    noCorners[1] = 30.0f;
    const struct {
        const char* name;
        std::vector<cv::Mat_<float>> frames;
        float result;
    } rows[] = {{"empty window", {}, -998.0f},
                {"reference without corners", noCorners, -998.0f},
                {"move of 6 rows", burst({{0, 0}, {0, 0}, {0.25f, 0.5f}, {0, 6}, {0.5f, 0}}), -6.0f}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        NeonEngine engine(width, height, 5, 2.0f);
        cv::Mat_<float> out(2 * height, 2 * width, -1.0f);
        EXPECT_EQ(compute(engine, row.frames, out), row.result);
        EXPECT_EQ(cv::checkRange(out, true, nullptr, -0.5, 100.0), row.result != -998.0f) << "written";
    }
}

TEST(SrFloatNeon, GetMasksCopiesWidthTimesHeightBytes) {
    NeonEngine engine(4, 2, 3, 2.0f);
    for (int i = 0; i < 3; ++i) std::fill_n(SrFloatNeonInspector::mask(engine, i), 8, 1.0f);
    std::vector<cv::Mat_<float>> masks(3, cv::Mat_<float>(2, 4, 7.0f));
    for (auto& mask : masks) mask = mask.clone();
    engine.getMasks(masks);
    for (const auto& mask : masks)
        EXPECT_EQ(std::vector<float>(mask.begin(), mask.end()), (std::vector<float>{1, 1, 7, 7, 7, 7, 7, 7}));
}

TEST(SrFloatNeon, NullMaskRaisesOpenCvsAssertion) {
    NeonEngine engine(width, height, 5, 2.0f);
    float* kept = SrFloatNeonInspector::mask(engine, 2);
    SrFloatNeonInspector::mask(engine, 2) = nullptr;
    cv::Mat_<float> out;
    try {
        compute(engine, burst(subPixelShifts), out);
        ADD_FAILURE() << "no exception";
    } catch (const cv::Exception& error) {
        EXPECT_EQ(error.code, -215);
        EXPECT_EQ(error.err, "total() == 0 || data != NULL");
        EXPECT_TRUE(error.func == "Mat" || error.func == "cv::Mat::Mat") << error.func;  // as the compiler names it
    }
    SrFloatNeonInspector::mask(engine, 2) = kept;
}

}  // namespace
}  // namespace vision
}  // namespace vorel
