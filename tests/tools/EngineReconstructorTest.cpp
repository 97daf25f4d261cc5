// SPDX-License-Identifier: Proprietary
#include "EngineReconstructor.h"
#include "BurstSimulator.h"
#include "StreamSilencer.h"

#include <gtest/gtest.h>

namespace vorel {
namespace tools {
namespace {

// The result of the engine with this registration, driven directly with the tool's settings.
template <class Registration>
cv::Mat_<float> direct(const Burst& burst, const ReconstructionSettings& settings) {
    vision::SrFloat<Registration> engine(burst.frames[0].cols, burst.frames[0].rows, settings.window, 2.0f);
    engine.setReferenceIndex(settings.reference);
    engine.setWeightTV(400.0f);
    engine.setRegError(0.0001f);
    engine.setRelativeResidue(0.007f);
    engine.setPsfSigma(settings.psfSigma);
    cv::Mat_<float> result;
    StreamSilencer quiet(STDOUT_FILENO, true);
    for (const cv::Mat_<float>& frame : burst.frames) engine.addFrame(frame);
    engine.computeSR(result);
    return result;
}

TEST(EngineReconstructor, RunsTheChosenRegistration) {
    BurstSettings burstSettings;
    burstSettings.frameSize = {64, 48};
    burstSettings.maxShift = 3.0f;  // moves that phase correlation finds
    const Burst burst = BurstSimulator(burstSettings).simulate();
    ReconstructionSettings settings;
    settings.psfSigma = burstSettings.blur;

    const cv::Mat_<float> corners = direct<vision::SrFloatRegistration2>(burst, settings);
    const cv::Mat_<float> phase = direct<vision::SrFloatRegistration1>(burst, settings);
    ASSERT_GT(cv::norm(corners, phase, cv::NORM_INF), 0.0);
    const std::pair<RegistrationMethod, const cv::Mat_<float>*> rows[] = {
        {RegistrationMethod::Corners, &corners}, {RegistrationMethod::PhaseCorrelation, &phase}};
    for (const auto& [method, expected] : rows) {
        for (int threads : {1, 3}) {
            SCOPED_TRACE(testing::Message() << static_cast<int>(method) << ", " << threads << " threads");
            settings.registration = method;
            settings.threads = threads;
            EngineReconstructor reconstructor(burstSettings.frameSize, settings);
            for (const cv::Mat_<float>& frame : burst.frames) reconstructor.add(frame);
            EXPECT_EQ(cv::norm(reconstructor.result(), *expected, cv::NORM_INF), 0.0);
        }
    }
}

}  // namespace
}  // namespace tools
}  // namespace vorel
