// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatRegistration1.h"

#include "tests/support/RegistrationWindow.h"
#include "vorel/Exception.h"

#include "BurstSimulator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace vorel {
namespace vision {

// Reaches the private steps and state.
class SrFloatRegistration1Inspector {
public:
    explicit SrFloatRegistration1Inspector(SrFloatRegistration1& registration) : r(registration) {}

    int numPrepared() const { return r.slots.count(); }
    std::vector<float> kernel() const { return {r.gaussKernel.get(), r.gaussKernel.get() + r.gaussRadius + 1}; }
    std::vector<float> gaussSpectrum() const {
        return {&r.gaussSpectrum[0][0], &r.gaussSpectrum[0][0] + 2 * r.specSize};
    }
    const std::vector<cv::Point_<float>>& flowShifts() const { return r.flowShifts; }

    cv::Point_<int> phaseCorrelation(int ref, int frame) {
        r.refSpectrum = r.spectra[ref].get();
        r.frameSpectrum = r.spectra[frame].get();
        return r.phaseCorrelation();
    }

private:
    SrFloatRegistration1& r;
};

namespace {

using Inspector = SrFloatRegistration1Inspector;
using Window = test::RegistrationWindow;

std::vector<float> pixels(const cv::Mat_<float>& frame) { return std::vector<float>(frame.begin(), frame.end()); }

// The simulator's star scene (no repeating pattern to confuse the correlation) at
// width x height, moved by `shift`, with noise of `sigma`; the noise is seeded by
// the shift, so that each frame has its own.
std::vector<float> sceneFrame(int width, int height, cv::Point2f shift, float sigma) {
    tools::BurstSettings settings;
    settings.frameSize = {width, height};
    settings.blur = 0.6f;
    settings.noise = sigma;
    settings.scene = tools::Scene::Star;
    cv::RNG noise(static_cast<std::uint64_t>(1000.0f * (shift.x + 50.0f) + 100000.0f * (shift.y + 50.0f)));
    return pixels(tools::BurstSimulator(settings).frame(shift, noise));
}

// The frame moved circularly by (dx, dy): what was at (x, y) is at (x + dx, y + dy).
std::vector<float> rolled(const std::vector<float>& frame, int width, int height, int dx, int dy) {
    std::vector<float> out(frame.size());
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            out[((y + dy + height) % height) * width + (x + dx + width) % width] = frame[y * width + x];
    return out;
}

TEST(SrFloatRegistration1, StartsWithItsDefaultsAndRadiusFiveRebuildsTheConstructorsKernel) {
    const int width = 40, height = 30;
    SrFloatRegistration1 registration(width, height, 4);
    Inspector inspect(registration);
    EXPECT_EQ(registration.getRegError(), 0.0001f);
    EXPECT_EQ(registration.getGaussRadius(), 5);
    EXPECT_EQ(registration.getRegErrBlurRadius(), 3);
    EXPECT_EQ(inspect.numPrepared(), 0);

    // sigma = sqrt(3) for radius 5.
    SrFloatFft2d fft(width, height);
    std::vector<float> kernel(6), spectrum(2 * (width / 2 + 1) * height);
    fft.gaussFft(5, std::sqrt(3.0f), reinterpret_cast<float(*)[2]>(spectrum.data()), kernel.data());
    const std::vector<float> initialKernel = inspect.kernel(), initialSpectrum = inspect.gaussSpectrum();
    EXPECT_EQ(initialKernel, kernel);
    EXPECT_EQ(initialSpectrum, spectrum);

    registration.setGaussRadius(2);
    EXPECT_EQ(inspect.kernel().size(), 3u);
    EXPECT_NE(inspect.gaussSpectrum(), initialSpectrum);
    registration.setGaussRadius(5);
    EXPECT_EQ(inspect.kernel(), initialKernel);
    EXPECT_EQ(inspect.gaussSpectrum(), initialSpectrum);

    registration.setRegErrBlurRadius(0);
    registration.setRegError(-1.5f);
    EXPECT_EQ(registration.getRegErrBlurRadius(), 0);
    EXPECT_EQ(registration.getRegError(), -1.5f);
}

TEST(SrFloatRegistration1, PhaseCorrelationFindsWholeShiftsWithTheWrapRule) {
    const int width = 160, height = 120;
    const std::vector<float> reference = sceneFrame(width, height, {0.0f, 0.0f}, 0.0f);
    struct Row {
        const char* name;
        std::vector<float> frame;
        cv::Point_<int> expected;
    };
    const Row rows[] = {
        {"identical", reference, {0, 0}},
        {"circular (3, -2)", rolled(reference, width, height, 3, -2), {3, -2}},
        {"circular x 80 stays positive", rolled(reference, width, height, 80, 0), {80, 0}},
        {"circular x 81 wraps", rolled(reference, width, height, 81, 0), {-79, 0}},
        {"circular y 60 and 61", rolled(reference, width, height, 0, 61), {0, -59}},
        {"circular y 60 stays positive", rolled(reference, width, height, 0, 60), {0, 60}},
        {"scene moved by (5, -3)", sceneFrame(width, height, {5.0f, -3.0f}, 0.02f), {5, -3}},
        {"scene moved by (-4.25, 6.625)", sceneFrame(width, height, {-4.25f, 6.625f}, 0.02f), {-4, 7}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        SrFloatRegistration1 registration(width, height, 2);
        std::vector<float> first = reference, second = row.frame;
        registration.prepareFrame(first.data());
        registration.prepareFrame(second.data());
        EXPECT_EQ(Inspector(registration).phaseCorrelation(0, 1), row.expected);
    }

    // A flat frame has no phase: the bins of zero magnitude give NaN, and NaN no peak.
    SrFloatRegistration1 registration(64, 48, 2);
    std::vector<float> textured = sceneFrame(64, 48, {2.0f, 1.0f}, 0.0f);
    std::vector<float> flat(64 * 48, 30.0f);
    registration.prepareFrame(textured.data());
    registration.prepareFrame(flat.data());
    EXPECT_EQ(Inspector(registration).phaseCorrelation(0, 1), cv::Point_<int>(0, 0));
}

TEST(SrFloatRegistration1, RegistersKnownShiftsThroughARotatingWindow) {
    const int width = 160, height = 120, ref = 2;
    // Whole parts of 2 pixels or more: below that the border dominates the correlation.
    const std::vector<cv::Point2f> truth = {
        {-3.25f, 2.5f}, {2.75f, -2.125f}, {0.0f, 0.0f}, {4.375f, 3.0f}, {-2.5f, -4.25f}};
    SrFloatRegistration1 registration(width, height, 5);
    Window window(width, height, 5);
    std::vector<float> evicted = sceneFrame(width, height, {1.0f, 1.0f}, 0.02f);
    registration.prepareFrame(evicted.data());
    for (int k = 0; k < 5; ++k) window.add(registration, k, sceneFrame(width, height, truth[k], 0.02f));
    EXPECT_EQ(Inspector(registration).numPrepared(), 5);
    ASSERT_EQ(window.run(registration, ref), 0);

    std::vector<cv::Point_<float>> complete;
    registration.getCompleteShifts(complete);
    EXPECT_EQ(Inspector(registration).flowShifts(), complete);
    for (int k = 0; k < 5; ++k) {
        SCOPED_TRACE(k);
        EXPECT_NEAR(complete[k].x, truth[k].x, 0.1);
        EXPECT_NEAR(complete[k].y, truth[k].y, 0.1);
        const cv::Point_<float> whole(std::floor(complete[k].x + 0.5f), std::floor(complete[k].y + 0.5f));
        EXPECT_EQ(window.shifts[k], complete[k] - whole);
        // Every pixel of the reference; most of the overlap of the others, nothing outside it.
        int set = 0, inside = 0;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const bool covered =
                    x + whole.x >= 0 && x + whole.x < width && y + whole.y >= 0 && y + whole.y < height;
                const char m = window.masks[k][y * width + x];
                if (!covered) {
                    ASSERT_EQ(m, 0) << x << "," << y;
                }
                inside += covered;
                set += m == 1;
            }
        }
        if (k == ref) {
            EXPECT_EQ(set, width * height);
        }
        EXPECT_GT(set, 0.9 * inside);
    }
}

TEST(SrFloatRegistration1, TooLargeDisplacementThrowsWithThePlaceOfThisClass) {
    const int width = 64, height = 40;
    const std::vector<float> reference = sceneFrame(width, height, {0, 0}, 0.0f);
    SrFloatRegistration1 registration(width, height, 2);
    Window window(width, height, 2);
    window.add(registration, 0, reference);
    window.add(registration, 1, rolled(reference, width, height, 1, height / 2));  // y reaches height / 2
    try {
        window.run(registration, 0);
        FAIL() << "no exception";
    } catch (const vorel::Exception& error) {
        EXPECT_STREQ(error.what(), "Too large displacement");
        EXPECT_EQ(error.place().rfind("vision/superresolution/SrFloatRegistration1.cpp: ", 0), 0u) << error.place();
        EXPECT_NE(error.place().find(": vorel::vision::SrFloatRegistration1::doRegistration(..)"), std::string::npos)
            << error.place();
    }
    std::vector<cv::Point_<float>> complete;
    registration.getCompleteShifts(complete);
    // The smoothing sees the seam of the roll, so the step is not exact.
    EXPECT_NEAR(complete[1].x, 1.0, 0.2);
    EXPECT_NEAR(complete[1].y, height / 2, 0.2);
}

TEST(SrFloatRegistration1, CopiesAreDeepAndKeepRegisteringAfterTheOriginalIsGone) {
    const int width = 96, height = 72;
    const std::vector<cv::Point2f> truth = {{2.5f, -3.0f}, {0.0f, 0.0f}, {-3.25f, 2.0f}};
    std::vector<std::vector<float>> frames;
    for (const cv::Point2f& shift : truth) frames.push_back(sceneFrame(width, height, shift, 0.02f));

    SrFloatRegistration1 expected(width, height, 3);
    expected.setGaussRadius(4);
    Window expectedWindow(width, height, 3);
    for (int k = 0; k < 3; ++k) expectedWindow.add(expected, k, frames[k]);
    ASSERT_EQ(expectedWindow.run(expected, 1), 0);

    auto original = std::make_unique<SrFloatRegistration1>(width, height, 3);
    original->setGaussRadius(4);
    for (auto& frame : frames) original->prepareFrame(frame.data());
    SrFloatRegistration1 copied(*original);
    SrFloatRegistration1 assigned(8, 6, 2);
    assigned = *original;
    original.reset();
    for (SrFloatRegistration1* registration : {&copied, &assigned}) {
        EXPECT_EQ(registration->getGaussRadius(), 4);
        Window again(width, height, 3);
        again.use(frames);
        ASSERT_EQ(again.run(*registration, 1), 0);
        EXPECT_EQ(again.shifts, expectedWindow.shifts);
        EXPECT_EQ(again.masks, expectedWindow.masks);
        EXPECT_EQ(again.shifted, expectedWindow.shifted);
    }
}

}  // namespace
}  // namespace vision
}  // namespace vorel
