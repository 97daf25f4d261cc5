// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatMinimization.h"

#include "RandomData.h"
#include "vision/superresolution/SrFloatConvolution.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>

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
    int fullSize() const { return m.fullSize; }
    void setEstimate(const std::vector<float>& rowMajor) { toPhases(rowMajor, m.estimate); }
    // East, south, south-east, south-west coupling and diagonal of full-size pixel i.
    std::vector<float> stencil(int i) const {
        const int at = m.fullIndex(i / m.fullWidth, i % m.fullWidth);
        return {m.couplingEast[at], m.couplingSouth[at], m.couplingSouthEast[at], m.couplingSouthWest[at],
                m.diagonal[at]};
    }
    void computeL() { m.computeL(); }
    // |b - (L(x) + sum A'MA) x| / |b| for the current estimate x.
    double relativeResidual(std::vector<char*> masks) {
        m.computeL();
        m.gradient(m.estimate, static_cast<int>(masks.size()), masks.data(), m.product);
        const cv::Mat_<float> b(1, m.fullSize, m.rhs), product(1, m.fullSize, m.product);
        return cv::norm(b, product) / cv::norm(b);
    }
    std::vector<float> gradient(const std::vector<float>& x, std::vector<char*> masks) {
        std::vector<float> phasedX(x.size()), phasedOut(x.size()), out(x.size());
        toPhases(x, phasedX.data());
        m.gradient(phasedX.data(), static_cast<int>(masks.size()), masks.data(), phasedOut.data());
        for (int r = 0; r < m.fullHeight; ++r)
            m.convolution->fromColumnPhases(phasedOut.data() + r * m.fullWidth, out.data() + r * m.fullWidth);
        return out;
    }

private:
    void toPhases(const std::vector<float>& rowMajor, float* phased) const {
        for (int r = 0; r < m.fullHeight; ++r)
            m.convolution->toColumnPhases(rowMajor.data() + r * m.fullWidth, phased + r * m.fullWidth);
    }

    SrFloatMinimization& m;
};

namespace {

using Inspector = SrFloatMinimizationInspector;

TEST(SrFloatMinimization, KernelsAreTheIntegratedGaussianMovedByTheShift) {
    SrFloatMinimization m(16, 12, 5, 2.0f);
    Inspector inspector(m);
    const std::vector<float> base = inspector.baseKernel();
    const float expected[] = {0.0f, 0.070035f, 0.429965f, 0.429965f, 0.070035f, 0.0f};
    ASSERT_EQ(base.size(), 6u);
    for (int k = 0; k < 6; ++k) EXPECT_NEAR(base[k], expected[k], 1e-6f) << "tap " << k;
    float taps[6];  // what hosts get for modelling the sensor as the minimiser does
    SrFloatMinimization::psfKernel(0.683f, 2.0f, 6, taps);
    EXPECT_EQ(std::vector<float>(taps, taps + 6), base);

    inspector.generatePsfs({{0.0f, 0.0f}, {0.5f, -0.5f}, {0.25f, 0.0f}});
    EXPECT_EQ(inspector.psfX(0), base);
    EXPECT_EQ(inspector.psfY(0), base);
    EXPECT_EQ(inspector.psfX(1)[5], 0.0f);
    EXPECT_EQ(inspector.psfY(1)[0], 0.0f);
    for (int j = 0; j < 5; ++j) {
        EXPECT_FLOAT_EQ(inspector.psfX(1)[j], base[j + 1]);
        EXPECT_FLOAT_EQ(inspector.psfY(1)[j + 1], base[j]);
        EXPECT_FLOAT_EQ(inspector.psfX(2)[j], 0.5f * (base[j] + base[j + 1]));
    }

    m.setPsfSigma(1.5f);
    const std::vector<float> wide = inspector.baseKernel();
    EXPECT_NEAR(wide[0] + wide[1] + wide[2] + wide[3] + wide[4] + wide[5], 1.0f, 1e-6f);
    EXPECT_EQ(wide[1], wide[4]);
    EXPECT_GT(wide[1], base[1]);  // a wider blur moves mass outwards
}

// The lagged-diffusivity operator straight from its flattened-index definition.
struct PlainTv {
    int wf, n;
    std::vector<float> east, south, southEast, southWest, diagonal;

    PlainTv(const std::vector<float>& x, int wf, int hf, float weight, float eps)
        : wf(wf), n(wf * hf), east(n), south(n), southEast(n), southWest(n), diagonal(n) {
        const float c2 = 1.0f / std::sqrt(2.0f), axis = -1.0f / weight;
        auto clamp = [eps](float v) { return v > eps ? std::min(v, 1.0f / eps) : eps; };
        auto at = [&](int i, bool lastRow) {
            east[i] = axis / clamp(std::fabs(x[i + 1] - x[i]));
            if (lastRow) return;
            south[i] = axis / clamp(std::fabs(x[i + wf] - x[i]));
            // The last pixel of the row above the last has no south-east neighbour; its coupling is zeroed below.
            if (i + wf + 1 < n) southEast[i] = 0.5f * axis / clamp(std::fabs(x[i + wf + 1] - x[i]) * c2);
            southWest[i] = 0.5f * axis / clamp(std::fabs(x[i + wf - 1] - x[i]) * c2);
        };
        for (int i = 1; i <= n - wf - 1; ++i) at(i, false);
        for (int i = n - wf; i < n - 1; ++i) at(i, true);
        // The first pixel takes the couplings of its right neighbour.
        east[0] = east[1];
        south[0] = south[1];
        southEast[0] = southEast[1];
        for (int row = 0; row < n; row += wf) {
            southWest[row] = 0.0f;
            east[row + wf - 1] = southEast[row + wf - 1] = 0.0f;
        }
        south[n - 1] = southWest[n - 1] = 0.0f;
        for (int i = 0; i < n; ++i) {
            float d = -east[i] - south[i] - southEast[i] - southWest[i];
            if (i >= 1) d -= east[i - 1];
            if (i >= wf) d -= south[i - wf];
            if (i >= wf + 1) d -= southEast[i - wf - 1];
            if (i >= wf - 1) d -= southWest[i - wf + 1];
            diagonal[i] = d;
        }
    }

    std::vector<float> stencil(int i) const { return {east[i], south[i], southEast[i], southWest[i], diagonal[i]}; }

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

TEST(SrFloatMinimization, TvOperatorMatchesThePlainFlattenedIndexDefinition) {
    // Full-size rows of odd and even length, three column phases for factor 3, the
    // default weight and epsilon (400, 0.1) and others set.
    const struct {
        int width, height;
        float factor, weight, eps;
    } cases[] = {{10, 8, 2.0f, 0.0f, 0.0f}, {13, 7, 2.0f, 200.0f, 0.5f}, {7, 6, 3.0f, 0.0f, 0.0f}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " factor " << c.factor << " weight "
                                        << c.weight);
        SrFloatMinimization m(c.width, c.height, 5, c.factor);
        if (c.weight > 0.0f) m.setWeightTV(c.weight);
        if (c.eps > 0.0f) m.setEpsilon(c.eps);
        Inspector inspector(m);
        const int n = inspector.fullSize(), wf = inspector.fullWidth();
        std::mt19937 rng(17);
        std::vector<float> x = randomValues(rng, n);
        for (int i = 0; i < n; i += 7) x[i] *= 0.01f;   // differences below epsilon
        for (int i = 3; i < n; i += 11) x[i] *= 30.0f;  // and above its inverse
        inspector.setEstimate(x);
        inspector.computeL();
        const PlainTv plain(x, wf, n / wf, c.weight > 0.0f ? c.weight : 400.0f, c.eps > 0.0f ? c.eps : 0.1f);
        for (int i = 0; i < n; ++i) {
            const std::vector<float> actual = inspector.stencil(i), expected = plain.stencil(i);
            for (int s = 0; s < 5; ++s) ASSERT_NEAR(actual[s], expected[s], 1e-6f) << "pixel " << i << " entry " << s;
        }
        const std::vector<float> v = randomValues(rng, n);
        const std::vector<float> out = inspector.gradient(v, {}), expected = plain.apply(v);
        for (int i = 0; i < n; ++i) ASSERT_NEAR(out[i], expected[i], 1e-6f) << i;
    }
}

// The data part of the system matrix is the sum over frames of the masked
// back-projection of the sampled estimate, whatever order the minimiser works in.
TEST(SrFloatMinimization, DataTermIsTheSumOfTheFramesNormalProducts) {
    const int w = 21, h = 13, frames = 4;
    SrFloatMinimization m(w, h, frames, 2.0f);
    Inspector inspector(m);
    const int n = inspector.fullSize();
    std::mt19937 rng(23);
    inspector.setEstimate(randomValues(rng, n));
    inspector.computeL();
    inspector.generatePsfs({{0.3f, -0.1f}, {0.0f, 0.0f}, {-0.45f, 0.35f}, {0.1f, 0.5f}});
    std::vector<std::vector<char>> maskData(frames);
    std::vector<char*> masks;
    for (auto& mask : maskData) masks.push_back((mask = randomMask(rng, w * h)).data());

    std::vector<float> x = randomValues(rng, n);
    const std::vector<float> withFrames = inspector.gradient(x, masks), tvOnly = inspector.gradient(x, {});

    SrFloatConvolution conv(2 * w, 2 * h, 6, 6, 2.0f);
    std::vector<float> expected(n, 0.0f), low(w * h);
    for (int k = 0; k < frames; ++k) {
        std::vector<float> kx = inspector.psfX(k), ky = inspector.psfY(k);
        conv.validCorrToSparse(x.data(), kx.data(), ky.data(), low.data());
        conv.addFullConvFromSparse(low.data(), kx.data(), ky.data(), masks[k], expected.data());
    }
    for (int i = 0; i < n; ++i) ASSERT_NEAR(withFrames[i] - tvOnly[i], expected[i], 1e-4f) << i;
}

// The buffers of one minimize() call.
struct Burst {
    std::vector<std::vector<float>> frames;
    std::vector<std::vector<char>> masks;
    std::vector<cv::Point2f> shifts;

    std::vector<char*> maskPointers() {
        std::vector<char*> pointers;
        for (auto& mask : masks) pointers.push_back(mask.data());
        return pointers;
    }

    int run(SrFloatMinimization& m, int ref, float* out) {
        std::vector<float*> framePointers;
        for (auto& f : frames) framePointers.push_back(f.data());
        return m.minimize(static_cast<int>(frames.size()), ref, framePointers.data(), shifts.data(),
                          maskPointers().data(), out);
    }
};

Burst randomBurst(int w, int h, int n, unsigned seed) {
    std::mt19937 rng(seed);
    Burst burst;
    std::uniform_real_distribution<float> shift(-0.5f, 0.5f);
    for (int k = 0; k < n; ++k) {
        burst.frames.push_back(randomValues(rng, w * h));
        for (float& v : burst.frames.back()) v = 25.0f + 5.0f * v;
        burst.masks.emplace_back(w * h, 1);
        burst.shifts.emplace_back(shift(rng), shift(rng));
    }
    return burst;
}

TEST(SrFloatMinimization, WithoutIterationsReturnsTheDenormalisedBackProjection) {
    const int w = 80, h = 60;
    Burst burst = randomBurst(w, h, 3, 21);
    const Burst raw = burst;
    SrFloatMinimization m(w, h, 3, 2.0f);
    m.setMaxIter(0);
    std::vector<float> out(160 * 120);
    EXPECT_EQ(burst.run(m, 1, out.data()), 0);

    cv::Scalar mean, deviation;
    cv::meanStdDev(cv::Mat_<float>(raw.frames[1]), mean, deviation);
    const float mu = static_cast<float>(mean[0]), sigma = static_cast<float>(deviation[0]);
    for (int p = 0; p < w * h; ++p) ASSERT_NEAR(burst.frames[2][p], (raw.frames[2][p] - mu) / sigma, 1e-5f);

    // Full-size frame of 165 x 125; output pixel (0, 0) is full-size pixel (2, 2).
    Inspector inspector(m);
    ASSERT_EQ(inspector.fullSize(), 165 * 125);
    SrFloatConvolution conv(160, 120, 6, 6, 2.0f);
    std::vector<float> b(165 * 125, 0.0f);
    for (int k = 0; k < 3; ++k)
        conv.addFullConvFromSparse(burst.frames[k].data(), inspector.psfX(k).data(), inspector.psfY(k).data(),
                                   burst.masks[k].data(), b.data());
    for (int y = 0; y < 120; ++y)
        for (int x = 0; x < 160; ++x) ASSERT_NEAR(out[y * 160 + x], b[(y + 2) * 165 + x + 2] * sigma + mu, 1e-3f);
}

// Runs restart with L taken at the new estimate until one finds the tolerance met or
// the budget is spent; the result then solves the lagged system to that tolerance.
TEST(SrFloatMinimization, RestartsShareTheIterationBudget) {
    const int w = 24, h = 18;
    std::vector<float> out(4 * w * h);
    const struct {
        int budget;
        float relRes;
        int least, most;
        bool solved;
    } rows[] = {
        {3, 1e-9f, 3, 3, false},     // never met: the run spends all it is given
        {8, 10.0f, 0, 0, true},      // met by the starting estimate
        {12, 0.05f, 12, 12, false},  // runs converge early and restart; they would take 21 in all
        {40, 0.03f, 13, 39, true},   // conjugate directions get there in 30 (plain steepest descent needs 50)
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.budget << " " << row.relRes);
        Burst burst = randomBurst(w, h, 4, 33);
        SrFloatMinimization m(w, h, 4, 2.0f);
        m.setMaxIter(row.budget);
        m.setRelRes(row.relRes);
        const int spent = burst.run(m, 0, out.data());
        EXPECT_GE(spent, row.least);
        EXPECT_LE(spent, row.most);
        EXPECT_EQ(Inspector(m).relativeResidual(burst.maskPointers()) <= row.relRes, row.solved);
    }
}

TEST(SrFloatMinimization, ReconstructsASceneBetterThanBilinearUpsampling) {
    const int w = 48, h = 36, n = 5;
    SrFloatMinimization m(w, h, n, 2.0f);
    Inspector inspector(m);
    const int wf = inspector.fullWidth(), hf = inspector.fullSize() / wf;
    // Smooth regions, sharp edges and small hot spots, values like degrees Celsius.
    cv::Mat_<float> full(hf, wf);
    for (int y = 0; y < hf; ++y)
        for (int x = 0; x < wf; ++x)
            full(y, x) = 22.0f + 3.0f * std::sin(0.07f * x) * std::cos(0.05f * y) +
                         8.0f * (x > wf / 3 && x < 2 * wf / 3 && y > hf / 4 && y < 3 * hf / 4) +
                         4.0f * ((x / 6 + y / 6) % 2 == 0 && x > 2 * wf / 3);
    for (int i = 0; i < 12; ++i) full(7 + 5 * i % (hf - 10), 9 + 11 * i % (wf - 12)) += 10.0f;
    const cv::Mat_<float> truth = full(cv::Rect(2, 2, 2 * w, 2 * h));

    // Frames from the forward model: each blurred with its shifted kernel and sampled.
    Burst burst;
    burst.shifts = {{0.0f, 0.0f}, {0.25f, -0.2f}, {-0.3f, 0.1f}, {0.1f, 0.4f}, {-0.45f, -0.35f}};
    inspector.generatePsfs(burst.shifts);
    SrFloatConvolution conv(2 * w, 2 * h, 6, 6, 2.0f);
    std::mt19937 rng(4);
    std::normal_distribution<float> noise(0.0f, 0.02f);
    for (int k = 0; k < n; ++k) {
        std::vector<float>& frame = burst.frames.emplace_back(w * h);
        conv.validCorrToSparse(full[0], inspector.psfX(k).data(), inspector.psfY(k).data(), frame.data());
        for (float& v : frame) v += noise(rng);
        burst.masks.emplace_back(w * h, 1);
    }
    cv::Mat_<float> bilinear;
    cv::resize(cv::Mat_<float>(h, w, burst.frames[0].data()), bilinear, truth.size(), 0, 0, cv::INTER_LINEAR);

    cv::Mat_<float> out(2 * h, 2 * w);
    EXPECT_GT(burst.run(m, 0, out[0]), 0);
    ASSERT_TRUE(cv::checkRange(out));
    // Compare away from the border, where both methods lack data.
    const cv::Rect inner(4, 4, 2 * w - 8, 2 * h - 8);
    const double srError = cv::norm(out(inner), truth(inner)), bilinearError = cv::norm(bilinear(inner), truth(inner));
    EXPECT_LT(srError, 0.8 * bilinearError);
}

}  // namespace
}  // namespace vision
}  // namespace vorel
