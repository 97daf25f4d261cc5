// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatNeonMinimization.h"

#include "vision/superresolution/SrFloatMinimization.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace vorel {
namespace vision {
namespace {

// Both minimisers run the same CG on operators that differ only in the order of
// some additions: the results agree to float rounding, the iteration counts exactly.
TEST(SrFloatNeonMinimization, EqualsTheScalarMinimiserUpToRounding) {
    const struct {
        int w, h, frames, maxIter;
        float relRes;
    } cases[] = {{21, 13, 4, 8, 0.007f}, {32, 24, 5, 20, 0.1f}, {9, 7, 3, 3, 1e-9f}};  // the second restarts CG
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << ", " << c.frames << " frames");
        std::mt19937 rng(c.w);
        std::uniform_real_distribution<float> value(20.0f, 30.0f), shift(-0.5f, 0.5f);
        std::bernoulli_distribution keep(0.85);
        std::vector<std::vector<float>> scalarFrames(c.frames, std::vector<float>(c.w * c.h));
        std::vector<std::vector<char>> byteMasks(c.frames, std::vector<char>(c.w * c.h));
        std::vector<std::vector<float>> floatMasks(c.frames, std::vector<float>(c.w * c.h));
        std::vector<cv::Point2f> shifts;
        for (int k = 0; k < c.frames; ++k) {
            for (float& v : scalarFrames[k]) v = value(rng);
            for (int p = 0; p < c.w * c.h; ++p) floatMasks[k][p] = byteMasks[k][p] = keep(rng) ? 1 : 0;
            shifts.emplace_back(shift(rng), shift(rng));
        }
        std::vector<std::vector<float>> vectorFrames = scalarFrames;
        std::vector<float*> scalarPointers, vectorPointers, floatMaskPointers;
        std::vector<char*> byteMaskPointers;
        for (int k = 0; k < c.frames; ++k) {
            scalarPointers.push_back(scalarFrames[k].data());
            vectorPointers.push_back(vectorFrames[k].data());
            byteMaskPointers.push_back(byteMasks[k].data());
            floatMaskPointers.push_back(floatMasks[k].data());
        }

        SrFloatMinimization scalar(c.w, c.h, c.frames, 2.0f);
        SrFloatNeonMinimization vector(c.w, c.h, c.frames, 2.0f);
        scalar.setMaxIter(c.maxIter);
        vector.setMaxIter(c.maxIter);
        scalar.setRelRes(c.relRes);
        vector.setRelRes(c.relRes);
        std::vector<float> expected(4 * c.w * c.h), actual(4 * c.w * c.h);
        const int scalarIterations = scalar.minimize(c.frames, 1, scalarPointers.data(), shifts.data(),
                                                     byteMaskPointers.data(), expected.data());
        const int vectorIterations =
            vector.minimize(c.frames, 1, vectorPointers.data(), shifts.data(), floatMaskPointers.data(), actual.data());
        EXPECT_GT(scalarIterations, 0);
        EXPECT_EQ(vectorIterations, scalarIterations);
        float largest = 0.0f;
        for (std::size_t i = 0; i < expected.size(); ++i)
            largest = std::max(largest, std::fabs(actual[i] - expected[i]));
        EXPECT_LT(largest, 1e-3f);
    }
}

}  // namespace
}  // namespace vision
}  // namespace vorel
