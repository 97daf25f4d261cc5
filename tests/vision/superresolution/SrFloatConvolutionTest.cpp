// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatConvolution.h"

#include "RandomData.h"

#include <gtest/gtest.h>

namespace vorel {
namespace vision {
namespace {

// Plain loops, straight from the operators' definitions: the yardstick for the fast versions.
struct Reference {
    int lowWidth, lowHeight, taps, step;
    int fullWidth = lowWidth * step + taps - 1, fullHeight = lowHeight * step + taps - 1;

    std::vector<float> fullConv(const std::vector<float>& in, const std::vector<float>& kx,
                                const std::vector<float>& ky, const std::vector<char>& mask) const {
        std::vector<float> work(fullHeight * lowWidth, 0.0f), out(fullHeight * fullWidth, 0.0f);
        for (int k = 0; k < taps; ++k)
            for (int i = 0; i < lowHeight; ++i)
                for (int j = 0; j < lowWidth; ++j)
                    work[(k + 2 * i) * lowWidth + j] += mask[i * lowWidth + j] * in[i * lowWidth + j] * ky[k];
        for (int k = 0; k < taps; ++k)
            for (int r = 0; r < fullHeight; ++r)
                for (int j = 0; j < lowWidth; ++j) out[r * fullWidth + k + step * j] += work[r * lowWidth + j] * kx[k];
        return out;
    }

    std::vector<float> validCorr(const std::vector<float>& in, const std::vector<float>& kx,
                                 const std::vector<float>& ky) const {
        std::vector<float> work(fullHeight * lowWidth, 0.0f), out(lowHeight * lowWidth, 0.0f);
        for (int k = 0; k < taps; ++k)
            for (int r = 0; r < fullHeight; ++r)
                for (int j = 0; j < lowWidth; ++j) work[r * lowWidth + j] += in[r * fullWidth + k + step * j] * kx[k];
        for (int k = 0; k < taps; ++k)
            for (int i = 0; i < lowHeight; ++i)
                for (int j = 0; j < lowWidth; ++j) out[i * lowWidth + j] += work[(k + 2 * i) * lowWidth + j] * ky[k];
        return out;
    }
};

void expectNear(const std::vector<float>& actual, const std::vector<float>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i) ASSERT_NEAR(actual[i], expected[i], 1e-5f) << "at " << i;
}

TEST(SrFloatConvolution, FastOperatorsMatchPlainLoopsOnRandomData) {
    // Widths leave every remainder, kernels cover the production size and the generic paths.
    const struct {
        int lowWidth, lowHeight, taps;
        float factor;
    } geometries[] = {{4, 3, 6, 2.0f},  {37, 11, 6, 2.0f}, {16, 9, 5, 2.0f}, {7, 5, 1, 2.0f},
                      {10, 6, 9, 3.0f}, {13, 7, 6, 2.0f},  {1, 1, 6, 2.0f},  {1, 3, 6, 2.0f}};
    std::mt19937 rng(7);
    for (const auto& g : geometries) {
        SCOPED_TRACE(testing::Message() << g.lowWidth << "x" << g.lowHeight << " taps " << g.taps << " f " << g.factor);
        const int step = static_cast<int>(g.factor);
        const Reference ref{g.lowWidth, g.lowHeight, g.taps, step};
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
        const std::vector<float> expected = ref.fullConv(low, kx, ky, mask);

        std::vector<float> out(full.size(), 99.0f);
        conv.fullConvFromSparse(low.data(), kx.data(), ky.data(), mask.data(), out.data());
        expectNear(out, expected);

        std::vector<float> accumulated = full;
        conv.addFullConvFromSparse(low.data(), kx.data(), ky.data(), mask.data(), accumulated.data());
        for (std::size_t i = 0; i < full.size(); ++i) accumulated[i] -= full[i];
        expectNear(accumulated, expected);

        std::vector<float> sparse(low.size(), 99.0f);
        conv.validCorrToSparse(full.data(), kx.data(), ky.data(), sparse.data());
        expectNear(sparse, ref.validCorr(full, kx, ky));
    }
}

TEST(SrFloatConvolution, MeanFilterMatchesDirectMeansCutAtTheEdges) {
    std::mt19937 rng(3);
    for (const cv::Size size : {cv::Size(20, 15), cv::Size(5, 3)}) {
        cv::Mat_<float> image(size);
        for (float& v : image) v = std::uniform_real_distribution<float>(0.0f, 10.0f)(rng);
        for (const int radius : {0, 1, 3}) {
            SCOPED_TRACE(testing::Message() << size << " radius " << radius);
            cv::Mat_<float> out;
            SrFloatConvolution::blurImageMeanFilter(image, radius, out);
            for (int y = 0; y < image.rows; ++y) {
                for (int x = 0; x < image.cols; ++x) {
                    double sum = 0.0;
                    int count = 0;
                    for (int v = std::max(0, y - radius); v <= std::min(image.rows - 1, y + radius); ++v)
                        for (int u = std::max(0, x - radius); u <= std::min(image.cols - 1, x + radius); ++u, ++count)
                            sum += image(v, u);
                    ASSERT_NEAR(out(y, x), sum / count, 1e-4) << y << "," << x;
                }
            }
        }
    }
}

}  // namespace
}  // namespace vision
}  // namespace vorel
