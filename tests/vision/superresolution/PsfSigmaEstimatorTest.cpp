// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/PsfSigmaEstimator.h"

#include "BurstSimulator.h"
#include "EngineScore.h"

#include <gtest/gtest.h>

#include <iostream>
#include <string>

namespace vorel {
namespace vision {
namespace {

using Status = PsfSigmaEstimator::Status;

TEST(PsfSigmaEstimator, FindsTheBlurOfSimulatedBurstsAndDoesNoWorseThanTheDefault) {
    for (tools::Scene scene : {tools::Scene::Building, tools::Scene::People, tools::Scene::Star})
        for (float blur : {0.5f, 0.683f, 1.0f}) {
            SCOPED_TRACE(tools::sceneName(scene) + " " + std::to_string(blur));
            tools::BurstSettings settings;
            settings.scene = scene;
            settings.blur = blur;
            const tools::Burst burst = tools::BurstSimulator(settings).simulate();
            PsfSigmaEstimator estimator(160, 120, 5);
            std::cout.setstate(std::ios::failbit);
            const Status status = estimator.estimate(burst.frames, 3);
            std::cout.clear();
            ASSERT_EQ(status, Status::Estimated);
            EXPECT_NEAR(estimator.getSigma(), blur, 0.15f);
            EXPECT_GE(engineScore(burst.frames, burst.truth, estimator.getSigma()),
                      engineScore(burst.frames, burst.truth, 0.683f));
        }
}

TEST(PsfSigmaEstimator, ShortOrFlatBurstsKeepTheDefault) {
    tools::BurstSettings settings;
    settings.frameSize = {40, 30};
    settings.frames = 3;
    PsfSigmaEstimator shortBurst(40, 30, 3);
    EXPECT_EQ(shortBurst.estimate(tools::BurstSimulator(settings).simulate().frames, 1), Status::TooFewFrames);
    EXPECT_EQ(shortBurst.getSigma(), 0.683f);

    PsfSigmaEstimator flat(40, 30, 5);
    std::cout.setstate(std::ios::failbit);
    const Status status = flat.estimate(std::vector<cv::Mat_<float>>(5, cv::Mat_<float>(30, 40, 20.0f)), 3);
    std::cout.clear();
    EXPECT_EQ(status, Status::TooFlat);
    EXPECT_EQ(flat.getSigma(), 0.683f);
}

}  // namespace
}  // namespace vision
}  // namespace vorel
