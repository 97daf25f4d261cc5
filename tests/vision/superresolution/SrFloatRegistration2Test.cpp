// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatRegistration2.h"

#include "tests/support/RegistrationWindow.h"
#include "vorel/Exception.h"

#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vorel {
namespace vision {

// Reaches the private steps and state.
class SrFloatRegistration2Inspector {
public:
    explicit SrFloatRegistration2Inspector(SrFloatRegistration2& registration) : r(registration) {}

    int numPrepared() const { return r.slots.count(); }
    cv::Vec2f range() const { return {r.rangeMin, r.rangeMax}; }
    cv::Mat_<float>& blurred(int slot) { return r.blurredFrames[slot]; }
    std::vector<cv::Mat>& pyramid(int slot) { return r.pyramids[slot]; }
    const float* gradX() const { return r.gradX; }
    const float* gradY() const { return r.gradY; }
    const float* errImage() const { return r.errImage; }
    const float* errBlurred() const { return r.errBlurred; }
    cv::Vec3d structureSums() const { return {r.sumGxx, r.sumGxy, r.sumGyy}; }
    const std::vector<cv::Point_<float>>& flowShifts() const { return r.flowShifts; }

    void initialize(char** masks, int ref) { r.initialize(masks, ref); }
    cv::Point_<float> opticalFlow(int ref, int frame, cv::Point_<int> coarse, char* mask) {
        return r.opticalFlow(ref, frame, coarse, mask);
    }
    void shiftFrame(float* in, cv::Point_<float>& shift, float* out) { r.shiftFrame(in, shift, out); }
    static cv::Point_<int> medianGatedShift(const std::vector<cv::Point_<float>>& moves) {
        return SrFloatRegistration2::medianGatedShift_(moves);
    }

private:
    SrFloatRegistration2& r;
};

namespace {

using Inspector = SrFloatRegistration2Inspector;
using Window = test::RegistrationWindow;

// A smooth random texture that can be sampled anywhere: a sum of plane waves with
// wavelengths from `shortest` to `longest` pixels, around a thermal-like level of 30.
class Scene {
public:
    explicit Scene(std::uint64_t seed, double shortest = 8.0, double longest = 40.0) {
        cv::RNG rng(seed);
        for (int i = 0; i < 24; ++i) {
            const double k = 2.0 * CV_PI / rng.uniform(shortest, longest), angle = rng.uniform(0.0, CV_PI);
            waves.push_back(
                {rng.uniform(0.3, 1.0), k * std::cos(angle), k * std::sin(angle), rng.uniform(0.0, 2 * CV_PI)});
        }
    }

    // The frame in which the scene sits `shift` further along x and y than in the reference.
    std::vector<float> frame(int width, int height, cv::Point2d shift) const {
        std::vector<float> pixels(static_cast<std::size_t>(width) * height);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                double value = 30.0;
                for (const cv::Vec4d& w : waves)
                    value += w[0] * std::cos(w[1] * (x - shift.x) + w[2] * (y - shift.y) + w[3]);
                pixels[y * width + x] = static_cast<float>(value);
            }
        }
        return pixels;
    }

private:
    std::vector<cv::Vec4d> waves;  // amplitude, kx, ky, phase
};

// A window of frames of `scene` moved by `truth`, prepared in order.
Window burst(SrFloatRegistration2& registration, const Scene& scene, int width, int height,
             const std::vector<cv::Point2d>& truth) {
    Window window(width, height, static_cast<int>(truth.size()));
    for (int k = 0; k < window.n; ++k) window.add(registration, k, scene.frame(width, height, truth[k]));
    return window;
}

// Whether (x, y) stays inside a frame of this size when moved by `move`.
bool inOverlap(int x, int y, int width, int height, cv::Point_<int> move) {
    return x >= std::max(-move.x, 0) && x < width - std::max(move.x, 0) && y >= std::max(-move.y, 0) &&
           y < height - std::max(move.y, 0);
}

cv::Point_<float> rounded(cv::Point_<float> shift) {
    return cv::Point_<float>(std::floor(shift.x + 0.5f), std::floor(shift.y + 0.5f));
}

// Expects `moved` to be `in` moved linearly by the whole-pixel part of `shift`.
void expectLinearMove(const std::vector<float>& in, const std::vector<float>& moved, int width,
                      cv::Point_<float> shift) {
    const cv::Point_<float> whole = rounded(shift);
    const long offset = static_cast<long>(whole.y) * width + static_cast<long>(whole.x);
    const long size = static_cast<long>(in.size());
    for (long i = 0; i < size; ++i)
        ASSERT_EQ(moved[i], (i + offset >= 0 && i + offset < size) ? in[i + offset] : 0.0f) << "at " << i;
}

// The response to an impulse is the kernel itself: its support gives the size and the
// ratio of neighbouring taps exp(-1 / (2 sigma^2)) the width, sigma^2 = 3 r^2 / 25.
TEST(SrFloatRegistration2, SmoothsWithTheRadiusKernelAndSigma) {
    for (const int radius : {5, 2}) {  // 5 is the default
        SCOPED_TRACE(radius);
        const int size = 41, centre = 20;
        SrFloatRegistration2 registration(size, size, 1);
        if (radius != 5) registration.setBlurRadius(radius);
        std::vector<float> impulse(size * size, 0.0f);
        impulse[centre * size + centre] = 1000.0f;
        registration.prepareFrame(impulse.data());
        const cv::Mat_<float>& blurred = Inspector(registration).blurred(0);
        EXPECT_NEAR(cv::sum(blurred)[0], 1000.0, 1e-2);
        EXPECT_GT(blurred(centre, centre + radius), 0.0f);
        EXPECT_EQ(blurred(centre, centre + radius + 1), 0.0f);
        EXPECT_EQ(blurred(centre + radius + 1, centre), 0.0f);
        const double variance = 3.0 * radius * radius / 25.0;
        EXPECT_NEAR(blurred(centre, centre + 1) / blurred(centre, centre), std::exp(-0.5 / variance), 1e-4);
        EXPECT_NEAR(blurred(centre + 2, centre) / blurred(centre, centre), std::exp(-2.0 / variance), 1e-4);
    }
}

TEST(SrFloatRegistration2, FillsSlotsThenRotatesTheOldestOut) {
    const int width = 64, height = 48;
    const Scene scene(5);
    std::vector<std::vector<float>> frames;
    for (int k = 0; k < 6; ++k) {
        frames.push_back(scene.frame(width, height, cv::Point2d(0.7 * k, -0.4 * k)));
        for (float& p : frames.back()) p += 3.0f * k;
    }
    SrFloatRegistration2 registration(width, height, 5);
    Inspector inspect(registration);
    for (int k = 0; k < 5; ++k) {
        registration.prepareFrame(frames[k].data());
        EXPECT_EQ(inspect.numPrepared(), k + 1);
    }
    const uchar* oldestBlurred = inspect.blurred(0).data;
    const uchar* oldestBase = inspect.pyramid(0)[0].data;
    registration.prepareFrame(frames[5].data());
    EXPECT_EQ(inspect.numPrepared(), 5);
    // The evicted slot's storage takes the newest frame.
    EXPECT_EQ(inspect.blurred(4).data, oldestBlurred);
    EXPECT_EQ(inspect.pyramid(4)[0].data, oldestBase);

    // Slot i now holds frame i + 1: compare with the smoothing of that frame alone.
    for (int slot = 0; slot < 5; ++slot) {
        SrFloatRegistration2 alone(width, height, 1);
        alone.prepareFrame(frames[slot + 1].data());
        EXPECT_EQ(cv::norm(inspect.blurred(slot), Inspector(alone).blurred(0), cv::NORM_INF), 0.0) << slot;
    }
}

TEST(SrFloatRegistration2, KeepsTheIntensityMappingOrRenewsItFromOneFrame) {
    const int width = 64, height = 48;
    SrFloatRegistration2 registration(width, height, 3);
    Inspector inspect(registration);
    const struct {
        float low, high;           // two flat halves: far from the seam the smoothed frame keeps them
        float rangeMin, rangeMax;  // the mapping afterwards
        uchar lowByte, highByte;   // the 8-bit values of the two halves
    } rows[] = {
        {100.0f, 200.0f, 90.0f, 210.0f, 21, 234},  // first frame: (100 - 90) * 255 / 120 = 21.25
        {95.0f, 205.0f, 90.0f, 210.0f, 11, 244},   // fits: kept
        {80.0f, 150.0f, 73.0f, 157.0f, 21, 234},   // below: renewed, the top moves inwards
    };
    for (int k = 0; k < 3; ++k) {
        SCOPED_TRACE(k);
        std::vector<float> frame(width * height);
        for (int i = 0; i < width * height; ++i) frame[i] = i % width < width / 2 ? rows[k].low : rows[k].high;
        registration.prepareFrame(frame.data());
        EXPECT_NEAR(inspect.range()[0], rows[k].rangeMin, 1e-3);
        EXPECT_NEAR(inspect.range()[1], rows[k].rangeMax, 1e-3);

        // The base of the pyramid is the 8-bit frame.
        const std::vector<cv::Mat>& pyramid = inspect.pyramid(k);
        EXPECT_EQ(pyramid[0].at<uchar>(20, 5), rows[k].lowByte);
        EXPECT_EQ(pyramid[0].at<uchar>(20, width - 6), rows[k].highByte);
    }
}

TEST(SrFloatRegistration2, InitializeTakesTheReferenceGradients) {
    const int width = 9, height = 7, numFrames = 4, ref = 2;
    SrFloatRegistration2 registration(width, height, numFrames);
    Inspector inspect(registration);
    cv::Mat_<float> image(height, width);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) image(y, x) = static_cast<float>(x * x + 3 * y * y);
    inspect.blurred(ref) = image;

    std::vector<char> mask(width * height);
    std::vector<char*> maskPtrs(numFrames, mask.data());  // masks are checked with the registrations below
    inspect.initialize(maskPtrs.data(), ref);

    double xx = 0.0, xy = 0.0, yy = 0.0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            // One-sided at the first and last column and row, half central inside.
            const float gx = x == 0 ? 1.0f : x == width - 1 ? 2.0f * width - 3.0f : 2.0f * x;
            const float gy = y == 0 ? 3.0f : y == height - 1 ? 3.0f * (2.0f * height - 3.0f) : 6.0f * y;
            ASSERT_EQ(inspect.gradX()[y * width + x], gx) << x << "," << y;
            ASSERT_EQ(inspect.gradY()[y * width + x], gy) << x << "," << y;
            xx += gx * gx;
            xy += gx * gy;
            yy += gy * gy;
        }
    }
    EXPECT_EQ(inspect.structureSums(), cv::Vec3d(cv::Vec3f(xx, xy, yy)));
}

// The overlap's structure sums come from the whole frame minus the uncovered bands; a
// direct sum over the overlap must give the same step. An exactly moved frame leaves no
// error in the overlap, and the band's error, spread by the filter, never fills its window.
TEST(SrFloatRegistration2, OpticalFlowSolvesTheOverlapLeastSquaresStep) {
    const int width = 64, height = 48;
    const Scene scene(9);
    const cv::Point_<int> coarses[] = {{2, -1}, {0, 0}, {3, 2}, {-3, 2}, {3, -2}, {-3, -2}, {0, -4}, {5, 0}};
    for (const cv::Point_<int> coarse : coarses) {
        const bool exact = coarse == cv::Point_<int>(2, -1);
        SCOPED_TRACE(testing::Message() << coarse << (exact ? " exact" : ""));
        const cv::Point2d truth = exact ? cv::Point2d(coarse) : cv::Point2d(coarse.x + 0.3, coarse.y - 0.2);
        // Reference and frame set directly as smoothed images, so that the step sees them unchanged.
        SrFloatRegistration2 registration(width, height, 2);
        Inspector inspect(registration);
        inspect.blurred(0) = cv::Mat_<float>(scene.frame(width, height, {0.0, 0.0}), true).reshape(1, height);
        inspect.blurred(1) = cv::Mat_<float>(scene.frame(width, height, truth), true).reshape(1, height);
        std::vector<char> mask0(width * height, 5), mask(width * height, 5);
        char* maskPtrs[] = {mask0.data(), mask.data()};
        inspect.initialize(maskPtrs, 0);
        const cv::Point_<float> shift = inspect.opticalFlow(0, 1, coarse, mask.data());

        const float *gradX = inspect.gradX(), *gradY = inspect.gradY();
        const auto difference = [&](int x, int y) {
            return static_cast<double>(inspect.blurred(1)(y + coarse.y, x + coarse.x)) - inspect.blurred(0)(y, x);
        };
        double a = 0.0, b = 0.0, c = 0.0, p = 0.0, q = 0.0;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                if (!inOverlap(x, y, width, height, coarse)) continue;
                const double gx = gradX[y * width + x], gy = gradY[y * width + x], d = difference(x, y);
                a += gx * gx;
                b += gx * gy;
                c += gy * gy;
                p += gx * d;
                q += gy * d;
            }
        }
        const double u = (b * q - c * p) / (c * a - b * b), v = (b * p - a * q) / (c * a - b * b);
        EXPECT_NEAR(shift.x, coarse.x + u, 1e-4);
        EXPECT_NEAR(shift.y, coarse.y + v, 1e-4);
        EXPECT_NEAR(shift.x, truth.x, 0.05);
        EXPECT_NEAR(shift.y, truth.y, 0.05);
        if (exact) {
            EXPECT_EQ(shift, cv::Point_<float>(coarse));
        }

        // Mask bytes outside the overlap of the rounded shift stay as initialize left them.
        const cv::Point_<int> whole(rounded(shift));
        const float regError = registration.getRegError();
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const int i = y * width + x;
                if (!inOverlap(x, y, width, height, coarse)) {
                    ASSERT_EQ(inspect.errImage()[i], regError) << x << "," << y;
                } else {
                    const double residual = gradX[i] * u + gradY[i] * v + difference(x, y);
                    ASSERT_NEAR(inspect.errImage()[i], residual * residual / (a + c), 1e-9) << x << "," << y;
                }
                const bool inside = inOverlap(x, y, width, height, whole);
                if (exact || !inside) {
                    ASSERT_EQ(mask[i], inside ? 1 : 0) << x << "," << y;
                }
            }
        }
        if (exact) {  // the filter's window is cut at the corner: 4 of its 16 samples lie in the top band
            EXPECT_NEAR(inspect.errBlurred()[0], regError / 4.0f, 1e-9);
            EXPECT_NEAR(inspect.errBlurred()[3 * width + 30], regError / 7.0f, 1e-9);
        }
    }
}

TEST(SrFloatRegistration2, CornerMovesGiveAMedianGatedMeanRoundedHalfUp) {
    const struct {
        const char* name;
        std::vector<cv::Point_<float>> moves;
        cv::Point_<int> expected;
    } rows[] = {
        {"outlier rejected", {{1.2f, 0.1f}, {1.3f, 0.1f}, {1.4f, 0.1f}, {5.0f, 0.1f}}, {1, 0}},
        {"upper middle of an even count", {{0.0f, 0.0f}, {0.0f, 0.0f}, {3.5f, 0.0f}, {3.5f, 0.0f}}, {4, 0}},
        {"gate is strict", {{0.0f, 0.0f}, {2.0f, 0.0f}, {2.0f, 0.0f}}, {2, 0}},
        {"medians from different corners", {{2.0f, 7.0f}, {2.4f, 2.2f}, {7.0f, 2.6f}}, {2, 2}},
        {"half rounds up", {{-0.5f, 0.5f}}, {0, 1}},
        {"negative halves round up", {{-2.75f, -1.25f}, {-2.25f, -1.75f}, {-9.0f, -1.5f}}, {-2, -1}},
    };
    for (const auto& row : rows) EXPECT_EQ(Inspector::medianGatedShift(row.moves), row.expected) << row.name;
}

TEST(SrFloatRegistration2, ShiftFrameMovesLinearlyAndKeepsTheRemainder) {
    const int width = 7, height = 5;
    std::vector<float> in(width * height);
    for (std::size_t i = 0; i < in.size(); ++i) in[i] = static_cast<float>(i + 1);
    // The move is linear: a row's last pixel comes from the next row's first.
    const std::pair<cv::Point_<float>, cv::Point_<float>> rows[] = {// shift, remainder
                                                                    {{2.0f, -1.0f}, {0.0f, 0.0f}},
                                                                    {{0.5f, -0.5f}, {-0.5f, -0.5f}},
                                                                    {{-0.5f, 0.25f}, {-0.5f, 0.25f}},
                                                                    {{-1.75f, 1.5f}, {0.25f, -0.5f}},
                                                                    {{3.0f, 4.0f}, {0.0f, 0.0f}}};
    SrFloatRegistration2 registration(width, height, 1);
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.first);
        std::vector<float> out(in.size(), -1.0f);
        cv::Point_<float> shift = row.first;
        Inspector(registration).shiftFrame(in.data(), shift, out.data());
        EXPECT_EQ(shift, row.second);
        expectLinearMove(in, out, width, row.first);
    }
}

// Checks one successful registration of a window against the true shifts.
void expectRegistered(SrFloatRegistration2& registration, const Window& window, int ref,
                      const std::vector<cv::Point2d>& truth, double tolerance) {
    std::vector<cv::Point_<float>> complete;
    registration.getCompleteShifts(complete);
    ASSERT_EQ(complete.size(), truth.size());
    EXPECT_EQ(Inspector(registration).flowShifts(), complete);
    const int width = window.width, height = window.height;
    for (int k = 0; k < window.n; ++k) {
        SCOPED_TRACE(testing::Message() << "frame " << k);
        if (k == ref) {
            EXPECT_EQ(complete[k], cv::Point_<float>(0.0f, 0.0f));
            EXPECT_EQ(window.shifts[k], cv::Point_<float>(0.0f, 0.0f));
            EXPECT_EQ(window.shifted[k], window.frames[k]);
            EXPECT_EQ(std::count(window.masks[k].begin(), window.masks[k].end(), 1), width * height);
            continue;
        }
        EXPECT_NEAR(complete[k].x, truth[k].x - truth[ref].x, tolerance);
        EXPECT_NEAR(complete[k].y, truth[k].y - truth[ref].y, tolerance);
        const cv::Point_<float> whole = rounded(complete[k]);
        EXPECT_EQ(window.shifts[k], complete[k] - whole);
        expectLinearMove(window.frames[k], window.shifted[k], width, complete[k]);

        // Set over the overlap (but near the uncovered band), clear in the band.
        int set = 0, overlap = 0;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const char m = window.masks[k][y * width + x];
                const bool inside = inOverlap(x, y, width, height, whole);
                if (!inside) {
                    ASSERT_EQ(m, 0) << x << "," << y;
                }
                overlap += inside;
                set += m == 1;
            }
        }
        EXPECT_GT(set, 0.98 * overlap);
    }
}

TEST(SrFloatRegistration2, RegistersKnownTranslations) {
    const int width = 160, height = 120;
    const std::vector<cv::Point2d> whole = {{-3, 2}, {2, -1}, {0, 0}, {4, 3}, {-1, -4}};
    const std::vector<cv::Point2d> fractional = {{-2.3, 1.6}, {0.5, -0.5}, {0.4, 0.2}, {3.75, -2.45}, {-1.1, 3.3}};
    const struct {
        const char* name;
        int ref;
        const std::vector<cv::Point2d>& truth;
    } rows[] = {{"whole pixels", 2, whole},
                {"sub-pixel", 2, fractional},
                {"sub-pixel, reference first", 0, fractional},
                {"sub-pixel, reference last", 4, fractional}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        SrFloatRegistration2 registration(width, height, 5);
        Window window = burst(registration, Scene(21), width, height, row.truth);
        ASSERT_EQ(window.run(registration, row.ref), 0);
        expectRegistered(registration, window, row.ref, row.truth, 0.06);
    }
}

TEST(SrFloatRegistration2, ReferenceWithoutCornersAnswersMinusNineAndKeepsTheLastResults) {
    const int width = 96, height = 72, n = 4;
    const Scene scene(4);
    const std::vector<cv::Point2d> truth = {{0, 0}, {1.5, -0.5}, {-2.2, 0.7}, {0.6, 2.1}};
    // Stripes along x: smoothing keeps every row identical, so there is no corner at all.
    std::vector<float> stripes(width * height);
    for (int i = 0; i < width * height; ++i) stripes[i] = 30.0f + 5.0f * std::sin((i % width) * 0.3f);
    for (const int ref : {0, 2}) {
        SCOPED_TRACE(testing::Message() << "reference " << ref);
        SrFloatRegistration2 registration(width, height, n);
        ASSERT_EQ(burst(registration, scene, width, height, truth).run(registration, 0), 0);
        std::vector<cv::Point_<float>> before, after;
        registration.getCompleteShifts(before);
        const std::vector<cv::Point_<float>> flowBefore = Inspector(registration).flowShifts();

        Window window(width, height, n);
        for (int k = 0; k < n; ++k)
            window.add(registration, k, k == ref ? stripes : scene.frame(width, height, truth[k]));
        EXPECT_EQ(window.run(registration, ref), -9);
        registration.getCompleteShifts(after);
        EXPECT_EQ(after, before);
        EXPECT_EQ(Inspector(registration).flowShifts(), flowBefore);
        for (int k = 0; k < n; ++k) {
            SCOPED_TRACE(k);
            // Only a reference that comes before the first other frame gets its shift.
            EXPECT_EQ(window.shifts[k], k == ref && ref == 0 ? cv::Point_<float>(0, 0) : cv::Point_<float>(-7, -7));
            EXPECT_EQ(std::count(window.shifted[k].begin(), window.shifted[k].end(), -7.0f), width * height);
            EXPECT_EQ(std::count(window.masks[k].begin(), window.masks[k].end(), k == ref ? 1 : 0), width * height);
        }
    }
}

TEST(SrFloatRegistration2, TooLargeDisplacementThrowsAfterMovingTheEarlierFrames) {
    // A short frame keeps the limit (height / 2 = 24) within reach of the tracker; long
    // waves let it follow such moves.
    const int width = 320, height = 48;
    const std::pair<cv::Point2d, bool> rows[] = {{{22.6, 0.2}, false}, {{25.3, 0.2}, true}, {{0.3, 24.4}, true}};
    for (const auto& [far, throws] : rows) {
        SCOPED_TRACE(testing::Message() << far);
        const std::vector<cv::Point2d> truth = {{0, 0}, {1.3, -0.6}, far, {-2.2, 0.4}};
        SrFloatRegistration2 registration(width, height, 4);
        Window window = burst(registration, Scene(77, 40.0, 100.0), width, height, truth);
        if (!throws) {
            ASSERT_EQ(window.run(registration, 0), 0);
            expectRegistered(registration, window, 0, truth, 0.1);
            continue;
        }
        try {
            window.run(registration, 0);
            FAIL() << "no exception";
        } catch (const vorel::Exception& error) {
            EXPECT_STREQ(error.what(), "Too large displacement");
            EXPECT_EQ(error.place().rfind("vision/superresolution/SrFloatRegistration2.cpp: ", 0), 0u) << error.place();
            EXPECT_NE(error.place().find(": vorel::vision::SrFloatRegistration2::doRegistration(..)"),
                      std::string::npos)
                << error.place();
        }
        std::vector<cv::Point_<float>> complete;
        registration.getCompleteShifts(complete);
        ASSERT_EQ(complete.size(), 4u);
        EXPECT_EQ(complete[0], cv::Point_<float>(0, 0));
        EXPECT_NEAR(complete[1].x, 1.3, 0.1);
        EXPECT_NEAR(complete[2].x, far.x, 0.25);  // the error grows with the move
        EXPECT_NEAR(complete[2].y, far.y, 0.25);
        EXPECT_EQ(complete[3], cv::Point_<float>(0, 0));  // not reached
        // Frames before the offending one are moved and hold remainders; it and later
        // ones are plain copies and keep their full shifts.
        EXPECT_EQ(window.shifts[1], complete[1] - rounded(complete[1]));
        expectLinearMove(window.frames[1], window.shifted[1], width, complete[1]);
        EXPECT_EQ(window.shifts[2], complete[2]);
        EXPECT_NEAR(window.shifts[3].x, -2.2, 0.1);
        for (const int k : {0, 2, 3}) EXPECT_EQ(window.shifted[k], window.frames[k]) << k;
    }
}

TEST(SrFloatRegistration2, CopiesAreDeepAndKeepTrackingAfterTheOriginalIsGone) {
    const int width = 96, height = 72;
    const Scene scene(12);
    const std::vector<cv::Point2d> truth = {{0.4, -1.2}, {0, 0}, {2.3, 1.1}, {-1.6, 0.8}};
    SrFloatRegistration2 expected(width, height, 4);
    Window expectedWindow = burst(expected, scene, width, height, truth);
    ASSERT_EQ(expectedWindow.run(expected, 1), 0);

    auto original = std::make_unique<SrFloatRegistration2>(width, height, 4);
    burst(*original, scene, width, height, truth);
    SrFloatRegistration2 copied(*original);
    SrFloatRegistration2 assigned(8, 6, 2);
    assigned = *original;
    EXPECT_NE(Inspector(copied).blurred(0).data, Inspector(*original).blurred(0).data);
    EXPECT_NE(Inspector(copied).pyramid(3)[0].data, Inspector(*original).pyramid(3)[0].data);
    EXPECT_NE(Inspector(assigned).gradX(), Inspector(*original).gradX());
    for (SrFloatRegistration2* copy : {&copied, &assigned})
        EXPECT_EQ(Inspector(*copy).range(), Inspector(*original).range());
    original.reset();

    const std::vector<float> newest = scene.frame(width, height, {1.1, 2.6});
    std::vector<cv::Point_<float>> reference;  // the uncopied registration's, which runs first
    for (SrFloatRegistration2* registration : {&expected, &copied, &assigned}) {
        Window again(width, height, 4);
        again.use(expectedWindow.frames);
        ASSERT_EQ(again.run(*registration, 1), 0);
        EXPECT_EQ(again.shifts, expectedWindow.shifts);
        EXPECT_EQ(again.masks, expectedWindow.masks);
        EXPECT_EQ(again.shifted, expectedWindow.shifted);
        cv::Size whole;
        cv::Point offset;
        Inspector(*registration).pyramid(2)[2].locateROI(whole, offset);
        EXPECT_EQ(offset, cv::Point(21, 21));

        // The pyramids also take the next frame in place of the oldest one.
        std::vector<float> next = newest;
        registration->prepareFrame(next.data());
        Window moved(width, height, 4);
        moved.use({expectedWindow.frames[1], expectedWindow.frames[2], expectedWindow.frames[3], newest});
        ASSERT_EQ(moved.run(*registration, 0), 0);
        std::vector<cv::Point_<float>> complete;
        registration->getCompleteShifts(complete);
        EXPECT_NEAR(complete[3].x, 1.1, 0.06);
        EXPECT_NEAR(complete[3].y, 2.6, 0.06);
        if (reference.empty()) reference = complete;
        EXPECT_EQ(complete, reference);
    }
}

}  // namespace
}  // namespace vision
}  // namespace vorel
