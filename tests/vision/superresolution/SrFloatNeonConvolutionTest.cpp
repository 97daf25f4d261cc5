// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatNeonConvolution.h"

#include "vision/superresolution/SrFloatConvolution.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace vorel {
namespace vision {
namespace {

// The vector operators add the same products in the same order as the scalar
// ones, so they agree to the last bit, whatever the remainder of the width.
TEST(SrFloatNeonConvolution, EqualsTheScalarOperatorsOnRandomData) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    std::bernoulli_distribution keep(0.7);
    for (const int w : {1, 2, 3, 4, 5, 6, 7, 8, 9, 13, 16, 37}) {
        const int h = 3 + w % 4;
        const int taps = w == 5 ? 5 : (w == 9 ? 8 : 6);  // the production size, and the generic loops
        SCOPED_TRACE(testing::Message() << w << "x" << h << ", " << taps << " taps");
        SrFloatConvolution scalar(2 * w, 2 * h, taps, taps, 2.0f);
        SrFloatNeonConvolution vector(2 * w, 2 * h, taps, taps, 2.0f);
        const int fullSize = (2 * w + taps - 1) * (2 * h + taps - 1);
        std::vector<float> kx(taps), ky(taps), low(w * h), full(fullSize), floatMask(w * h);
        std::vector<char> byteMask(w * h);
        for (std::vector<float>* v : {&kx, &ky, &low, &full})
            for (float& x : *v) x = value(rng);
        kx[w % 2 ? 0 : taps - 1] = 0.0f;  // shifted kernels end in a zero tap
        for (int p = 0; p < w * h; ++p) {
            byteMask[p] = keep(rng) ? 1 : 0;
            floatMask[p] = byteMask[p];
        }

        std::vector<float> expected(fullSize, 9.0f), actual(fullSize, -9.0f);
        scalar.fullConvFromSparse(low.data(), kx.data(), ky.data(), byteMask.data(), expected.data());
        vector.fullConvFromSparse(low.data(), kx.data(), ky.data(), floatMask.data(), actual.data());
        EXPECT_EQ(actual, expected);

        std::vector<float> sum = full;
        vector.addFullConvFromSparse(low.data(), kx.data(), ky.data(), floatMask.data(), sum.data());
        for (int i = 0; i < fullSize; ++i) ASSERT_NEAR(sum[i], full[i] + expected[i], 1e-6f) << i;

        std::vector<float> sampled(w * h, 9.0f), vectorSampled(w * h, -9.0f);
        scalar.validCorrToSparse(full.data(), kx.data(), ky.data(), sampled.data());
        vector.validCorrToSparse(full.data(), kx.data(), ky.data(), vectorSampled.data());
        EXPECT_EQ(vectorSampled, sampled);
    }
}

}  // namespace
}  // namespace vision
}  // namespace vorel
