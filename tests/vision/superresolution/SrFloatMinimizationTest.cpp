// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatMinimization.h"

#include "vision/superresolution/SrFloatConvolution.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <random>
#include <vector>

namespace vorel {
namespace vision {

// Reaches the minimiser's steps and buffers, in row-major order (the minimiser
// keeps full-size images in column-phase order).
class SrFloatMinimizationInspector {
public:
    explicit SrFloatMinimizationInspector(SrFloatMinimization& m) : m(m) {}
    std::vector<float> baseKernel() const { return {m.baseKernel, m.baseKernel + m.kernelSize}; }
    std::vector<float> psfX(int k) const { return {m.psfX[k], m.psfX[k] + m.kernelSize}; }
    std::vector<float> psfY(int k) const { return {m.psfY[k], m.psfY[k] + m.kernelSize}; }
    void generatePsfs(std::vector<cv::Point2f> shifts) {
        m.generatePsfs(static_cast<int>(shifts.size()), shifts.data());
    }
    int fullWidth() const { return m.fullWidth; }
    int fullHeight() const { return m.fullHeight; }
    void setEstimate(const std::vector<float>& rowMajor) { toPhases(rowMajor, m.estimate); }
    float east(int i) const { return m.couplingEast[at(i)]; }
    float south(int i) const { return m.couplingSouth[at(i)]; }
    float southEast(int i) const { return m.couplingSouthEast[at(i)]; }
    float southWest(int i) const { return m.couplingSouthWest[at(i)]; }
    float diagonal(int i) const { return m.diagonal[at(i)]; }
    void computeL() { m.computeL(); }
    void gradient(const std::vector<float>& x, std::vector<char*>& masks, std::vector<float>& out) {
        std::vector<float> phasedX(x.size()), phasedOut(x.size());
        toPhases(x, phasedX.data());
        m.gradient(phasedX.data(), static_cast<int>(masks.size()), masks.data(), phasedOut.data());
        out.resize(x.size());
        for (int r = 0; r < m.fullHeight; ++r)
            m.convolution->fromColumnPhases(phasedOut.data() + r * m.fullWidth, out.data() + r * m.fullWidth);
    }

private:
    int at(int i) const { return m.fullIndex(i / m.fullWidth, i % m.fullWidth); }
    void toPhases(const std::vector<float>& rowMajor, float* phased) const {
        for (int r = 0; r < m.fullHeight; ++r)
            m.convolution->toColumnPhases(rowMajor.data() + r * m.fullWidth, phased + r * m.fullWidth);
    }

    SrFloatMinimization& m;
};

namespace {

using Inspector = SrFloatMinimizationInspector;

std::vector<float> randomValues(std::mt19937& rng, std::size_t n) {
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (float& x : v) x = value(rng);
    return v;
}

double dot(const std::vector<float>& a, const std::vector<float>& b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) sum += static_cast<double>(a[i]) * b[i];
    return sum;
}

// Tests for the point-spread functions

TEST(SrFloatMinimizationPsf, BaseKernelIsTheIntegratedGaussian) {
    SrFloatMinimization m(16, 12, 5, 2.0f);
    const std::vector<float> base = Inspector(m).baseKernel();
    const float expected[] = {0.0f, 0.070035f, 0.429965f, 0.429965f, 0.070035f, 0.0f};
    ASSERT_EQ(base.size(), 6u);
    for (int k = 0; k < 6; ++k) EXPECT_NEAR(base[k], expected[k], 1e-6f) << "tap " << k;
    EXPECT_FLOAT_EQ(m.getPsfSigma(), 0.683f);
    float taps[6];  // what hosts get for modelling the sensor as the minimiser does
    SrFloatMinimization::psfKernel(0.683f, 2.0f, 6, taps);
    EXPECT_EQ(std::vector<float>(taps, taps + 6), base);

    m.setPsfSigma(1.5f);
    const std::vector<float> wide = Inspector(m).baseKernel();
    EXPECT_NEAR(wide[0] + wide[1] + wide[2] + wide[3] + wide[4] + wide[5], 1.0f, 1e-6f);
    EXPECT_EQ(wide[1], wide[4]);
    EXPECT_GT(wide[1], base[1]);  // a wider blur moves mass outwards
}

TEST(SrFloatMinimizationPsf, FrameKernelsMoveByTheShift) {
    SrFloatMinimization m(16, 12, 5, 2.0f);
    Inspector inspector(m);
    const std::vector<float> base = inspector.baseKernel();
    inspector.generatePsfs({{0.0f, 0.0f}, {0.5f, -0.5f}, {0.25f, 0.0f}});

    EXPECT_EQ(inspector.psfX(0), base);
    EXPECT_EQ(inspector.psfY(0), base);
    for (int j = 0; j < 5; ++j) EXPECT_FLOAT_EQ(inspector.psfX(1)[j], base[j + 1]);
    EXPECT_EQ(inspector.psfX(1)[5], 0.0f);
    EXPECT_EQ(inspector.psfY(1)[0], 0.0f);
    for (int j = 1; j < 6; ++j) EXPECT_FLOAT_EQ(inspector.psfY(1)[j], base[j - 1]);
    float sum = 0.0f;
    for (int j = 0; j < 5; ++j) {
        EXPECT_FLOAT_EQ(inspector.psfX(2)[j], 0.5f * (base[j] + base[j + 1]));
        sum += inspector.psfX(2)[j];
    }
    EXPECT_NEAR(sum, 1.0f, 1e-6f);

    const std::vector<float> before = inspector.psfX(3);
    inspector.generatePsfs({});
    EXPECT_EQ(inspector.psfX(3), before);
}

// Tests for the TV operator

TEST(SrFloatMinimizationTv, ConstantEstimateGivesClampedCouplingsAndNoResponse) {
    SrFloatMinimization m(10, 8, 5, 2.0f);
    Inspector inspector(m);
    const int wf = inspector.fullWidth(), hf = inspector.fullHeight();
    inspector.setEstimate(std::vector<float>(wf * hf, 3.0f));
    inspector.computeL();

    const int interior = 3 * wf + 5;
    EXPECT_FLOAT_EQ(inspector.east(interior), -0.025f);
    EXPECT_FLOAT_EQ(inspector.south(interior), -0.025f);
    EXPECT_FLOAT_EQ(inspector.southEast(interior), -0.0125f);
    EXPECT_FLOAT_EQ(inspector.southWest(interior), -0.0125f);
    EXPECT_FLOAT_EQ(inspector.diagonal(interior), 4 * 0.025f + 4 * 0.0125f);
    // No coupling wraps around a row end or leaves the last row.
    EXPECT_EQ(inspector.east(wf - 1), 0.0f);
    EXPECT_EQ(inspector.southEast(2 * wf - 1), 0.0f);
    EXPECT_EQ(inspector.southWest(2 * wf), 0.0f);
    EXPECT_EQ(inspector.south((hf - 1) * wf + 3), 0.0f);
    EXPECT_EQ(inspector.southWest(0), 0.0f);

    std::vector<float> ones(wf * hf, 1.0f), out(wf * hf);
    std::vector<char*> noFrames;
    inspector.gradient(ones, noFrames, out);
    for (int i = 0; i < wf * hf; ++i) ASSERT_NEAR(out[i], 0.0f, 1e-6f) << "at " << i;
}

TEST(SrFloatMinimizationTv, FirstPixelTakesTheCouplingsOfItsNeighbour) {
    SrFloatMinimization m(10, 8, 5, 2.0f);
    Inspector inspector(m);
    const int n = inspector.fullWidth() * inspector.fullHeight();
    std::mt19937 rng(5);
    const std::vector<float> x = randomValues(rng, n);
    inspector.setEstimate(x);
    inspector.computeL();
    EXPECT_EQ(inspector.east(0), inspector.east(1));
    EXPECT_EQ(inspector.south(0), inspector.south(1));
    EXPECT_EQ(inspector.southEast(0), inspector.southEast(1));
    const int wf = inspector.fullWidth();
    const float clamped = std::min(std::max(std::fabs(x[wf + 3] - x[3]), 0.1f), 10.0f);
    EXPECT_FLOAT_EQ(inspector.south(3), -0.0025f / clamped);
}

// The lagged-diffusivity operator straight from its flattened-index definition.
struct PlainTv {
    int wf, n;
    std::vector<float> east, south, southEast, southWest, diagonal;

    PlainTv(const std::vector<float>& x, int wf, int hf)
        : wf(wf), n(wf * hf), east(n), south(n), southEast(n), southWest(n), diagonal(n) {
        const float c2 = 1.0f / std::sqrt(2.0f);
        auto clamp = [](float v) { return v > 0.1f ? std::min(v, 10.0f) : 0.1f; };
        auto at = [&](int i, bool lastRow) {
            east[i] = -0.0025f / clamp(std::fabs(x[i + 1] - x[i]));
            if (lastRow) return;
            south[i] = -0.0025f / clamp(std::fabs(x[i + wf] - x[i]));
            // The last pixel of the row above the last has no south-east neighbour; its coupling is zeroed below.
            if (i + wf + 1 < n) southEast[i] = 0.5f * -0.0025f / clamp(std::fabs(x[i + wf + 1] - x[i]) * c2);
            southWest[i] = 0.5f * -0.0025f / clamp(std::fabs(x[i + wf - 1] - x[i]) * c2);
        };
        for (int i = 1; i <= n - wf - 1; ++i) at(i, false);
        for (int i = n - wf; i < n - 1; ++i) at(i, true);
        east[0] = east[1];
        south[0] = south[1];
        southEast[0] = southEast[1];
        for (int row = 0; row < n; row += wf) {
            southWest[row] = 0.0f;
            east[row + wf - 1] = southEast[row + wf - 1] = 0.0f;
        }
        south[n - 1] = southWest[n - 1] = 0.0f;
        for (int i = 0; i < n; ++i) {
            float d = 0.0f;
            if (i >= 1) d -= east[i - 1];
            d -= east[i];
            d -= south[i];
            if (i >= wf) d -= south[i - wf];
            d -= southEast[i];
            if (i >= wf + 1) d -= southEast[i - wf - 1];
            d -= southWest[i];
            if (i >= wf - 1) d -= southWest[i - wf + 1];
            diagonal[i] = d;
        }
    }

    std::vector<float> apply(const std::vector<float>& x) const {
        std::vector<float> out(n);
        for (int i = 0; i < n; ++i) {
            float sum = diagonal[i] * x[i];
            if (i + 1 < n) sum += east[i] * x[i + 1];
            if (i >= 1) sum += east[i - 1] * x[i - 1];
            if (i + wf < n) sum += south[i] * x[i + wf];
            if (i >= wf) sum += south[i - wf] * x[i - wf];
            if (i + wf + 1 < n) sum += southEast[i] * x[i + wf + 1];
            if (i >= wf + 1) sum += southEast[i - wf - 1] * x[i - wf - 1];
            if (i + wf - 1 < n) sum += southWest[i] * x[i + wf - 1];
            if (i >= wf - 1) sum += southWest[i - wf + 1] * x[i - wf + 1];
            out[i] = sum;
        }
        return out;
    }
};

TEST(SrFloatMinimizationTv, MatchesThePlainFlattenedIndexDefinition) {
    // Full-size rows of odd and even length, and three column phases for factor 3.
    const struct {
        int width, height;
        float factor;
    } cases[] = {{10, 8, 2.0f}, {13, 7, 2.0f}, {7, 6, 3.0f}};
    for (const auto& frame : cases) {
        SCOPED_TRACE(testing::Message() << frame.width << "x" << frame.height << " factor " << frame.factor);
        SrFloatMinimization m(frame.width, frame.height, 5, frame.factor);
        Inspector inspector(m);
        const int wf = inspector.fullWidth(), hf = inspector.fullHeight(), n = wf * hf;
        std::mt19937 rng(17);
        std::vector<float> x = randomValues(rng, n);
        for (int i = 0; i < n; i += 7) x[i] = x[i] * 0.01f;  // some differences below epsilon
        inspector.setEstimate(x);
        inspector.computeL();
        const PlainTv plain(x, wf, hf);
        for (int i = 0; i < n; ++i) {
            ASSERT_FLOAT_EQ(inspector.east(i), plain.east[i]) << i;
            ASSERT_FLOAT_EQ(inspector.south(i), plain.south[i]) << i;
            ASSERT_FLOAT_EQ(inspector.southEast(i), plain.southEast[i]) << i;
            ASSERT_FLOAT_EQ(inspector.southWest(i), plain.southWest[i]) << i;
            ASSERT_NEAR(inspector.diagonal(i), plain.diagonal[i], 1e-6f) << i;
        }
        const std::vector<float> v = randomValues(rng, n);
        std::vector<float> out;
        std::vector<char*> noFrames;
        inspector.gradient(v, noFrames, out);
        const std::vector<float> expected = plain.apply(v);
        for (int i = 0; i < n; ++i) ASSERT_NEAR(out[i], expected[i], 1e-6f) << i;
    }
}

// The data part of the system matrix is the sum over frames of the masked
// back-projection of the sampled estimate, whatever order the minimiser works in.
TEST(SrFloatMinimizationTv, DataTermIsTheSumOfTheFramesNormalProducts) {
    const int w = 21, h = 13, frames = 4;
    SrFloatMinimization m(w, h, frames, 2.0f);
    Inspector inspector(m);
    const int wf = inspector.fullWidth(), hf = inspector.fullHeight(), n = wf * hf;
    std::mt19937 rng(23);
    inspector.setEstimate(randomValues(rng, n));
    inspector.computeL();
    inspector.generatePsfs({{0.3f, -0.1f}, {0.0f, 0.0f}, {-0.45f, 0.35f}, {0.1f, 0.5f}});
    std::vector<std::vector<char>> maskData(frames, std::vector<char>(w * h));
    std::bernoulli_distribution keep(0.8);
    for (auto& mask : maskData)
        for (char& b : mask) b = keep(rng) ? 1 : 0;
    std::vector<char*> masks, noMasks;
    for (auto& mask : maskData) masks.push_back(mask.data());

    const std::vector<float> x = randomValues(rng, n);
    std::vector<float> withFrames, tvOnly;
    inspector.gradient(x, masks, withFrames);
    inspector.gradient(x, noMasks, tvOnly);

    SrFloatConvolution conv(2 * w, 2 * h, 6, 6, 2.0f);
    std::vector<float> expected(n, 0.0f), low(w * h);
    std::vector<float> input = x;
    for (int k = 0; k < frames; ++k) {
        std::vector<float> kx = inspector.psfX(k), ky = inspector.psfY(k);
        conv.validCorrToSparse(input.data(), kx.data(), ky.data(), low.data());
        conv.addFullConvFromSparse(low.data(), kx.data(), ky.data(), masks[k], expected.data());
    }
    for (int i = 0; i < n; ++i) ASSERT_NEAR(withFrames[i] - tvOnly[i], expected[i], 1e-4f) << i;
}

// The system matrix L + sum A'MA must be symmetric and positive semi-definite:
// this ties the stencil of the gradient to the couplings and the operators to their adjoints.
TEST(SrFloatMinimizationTv, SystemMatrixIsSymmetricPositiveSemiDefinite) {
    const int w = 14, h = 11, frames = 3;
    SrFloatMinimization m(w, h, frames, 2.0f);
    Inspector inspector(m);
    const int n = inspector.fullWidth() * inspector.fullHeight();
    std::mt19937 rng(9);
    inspector.setEstimate(randomValues(rng, n));
    inspector.computeL();
    inspector.generatePsfs({{0.1f, -0.3f}, {0.0f, 0.0f}, {-0.45f, 0.2f}});
    std::vector<std::vector<char>> maskData(frames, std::vector<char>(w * h));
    std::bernoulli_distribution keep(0.7);
    for (auto& mask : maskData)
        for (char& b : mask) b = keep(rng) ? 1 : 0;
    std::vector<char*> masks;
    for (auto& mask : maskData) masks.push_back(mask.data());

    std::vector<float> u = randomValues(rng, n), v = randomValues(rng, n), au(n), av(n);
    inspector.gradient(u, masks, au);
    inspector.gradient(v, masks, av);
    EXPECT_NEAR(dot(au, v), dot(u, av), 1e-4 * std::sqrt(dot(au, au) * dot(v, v)));
    EXPECT_GE(dot(u, au), 0.0);
}

// Tests for minimize

struct Burst {
    int w, h;
    std::vector<std::vector<float>> frames;
    std::vector<std::vector<char>> masks;
    std::vector<cv::Point2f> shifts;
    std::vector<float*> framePointers;
    std::vector<char*> maskPointers;

    void point() {
        framePointers.clear();
        maskPointers.clear();
        for (auto& f : frames) framePointers.push_back(f.data());
        for (auto& m : masks) maskPointers.push_back(m.data());
    }
};

Burst randomBurst(int w, int h, int n, unsigned seed) {
    std::mt19937 rng(seed);
    Burst burst{w, h, {}, {}, {}, {}, {}};
    std::uniform_real_distribution<float> shift(-0.5f, 0.5f);
    for (int k = 0; k < n; ++k) {
        std::vector<float> frame = randomValues(rng, w * h);
        for (float& v : frame) v = 25.0f + 5.0f * v;
        burst.frames.push_back(frame);
        burst.masks.emplace_back(w * h, 1);
        burst.shifts.emplace_back(shift(rng), shift(rng));
    }
    burst.point();
    return burst;
}

TEST(SrFloatMinimization, WithoutIterationsReturnsTheDenormalisedBackProjection) {
    const int w = 80, h = 60;
    Burst burst = randomBurst(w, h, 3, 21);
    const std::vector<std::vector<float>> raw = burst.frames;
    SrFloatMinimization m(w, h, 3, 2.0f);
    m.setMaxIter(0);
    std::vector<float> out(160 * 120);
    EXPECT_EQ(m.minimize(3, 1, burst.framePointers.data(), burst.shifts.data(), burst.maskPointers.data(), out.data()),
              0);

    double mean = 0.0, squares = 0.0;
    for (float v : raw[1]) mean += v;
    mean /= w * h;
    for (float v : raw[1]) squares += (v - mean) * (v - mean);
    const float stdDev = std::sqrt(static_cast<float>(squares / (w * h)));
    for (int p = 0; p < w * h; ++p)
        ASSERT_FLOAT_EQ(burst.frames[2][p], (raw[2][p] - static_cast<float>(mean)) / stdDev);

    // Full-size frame of 165 x 125; output pixel (0, 0) is full-size pixel (2, 2).
    Inspector inspector(m);
    ASSERT_EQ(inspector.fullWidth(), 165);
    ASSERT_EQ(inspector.fullHeight(), 125);
    SrFloatConvolution conv(160, 120, 6, 6, 2.0f);
    std::vector<float> b(165 * 125, 0.0f);
    for (int k = 0; k < 3; ++k)
        conv.addFullConvFromSparse(burst.frames[k].data(), inspector.psfX(k).data(), inspector.psfY(k).data(),
                                   burst.masks[k].data(), b.data());
    for (int y = 0; y < 120; ++y)
        for (int x = 0; x < 160; ++x)
            ASSERT_NEAR(out[y * 160 + x], b[(y + 2) * 165 + x + 2] * stdDev + static_cast<float>(mean), 1e-3f);
}

TEST(SrFloatMinimization, IterationBudgetIsSharedByTheRuns) {
    const int w = 24, h = 18;
    std::vector<float> out(4 * w * h);
    for (int budget : {1, 3, 8}) {
        SCOPED_TRACE(budget);
        Burst burst = randomBurst(w, h, 4, 33);
        SrFloatMinimization m(w, h, 4, 2.0f);
        m.setMaxIter(budget);
        m.setRelRes(1e-9f);  // never met: every run spends all it is given
        EXPECT_EQ(
            m.minimize(4, 0, burst.framePointers.data(), burst.shifts.data(), burst.maskPointers.data(), out.data()),
            budget);
    }
    Burst burst = randomBurst(w, h, 4, 33);
    SrFloatMinimization m(w, h, 4, 2.0f);
    m.setRelRes(10.0f);  // met by the starting estimate: no iteration at all
    EXPECT_EQ(m.minimize(4, 0, burst.framePointers.data(), burst.shifts.data(), burst.maskPointers.data(), out.data()),
              0);

    // A loose tolerance makes runs converge early; restarts continue within the budget.
    Burst again = randomBurst(w, h, 4, 33);
    SrFloatMinimization loose(w, h, 4, 2.0f);
    loose.setRelRes(0.2f);
    const int total =
        loose.minimize(4, 0, again.framePointers.data(), again.shifts.data(), again.maskPointers.data(), out.data());
    EXPECT_GT(total, 0);
    EXPECT_LE(total, 8);
}

TEST(SrFloatMinimization, ParametersKeepTheirDerivedValues) {
    SrFloatMinimization m(8, 6, 2, 2.0f);
    EXPECT_FLOAT_EQ(m.getWeightTV(), 400.0f);
    EXPECT_FLOAT_EQ(m.getRelRes(), 0.007f);
    EXPECT_FLOAT_EQ(m.getEpsilon(), 0.1f);
    EXPECT_EQ(m.getMaxIter(), 8);
    m.setWeightTV(200.0f);
    m.setEpsilon(0.5f);
    Inspector inspector(m);
    inspector.setEstimate(std::vector<float>(inspector.fullWidth() * inspector.fullHeight(), 0.0f));
    inspector.computeL();
    EXPECT_FLOAT_EQ(inspector.south(20), -1.0f / (200.0f * 0.5f));
}

// A scene with smooth regions, sharp edges and small hot spots, values like degrees Celsius.
cv::Mat_<float> thermalScene(int rows, int cols) {
    cv::Mat_<float> scene(rows, cols);
    for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < cols; ++x) {
            float v = 22.0f + 3.0f * std::sin(0.07f * x) * std::cos(0.05f * y);
            if (x > cols / 3 && x < 2 * cols / 3 && y > rows / 4 && y < 3 * rows / 4) v += 8.0f;
            if ((x / 6 + y / 6) % 2 == 0 && x > 2 * cols / 3) v += 4.0f;
            scene(y, x) = v;
        }
    }
    for (int i = 0; i < 12; ++i) scene(7 + 5 * i % (rows - 10), 9 + 11 * i % (cols - 12)) += 10.0f;
    return scene;
}

double rmse(const cv::Mat_<float>& a, const cv::Mat_<float>& b) {
    return std::sqrt(cv::norm(a, b, cv::NORM_L2SQR) / static_cast<double>(a.total()));
}

TEST(SrFloatMinimization, ReconstructsASceneBetterThanBilinearUpsampling) {
    const int w = 48, h = 36, n = 5;
    SrFloatMinimization m(w, h, n, 2.0f);
    Inspector inspector(m);
    const int wf = inspector.fullWidth(), hf = inspector.fullHeight();
    const cv::Mat_<float> full = thermalScene(hf, wf);
    const cv::Mat_<float> truth = full(cv::Rect(2, 2, 2 * w, 2 * h)).clone();

    // Frames from the forward model: each blurred with its shifted kernel and sampled.
    Burst burst{w, h, {}, {}, {{0.0f, 0.0f}, {0.25f, -0.2f}, {-0.3f, 0.1f}, {0.1f, 0.4f}, {-0.45f, -0.35f}}, {}, {}};
    inspector.generatePsfs(burst.shifts);
    SrFloatConvolution conv(2 * w, 2 * h, 6, 6, 2.0f);
    std::mt19937 rng(4);
    std::normal_distribution<float> noise(0.0f, 0.02f);
    cv::Mat_<float> input = full.clone();
    for (int k = 0; k < n; ++k) {
        std::vector<float> frame(w * h);
        conv.validCorrToSparse(input[0], inspector.psfX(k).data(), inspector.psfY(k).data(), frame.data());
        for (float& v : frame) v += noise(rng);
        burst.frames.push_back(frame);
        burst.masks.emplace_back(w * h, 1);
    }
    const cv::Mat_<float> reference = cv::Mat_<float>(h, w, burst.frames[0].data()).clone();
    burst.point();

    cv::Mat_<float> out(2 * h, 2 * w);
    const int iterations =
        m.minimize(n, 0, burst.framePointers.data(), burst.shifts.data(), burst.maskPointers.data(), out[0]);
    EXPECT_GT(iterations, 0);
    ASSERT_TRUE(cv::checkRange(out));

    cv::Mat_<float> bilinear;
    cv::resize(reference, bilinear, truth.size(), 0, 0, cv::INTER_LINEAR);
    // Compare away from the border, where both methods lack data.
    const cv::Rect inner(4, 4, 2 * w - 8, 2 * h - 8);
    const double srError = rmse(out(inner), truth(inner));
    const double bilinearError = rmse(bilinear(inner), truth(inner));
    std::printf("RMSE against the scene: reconstruction %.4f, bilinear %.4f\n", srError, bilinearError);
    EXPECT_LT(srError, 0.8 * bilinearError);
}

}  // namespace
}  // namespace vision
}  // namespace vorel
