// SPDX-License-Identifier: Proprietary
#include "BurstSimulator.h"
#include "ToolError.h"

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

namespace vorel {
namespace tools {
namespace {

BurstSettings exactSettings(Scene scene) {
    BurstSettings settings;
    settings.frameSize = {40, 30};
    settings.scene = scene;
    settings.noise = 0.0f;
    settings.blur = 0.0f;
    return settings;
}

TEST(BurstSimulator, FramesSampleTheSceneMovedByTwiceTheShiftAtTheCentreOfEachBlock) {
    for (Scene scene : {Scene::Building, Scene::People, Scene::Star}) {
        SCOPED_TRACE(sceneName(scene));
        const BurstSettings settings = exactSettings(scene);
        const BurstSimulator simulator(settings);
        const Burst burst = simulator.simulate();
        ASSERT_EQ(burst.frames.size(), 5u);
        EXPECT_EQ(burst.shifts[settings.reference], cv::Point2f());
        const cv::Mat_<float> still = simulator.render({0.0f, 0.0f});
        ASSERT_EQ(still.size(), cv::Size(80, 60));
        EXPECT_EQ(cv::norm(burst.truth, still, cv::NORM_INF), 0.0);
        // (1.5, -0.5) input pixels are (3, -1) output pixels: content at p moves to p + (3, -1).
        const cv::Mat_<float> moved = simulator.render({1.5f, -0.5f});
        EXPECT_EQ(cv::norm(moved(cv::Rect(3, 0, 77, 59)), still(cv::Rect(0, 1, 77, 59)), cv::NORM_INF), 0.0);
        for (size_t k = 0; k < burst.frames.size(); ++k) {
            // Input pixel (i, j) reads output position (2i + 0.5, 2j + 0.5): the
            // rendering moved by a further half output pixel, at even pixels.
            const cv::Mat_<float> sampled = simulator.render(burst.shifts[k] - cv::Point2f(0.25f, 0.25f));
            for (int row = 0; row < 30; ++row)
                for (int col = 0; col < 40; ++col)
                    ASSERT_EQ(burst.frames[k](row, col), sampled(2 * row, 2 * col)) << k << " " << row << " " << col;
        }
    }
}

TEST(BurstSimulator, ShiftsStayWithinTheLimitAndSeedsRepeat) {
    BurstSettings settings;
    settings.frameSize = {32, 24};
    settings.frames = 9;
    settings.reference = 4;
    settings.maxShift = 0.75f;
    settings.seed = 11;
    const Burst first = BurstSimulator(settings).simulate();
    const Burst again = BurstSimulator(settings).simulate();
    settings.seed = 12;
    const Burst other = BurstSimulator(settings).simulate();
    ASSERT_EQ(first.shifts.size(), 9u);
    for (const cv::Point2f& shift : first.shifts) {
        EXPECT_LE(std::abs(shift.x), 0.75f);
        EXPECT_LE(std::abs(shift.y), 0.75f);
    }
    EXPECT_EQ(first.shifts, again.shifts);
    EXPECT_EQ(cv::norm(first.frames[8], again.frames[8], cv::NORM_INF), 0.0);
    EXPECT_NE(first.shifts, other.shifts);
}

TEST(BurstSimulator, NoiseHasTheRequestedSpread) {
    BurstSettings settings = exactSettings(Scene::People);
    settings.frameSize = {100, 80};
    settings.noise = 0.2f;
    const Burst noisy = BurstSimulator(settings).simulate();
    settings.noise = 0.0f;
    const Burst clean = BurstSimulator(settings).simulate();
    cv::Scalar mean, deviation;
    cv::meanStdDev(noisy.frames[1] - clean.frames[1], mean, deviation);
    EXPECT_NEAR(mean[0], 0.0, 0.02);
    EXPECT_NEAR(deviation[0], 0.2, 0.01);
}

TEST(BurstSimulator, BadPixelsReadHighAtTheSamePlaceInEveryFrame) {
    BurstSettings settings = exactSettings(Scene::Star);
    settings.badPixels = 4;
    const Burst burst = BurstSimulator(settings).simulate();
    ASSERT_EQ(burst.badPixels.size(), 4u);
    for (const cv::Mat_<float>& frame : burst.frames) {
        cv::Mat_<float> copy = frame.clone();
        for (const cv::Point& pixel : burst.badPixels) {
            EXPECT_EQ(frame(pixel), 6000.0f);
            copy(pixel) = 0.0f;
        }
        EXPECT_LT(cv::norm(copy, cv::NORM_INF), 100.0);
    }
}

TEST(BurstSimulator, StuckPixelsHoldOneHotValueAndLeaveTheRestAsWithout) {
    BurstSettings settings = exactSettings(Scene::Building);
    settings.noise = 0.1f;
    const Burst clean = BurstSimulator(settings).simulate();
    settings.stuckPixels = 6;
    const Burst stuck = BurstSimulator(settings).simulate();
    ASSERT_EQ(stuck.stuckPixels.size(), 6u);
    cv::Mat_<unsigned char> planted(30, 40, static_cast<unsigned char>(0));
    for (const cv::Point& pixel : stuck.stuckPixels) planted(pixel) = 1;
    for (size_t k = 0; k < stuck.frames.size(); ++k) {
        for (const cv::Point& pixel : stuck.stuckPixels) {
            EXPECT_EQ(stuck.frames[k](pixel), stuck.frames[0](pixel));
            EXPECT_GE(stuck.frames[k](pixel), 40.0f);
            EXPECT_LE(stuck.frames[k](pixel), 60.0f);
        }
        const cv::Mat differs = stuck.frames[k] != clean.frames[k];
        EXPECT_EQ(cv::countNonZero(differs & (planted == 0)), 0) << "frame " << k;
    }
}

TEST(BurstSimulator, SceneNamesRoundTrip) {
    for (Scene scene : {Scene::Building, Scene::People, Scene::Star}) EXPECT_EQ(sceneFromName(sceneName(scene)), scene);
    try {
        sceneFromName("forest");
        ADD_FAILURE() << "accepted";
    } catch (const ToolError& error) {
        EXPECT_EQ(error.code(), ExitCode::Usage);
        EXPECT_STREQ(error.what(), "unknown scene 'forest' (building, people or star)");
    }
}

}  // namespace
}  // namespace tools
}  // namespace vorel
