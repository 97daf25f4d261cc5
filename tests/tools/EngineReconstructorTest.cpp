// SPDX-License-Identifier: Proprietary
#include "EngineReconstructor.h"
#include "BurstSimulator.h"
#include "StreamSilencer.h"

#include <gtest/gtest.h>

namespace vorel {
namespace tools {
namespace {

// The result of this engine, driven directly with the tool's settings.
template <class Engine>
cv::Mat_<float> direct(const Burst& burst, const ReconstructionSettings& settings) {
    StreamSilencer quiet(STDOUT_FILENO, true);
    Engine engine(burst.frames[0].cols, burst.frames[0].rows, settings.window, 2.0f);
    engine.setReferenceIndex(settings.reference);
    engine.setWeightTV(400.0f);
    engine.setRegError(0.0001f);
    engine.setRelativeResidue(0.007f);
    engine.setPsfSigma(settings.psfSigma);
    cv::Mat_<float> result(2 * burst.frames[0].rows, 2 * burst.frames[0].cols);
    for (const cv::Mat_<float>& frame : burst.frames) engine.addFrame(frame[0]);
    engine.computeSR(result[0]);
    return result;
}

TEST(EngineReconstructor, RunsTheChosenEngineAndRegistration) {
    BurstSettings burstSettings;
    burstSettings.frameSize = {64, 48};
    burstSettings.maxShift = 3.0f;  // moves that phase correlation finds
    const Burst burst = BurstSimulator(burstSettings).simulate();
    ReconstructionSettings settings;
    settings.psfSigma = burstSettings.blur;

    const cv::Mat_<float> corners = direct<vision::SrFloat<vision::SrFloatRegistration2>>(burst, settings);
    const cv::Mat_<float> phase = direct<vision::SrFloat<vision::SrFloatRegistration1>>(burst, settings);
    const cv::Mat_<float> reference = direct<vision::SuperResolution>(burst, settings);
    ASSERT_GT(cv::norm(corners, phase, cv::NORM_INF), 0.0);
    ASSERT_GT(cv::norm(corners, reference, cv::NORM_INF), 0.0);
    const struct {
        RegistrationMethod method;
        bool referenceEngine;
        const cv::Mat_<float>* expected;
    } rows[] = {{RegistrationMethod::Corners, false, &corners},
                {RegistrationMethod::PhaseCorrelation, false, &phase},
                {RegistrationMethod::Corners, true, &reference}};
    settings.threads = 3;  // the engines above ran on one thread: any count gives the same image
    for (const auto& [method, referenceEngine, expected] : rows) {
        SCOPED_TRACE(static_cast<int>(method) + 2 * referenceEngine);
        settings.registration = method;
        settings.referenceEngine = referenceEngine;
        const auto reconstructor = Reconstructor::create(burstSettings.frameSize, settings);
        for (const cv::Mat_<float>& frame : burst.frames) reconstructor->add(frame);
        EXPECT_EQ(cv::norm(reconstructor->result(), *expected, cv::NORM_INF), 0.0);
    }
}

}  // namespace
}  // namespace tools
}  // namespace vorel
