// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/StuckPixelDetector.h"

#include "BurstSimulator.h"
#include "EngineScore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <utility>

namespace vorel {
namespace vision {
namespace {

using Status = StuckPixelDetector::Status;

tools::Burst simulate(tools::Scene scene, int stuckPixels, float maxShift = 1.5f, int frames = 5, uint64_t seed = 1) {
    tools::BurstSettings settings;
    settings.scene = scene;
    settings.stuckPixels = stuckPixels;
    settings.maxShift = maxShift;
    settings.frames = frames;
    settings.reference = std::min(1, frames - 1);
    settings.seed = seed;
    return tools::BurstSimulator(settings).simulate();
}

TEST(StuckPixelDetector, RepairedBurstScoresWithinHalfADecibelOfTheCleanOne) {
    const tools::Burst clean = simulate(tools::Scene::Building, 0);
    tools::Burst stuck = simulate(tools::Scene::Building, 20);
    StuckPixelDetector detector(160, 120, 5);
    ASSERT_EQ(detector.detect(stuck.frames), Status::Found);
    int planted = 0;
    for (const cv::Point& pixel : detector.getStuckPixels()) {
        const bool known = std::count(stuck.stuckPixels.begin(), stuck.stuckPixels.end(), pixel) > 0;
        EXPECT_TRUE(known) << pixel;
        planted += known;
    }
    EXPECT_GE(planted, 18);  // a stuck pixel on scene detail as bright as itself may pass

    for (cv::Mat_<float>& frame : stuck.frames) detector.repair(frame);
    const double repaired = engineScore(stuck.frames, clean.truth, 0.683f);
    const double reference = engineScore(clean.frames, clean.truth, 0.683f);
    EXPECT_GT(repaired, reference - 0.5) << "repaired " << repaired << " dB, without defects " << reference << " dB";
}

TEST(StuckPixelDetector, NoCleanPixelIsMarked) {
    // Bursts whose small warm blobs, border rows and aliased spokes stand out steadily.
    const std::pair<tools::Scene, uint64_t> rows[] = {
        {tools::Scene::Building, 1}, {tools::Scene::People, 4}, {tools::Scene::People, 9}, {tools::Scene::Star, 4}};
    for (const auto& [scene, seed] : rows) {
        SCOPED_TRACE(tools::sceneName(scene) + " seed " + std::to_string(seed));
        StuckPixelDetector detector(160, 120, 5);
        EXPECT_EQ(detector.detect(simulate(scene, 0, 1.5f, 5, seed).frames), Status::Found);
        EXPECT_EQ(detector.getStuckPixels().size(), 0u);
        EXPECT_GT(detector.getNoise(), 0.05f);  // the sensor noise, and some scene texture
    }
}

TEST(StuckPixelDetector, BurstsThatCannotTellAreRefused) {
    struct Row {
        const char* name;
        std::vector<cv::Mat_<float>> frames;
        Status status;
    };
    const Row rows[] = {
        {"three frames", simulate(tools::Scene::Building, 20, 1.5f, 3).frames, Status::TooFewFrames},
        {"flat", std::vector<cv::Mat_<float>>(5, cv::Mat_<float>(120, 160, 25.0f)), Status::TooFlat},
        {"still", simulate(tools::Scene::Building, 20, 0.0f).frames, Status::TooStill},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        StuckPixelDetector detector(160, 120, 5);
        detector.setStuckPixels({{3, 4}});
        EXPECT_EQ(detector.detect(row.frames), row.status);
        EXPECT_TRUE(detector.getStuckPixels().empty());
    }
}

TEST(StuckPixelDetector, RepairTakesTheMedianOfTheGoodNeighbours) {
    // Pixel (1, 1) has the neighbours 1 2 3 / 4 _ [stuck] / NaN 8 9: the median of 1 2 3 4 8 9.
    const float kNaN = std::numeric_limits<float>::quiet_NaN();
    cv::Mat_<float> frame = (cv::Mat_<float>(3, 4) << 1, 2, 3, 7, 4, 90, 95, 7, kNaN, 8, 9, 7);
    StuckPixelDetector detector(4, 3, 5);
    detector.setStuckPixels({{1, 1}, {2, 1}});
    cv::Mat_<float> marked = frame.clone();
    detector.markNaN(marked[0]);
    detector.repair(frame);
    EXPECT_EQ(frame(1, 1), 3.5f);
    EXPECT_EQ(frame(1, 2), 7.0f);  // 2 3 7 7 7 8 9
    EXPECT_TRUE(std::isnan(marked(1, 1)) && std::isnan(marked(1, 2)));
    EXPECT_EQ(cv::countNonZero(marked != marked), 3);  // and the NaN it had
    try {
        detector.setStuckPixels({{4, 0}});
        FAIL() << "no exception";
    } catch (const char* message) {
        EXPECT_STREQ(message, "Stuck pixel outside the frame.");
    }
}

}  // namespace
}  // namespace vision
}  // namespace vorel
