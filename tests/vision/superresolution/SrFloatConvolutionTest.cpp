// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatConvolution.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace vorel {
namespace vision {
namespace {

// Plain loops, straight from the operators' definitions: the yardstick for the fast versions.
struct Reference {
    int lowWidth, lowHeight, kw, kh, step, fullWidth, fullHeight;

    Reference(int lowWidth, int lowHeight, int kw, int kh, int step)
        : lowWidth(lowWidth),
          lowHeight(lowHeight),
          kw(kw),
          kh(kh),
          step(step),
          fullWidth(lowWidth * step + kw - 1),
          fullHeight(lowHeight * step + kh - 1) {}

    std::vector<float> fullConv(const std::vector<float>& in, const std::vector<float>& kx,
                                const std::vector<float>& ky, const std::vector<char>& mask) const {
        std::vector<float> work(fullHeight * lowWidth, 0.0f), out(fullHeight * fullWidth, 0.0f);
        for (int k = 0; k < kh; ++k)
            for (int i = 0; i < lowHeight; ++i)
                for (int j = 0; j < lowWidth; ++j)
                    work[(k + 2 * i) * lowWidth + j] +=
                        static_cast<float>(mask[i * lowWidth + j]) * in[i * lowWidth + j] * ky[k];
        for (int k = 0; k < kw; ++k)
            for (int r = 0; r < fullHeight; ++r)
                for (int j = 0; j < lowWidth; ++j) out[r * fullWidth + k + step * j] += work[r * lowWidth + j] * kx[k];
        return out;
    }

    std::vector<float> validCorr(const std::vector<float>& in, const std::vector<float>& kx,
                                 const std::vector<float>& ky) const {
        std::vector<float> work(fullHeight * lowWidth, 0.0f), out(lowHeight * lowWidth, 0.0f);
        for (int k = 0; k < kw; ++k)
            for (int r = 0; r < fullHeight; ++r)
                for (int j = 0; j < lowWidth; ++j) work[r * lowWidth + j] += in[r * fullWidth + k + step * j] * kx[k];
        for (int k = 0; k < kh; ++k)
            for (int i = 0; i < lowHeight; ++i)
                for (int j = 0; j < lowWidth; ++j) out[i * lowWidth + j] += work[(k + 2 * i) * lowWidth + j] * ky[k];
        return out;
    }
};

std::vector<float> randomValues(std::mt19937& rng, std::size_t n, float lo = -1.0f, float hi = 1.0f) {
    std::uniform_real_distribution<float> value(lo, hi);
    std::vector<float> v(n);
    for (float& x : v) x = value(rng);
    return v;
}

std::vector<char> randomMask(std::mt19937& rng, std::size_t n) {
    std::bernoulli_distribution keep(0.8);
    std::vector<char> mask(n);
    for (char& m : mask) m = keep(rng) ? 1 : 0;
    return mask;
}

void expectNear(const std::vector<float>& actual, const std::vector<float>& expected, float tolerance) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i) ASSERT_NEAR(actual[i], expected[i], tolerance) << "at " << i;
}

struct Geometry {
    int lowWidth, lowHeight, taps;
    float factor;
};

// Widths leave every remainder, kernels cover the production size and the generic paths.
const Geometry kGeometries[] = {{4, 3, 6, 2.0f},  {37, 11, 6, 2.0f}, {16, 9, 5, 2.0f}, {7, 5, 1, 2.0f},
                                {10, 6, 9, 3.0f}, {13, 7, 6, 2.0f},  {1, 1, 6, 2.0f},  {1, 3, 6, 2.0f}};

TEST(SrFloatConvolution, FastOperatorsMatchPlainLoopsOnRandomData) {
    std::mt19937 rng(7);
    for (const Geometry& g : kGeometries) {
        SCOPED_TRACE(testing::Message() << g.lowWidth << "x" << g.lowHeight << " taps " << g.taps << " f " << g.factor);
        const int step = static_cast<int>(g.factor);
        const Reference ref(g.lowWidth, g.lowHeight, g.taps, g.taps, step);
        SrFloatConvolution conv(g.lowWidth * step, g.lowHeight * step, g.taps, g.taps, g.factor);
        std::vector<float> kx = randomValues(rng, g.taps), ky = randomValues(rng, g.taps);
        if (g.taps > 2) {
            // Shifted kernels have a zero tap at one end; zero taps are skipped.
            kx[0] = 0.0f;
            ky[g.taps - 1] = 0.0f;
            ky[g.taps / 2] = 0.0f;
        }
        std::vector<float> low = randomValues(rng, g.lowWidth * g.lowHeight);
        std::vector<char> mask = randomMask(rng, low.size());
        std::vector<float> full = randomValues(rng, ref.fullWidth * ref.fullHeight);

        std::vector<float> out(full.size(), 99.0f);
        conv.fullConvFromSparse(low.data(), kx.data(), ky.data(), mask.data(), out.data());
        expectNear(out, ref.fullConv(low, kx, ky, mask), 1e-5f);

        std::vector<float> accumulated = full;
        conv.addFullConvFromSparse(low.data(), kx.data(), ky.data(), mask.data(), accumulated.data());
        for (std::size_t i = 0; i < full.size(); ++i) accumulated[i] -= full[i];
        expectNear(accumulated, ref.fullConv(low, kx, ky, mask), 1e-5f);

        std::vector<float> sparse(low.size(), 99.0f);
        conv.validCorrToSparse(full.data(), kx.data(), ky.data(), sparse.data());
        expectNear(sparse, ref.validCorr(full, kx, ky), 1e-5f);
    }
}

TEST(SrFloatConvolution, ValidCorrelationIsTheAdjointOfUnmaskedBackProjection) {
    std::mt19937 rng(11);
    const int w = 23, h = 17, taps = 6;
    const Reference ref(w, h, taps, taps, 2);
    SrFloatConvolution conv(2 * w, 2 * h, taps, taps, 2.0f);
    std::vector<float> kx = randomValues(rng, taps), ky = randomValues(rng, taps);
    std::vector<float> u = randomValues(rng, w * h), v = randomValues(rng, ref.fullWidth * ref.fullHeight);
    std::vector<char> ones(w * h, 1);
    std::vector<float> au(v.size()), atv(u.size());
    conv.fullConvFromSparse(u.data(), kx.data(), ky.data(), ones.data(), au.data());
    conv.validCorrToSparse(v.data(), kx.data(), ky.data(), atv.data());
    double lhs = 0.0, rhs = 0.0;
    for (std::size_t i = 0; i < v.size(); ++i) lhs += static_cast<double>(au[i]) * v[i];
    for (std::size_t i = 0; i < u.size(); ++i) rhs += static_cast<double>(u[i]) * atv[i];
    EXPECT_NEAR(lhs, rhs, 1e-4 * std::abs(lhs));
}

TEST(SrFloatConvolution, MaskSelectsSamples) {
    const int w = 4, h = 3, taps = 6;
    SrFloatConvolution conv(2 * w, 2 * h, taps, taps, 2.0f);
    std::vector<float> kernel = {0.1f, 0.2f, 0.3f, 0.25f, 0.1f, 0.05f};
    std::vector<float> low(w * h, 3.0f);
    std::vector<float> out(13 * 11, 5.0f);
    std::vector<char> zeros(w * h, 0);
    conv.fullConvFromSparse(low.data(), kernel.data(), kernel.data(), zeros.data(), out.data());
    for (float value : out) EXPECT_EQ(value, 0.0f);

    std::vector<char> ones(w * h, 1);
    conv.fullConvFromSparse(low.data(), kernel.data(), kernel.data(), ones.data(), out.data());
    // 13 columns by 11 rows; with a column step of 2 the last row and column are never reached.
    for (int c = 0; c < 13; ++c) EXPECT_EQ(out[10 * 13 + c], 0.0f);
    for (int r = 0; r < 11; ++r) EXPECT_EQ(out[r * 13 + 12], 0.0f);
    EXPECT_FLOAT_EQ(out[0], 3.0f * 0.1f * 0.1f);
}

TEST(SrFloatConvolution, SingleTapScattersOntoTheSparseGrid) {
    const int w = 5, h = 4;
    SrFloatConvolution conv(2 * w, 2 * h, 1, 1, 2.0f);
    float one = 1.0f;
    std::vector<float> low(w * h);
    for (int i = 0; i < w * h; ++i) low[i] = static_cast<float>(i + 1);
    std::vector<char> ones(w * h, 1);
    std::vector<float> out(2 * w * 2 * h, -1.0f);
    conv.fullConvFromSparse(low.data(), &one, &one, ones.data(), out.data());
    for (int r = 0; r < 2 * h; ++r) {
        for (int c = 0; c < 2 * w; ++c) {
            const float expected = (r % 2 == 0 && c % 2 == 0) ? low[(r / 2) * w + c / 2] : 0.0f;
            EXPECT_EQ(out[r * 2 * w + c], expected) << r << "," << c;
        }
    }
}

TEST(SrFloatConvolution, MeanFilterKeepsConstantsAndTruncatesAtEdges) {
    cv::Mat_<float> constant(9, 12, 4.5f), out;
    SrFloatConvolution::blurImageMeanFilter(constant, 3, out);
    for (float value : out) EXPECT_FLOAT_EQ(value, 4.5f);

    cv::Mat_<float> ramp(7, 8);
    for (int y = 0; y < ramp.rows; ++y)
        for (int x = 0; x < ramp.cols; ++x) ramp(y, x) = static_cast<float>(x * x + 3 * y);
    SrFloatConvolution::blurImageMeanFilter(ramp, 0, out);
    for (int i = 0; i < ramp.rows * ramp.cols; ++i) EXPECT_EQ(out(i), ramp(i));

    SrFloatConvolution::blurImageMeanFilter(ramp, 1, out);
    EXPECT_FLOAT_EQ(out(0, 0), (ramp(0, 0) + ramp(0, 1) + ramp(1, 0) + ramp(1, 1)) / 4.0f);
    EXPECT_FLOAT_EQ(out(6, 7), (ramp(5, 6) + ramp(5, 7) + ramp(6, 6) + ramp(6, 7)) / 4.0f);
    float interior = 0.0f;
    for (int v = 2; v <= 4; ++v)
        for (int u = 3; u <= 5; ++u) interior += ramp(v, u);
    EXPECT_NEAR(out(3, 4), interior / 9.0f, 1e-4f);
}

TEST(SrFloatConvolution, MeanFilterMatchesDirectMeansAndHandlesSmallImages) {
    std::mt19937 rng(3);
    for (const cv::Size size : {cv::Size(20, 15), cv::Size(5, 3)}) {
        cv::Mat_<float> image(size);
        for (float& v : image) v = std::uniform_real_distribution<float>(0.0f, 10.0f)(rng);
        cv::Mat_<float> out;
        SrFloatConvolution::blurImageMeanFilter(image, 3, out);
        for (int y = 0; y < image.rows; ++y) {
            for (int x = 0; x < image.cols; ++x) {
                double sum = 0.0;
                int count = 0;
                for (int v = std::max(0, y - 3); v <= std::min(image.rows - 1, y + 3); ++v)
                    for (int u = std::max(0, x - 3); u <= std::min(image.cols - 1, x + 3); ++u, ++count)
                        sum += image(v, u);
                ASSERT_NEAR(out(y, x), sum / count, 1e-4) << size << " at " << y << "," << x;
            }
        }
    }
}

}  // namespace
}  // namespace vision
}  // namespace vorel
