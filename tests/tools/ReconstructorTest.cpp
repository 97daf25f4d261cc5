// SPDX-License-Identifier: Proprietary
#include "Reconstructor.h"
#include "BurstSimulator.h"
#include "ToolError.h"

#include <gtest/gtest.h>

namespace vorel {
namespace tools {
namespace {

TEST(ReconstructionSettings, OnlyTheCInterfaceDefaultsAvoidTheEngine) {
    ReconstructionSettings settings;
    settings.camera = "k425 FOV 25";
    settings.reference = 0;
    settings.verbose = true;
    EXPECT_FALSE(settings.needsEngine());
    const auto with = [](auto change) {
        ReconstructionSettings changed;
        change(changed);
        return changed.needsEngine();
    };
    EXPECT_TRUE(with([](ReconstructionSettings& s) { s.window = 7; }));
    EXPECT_TRUE(with([](ReconstructionSettings& s) { s.tvWeight = 400.0f; }));
    EXPECT_TRUE(with([](ReconstructionSettings& s) { s.iterations = 8; }));
    EXPECT_TRUE(with([](ReconstructionSettings& s) { s.psfSigma = 0.683f; }));
    EXPECT_TRUE(with([](ReconstructionSettings& s) { s.vectorEngine = true; }));
}

TEST(Outcome, DescribesEachResultInWords) {
    const std::pair<Outcome, std::string> rows[] = {
        {{false, 0, -1.0f}, ""},
        {{true, 0, -1.0f}, ""},
        {{true, 0, 1.9649f}, "quality figure 1.96 (2.00: every frame usable at every pixel"},
        {{true, -6, -1.0f}, "warning: large displacement"},
        {{true, -3, -1.0f}, "warning: half or more of the pixels of some frame could not be aligned"},
        {{false, -2, -1.0f}, "warning: a frame has defective pixels"},
        {{false, -4, -1.0f}, "warning: a frame has almost no contrast"},
    };
    for (const auto& [outcome, start] : rows) {
        SCOPED_TRACE(start);
        const std::string text = outcome.describe();
        EXPECT_EQ(text.substr(0, start.size()), start);
        EXPECT_EQ(text.empty(), start.empty());
    }
}

// Frames without defects: the vector engine's result is the float engine's, up to rounding.
TEST(Reconstructor, VectorEngineReconstructsAsTheFloatEngine) {
    BurstSettings burstSettings;
    burstSettings.frameSize = {64, 48};
    const Burst burst = BurstSimulator(burstSettings).simulate();
    ReconstructionSettings settings;
    settings.iterations = 8;
    const auto floatEngine = Reconstructor::create(burstSettings.frameSize, settings);
    settings.vectorEngine = true;
    const auto vectorEngine = Reconstructor::create(burstSettings.frameSize, settings);
    Outcome expected, actual;
    for (const cv::Mat_<float>& frame : burst.frames) {
        expected = floatEngine->add(frame);
        actual = vectorEngine->add(frame);
    }
    ASSERT_TRUE(actual.computed);
    EXPECT_EQ(actual.code, expected.code);
    EXPECT_EQ(actual.quality, expected.quality);
    EXPECT_LT(cv::norm(vectorEngine->result(), floatEngine->result(), cv::NORM_INF), 1e-3);
}

TEST(Reconstructor, RefusesTheCameraWithEngineOptions) {
    ReconstructionSettings settings;
    settings.camera = "k410 FOV 24";
    settings.window = 6;
    try {
        Reconstructor::create({32, 24}, settings);
        ADD_FAILURE() << "accepted";
    } catch (const ToolError& error) {
        EXPECT_EQ(error.code(), ExitCode::Usage);
    }
}

}  // namespace
}  // namespace tools
}  // namespace vorel
