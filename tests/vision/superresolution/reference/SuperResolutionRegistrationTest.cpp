// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/reference/SuperResolutionRegistration.h"

#include "BurstSimulator.h"
#include "tests/support/CoutCapture.h"
#include "vorel/Exception.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace vorel {
namespace vision {
namespace {

TEST(SuperResolutionRegistration, PrintsTheNormalisedPreBlurTaps) {
    CoutCapture capture;
    SuperResolutionRegistration registration(32, 24, 2.0f, 5);
    std::istringstream lines(capture.text());
    std::vector<float> taps;
    for (float tap; lines >> tap;) taps.push_back(tap);
    ASSERT_EQ(taps.size(), 6u);
    float sum = 0.0f;
    for (float tap : taps) sum += tap;
    EXPECT_NEAR(2.0f * sum - taps[0], 1.0f, 1e-4f);
    for (std::size_t i = 1; i < taps.size(); ++i) EXPECT_LT(taps[i], taps[i - 1]);
}

// Both components are held against half the height: a move along x of 12 fails
// a frame 20 rows high although it is 40 columns wide.
TEST(SuperResolutionRegistration, DisplacementOfHalfTheHeightThrows) {
    const int width = 40, height = 20;
    tools::BurstSettings settings;
    settings.frameSize = {width, height};
    settings.noise = 0.0f;
    settings.scene = tools::Scene::Star;
    const tools::BurstSimulator scene(settings);
    cv::RNG noise(1);
    CoutCapture quiet;
    const struct {
        float x;
        bool throws;
    } rows[] = {{8.0f, false}, {12.0f, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.x);
        SuperResolutionRegistration registration(width, height, 2.0f, 5);
        std::vector<cv::Mat_<float>> frames = {scene.frame({0.0f, 0.0f}, noise), scene.frame({row.x, 0.0f}, noise)};
        std::vector<float> spectrumData(2 * 2 * (width / 2 + 1) * height);
        std::vector<float> shiftedData(2 * width * height);
        std::vector<char> maskData(2 * width * height);
        float* framePointers[2] = {frames[0][0], frames[1][0]};
        SuperResolutionRegistration::Spectrum spectra[2];
        float* shifted[2];
        char* masks[2];
        for (int k = 0; k < 2; ++k) {
            spectra[k] = reinterpret_cast<SuperResolutionRegistration::Spectrum>(spectrumData.data() +
                                                                                  k * 2 * (width / 2 + 1) * height);
            shifted[k] = shiftedData.data() + k * width * height;
            masks[k] = maskData.data() + k * width * height;
            registration.getFft().forward(framePointers[k], spectra[k]);
        }
        PointF shifts[2];
        try {
            EXPECT_EQ(registration.doRegistration(2, 0, framePointers, spectra, shifts, masks, shifted), 0);
            EXPECT_FALSE(row.throws);
            std::vector<PointF> complete;
            registration.getCompleteShifts(complete);
            EXPECT_NEAR(complete[1].x, row.x, 0.1f);
            EXPECT_NEAR(shifts[1].x, row.x - 8.0f, 0.1f);  // the residual after the whole-pixel move
        } catch (const vorel::Exception& e) {
            EXPECT_TRUE(row.throws);
            EXPECT_STREQ(e.what(), "Too large displacement");
            const std::string tail = ": 91: vorel::vision::SuperResolutionRegistration::doRegistration(..)";
            EXPECT_EQ(e.place().substr(e.place().size() - tail.size()), tail);
        }
    }
}

}  // namespace
}  // namespace vision
}  // namespace vorel
