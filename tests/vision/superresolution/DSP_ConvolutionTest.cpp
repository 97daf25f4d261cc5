// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/DSP_Convolution.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <sstream>
#include <vector>

namespace vorel {
namespace vision {
namespace {

// Runs fullConvFromSparse on a w x h frame; returns the (2w + 5) x (2h + 5) output and the printed lines.
template <typename T>
std::vector<T> backProject(std::vector<T> in, std::vector<char> mask, std::vector<T> kx, std::vector<T> ky, int w,
                           int h, std::vector<std::string>* lines = nullptr) {
    DSP_Convolution<T> conv(static_cast<T>(2 * w), static_cast<T>(2 * h), 6, 6, 2.0f);
    std::vector<T> out((2 * w + 5) * (2 * h + 5), 77);
    testing::internal::CaptureStdout();
    conv.fullConvFromSparse(in.data(), kx.data(), ky.data(), mask.data(), out.data());
    std::istringstream printed(testing::internal::GetCapturedStdout());
    for (std::string line; lines && std::getline(printed, line);) lines->push_back(line);
    return out;
}

TEST(DSP_Convolution, PhaseInterleaveEqualsADirectIntegerFullConvolution) {
    const int w = 7, h = 5, stride = 2 * w + 5;
    std::mt19937 rng(3);
    std::uniform_int_distribution<int> sample(-3000, 3000), tap(-32768, 32767), bit(0, 1);
    std::vector<int> in(w * h), kx(6), ky(6);
    std::vector<char> mask(w * h);
    for (int& v : in) v = sample(rng);
    for (char& m : mask) m = static_cast<char>(bit(rng));
    for (int k = 0; k < 6; ++k) kx[k] = tap(rng), ky[k] = tap(rng);
    std::vector<std::string> lines;
    const std::vector<int> out = backProject(in, mask, kx, ky, w, h, &lines);

    auto masked = [&](int i, int j) {
        return i < 0 || j < 0 || i >= h || j >= w ? 0 : in[i * w + j] * mask[i * w + j];
    };
    for (int row = 0; row < 2 * h + 5; ++row) {
        for (int col = 0; col < stride; ++col) {
            long long sum = 0;
            for (int m = 0; m < 3; ++m) {
                for (int n = 0; n < 3; ++n) {
                    const double q30 = static_cast<double>(kx[col % 2 + 2 * n]) * ky[row % 2 + 2 * m];
                    sum += static_cast<long long>(std::trunc(q30 / 32768.0)) * masked(row / 2 - m, col / 2 - n);
                }
            }
            const bool written = row < 2 * h + 4 && col < 2 * w + 4;
            const long long expected = written ? std::clamp<long long>(sum >> 15, -32768, 32767) : 77;
            ASSERT_EQ(out[row * stride + col], expected) << row << "," << col;
        }
    }
    ASSERT_EQ(lines.size(), 72u);
    std::ostringstream first;
    first << "H0(0,0) :" << static_cast<int>(std::trunc(static_cast<double>(kx[4]) * ky[4] / 32768.0));
    EXPECT_EQ(lines[0], first.str());
    EXPECT_EQ(lines[1], " cm: 4, rm: 4");
    EXPECT_EQ(lines[71], " cm: 1, rm: 1");
}

// An impulse v at the first pixel reaches output (0, 0) through one coefficient,
// the Q15 product of tap 0 of both kernels: the output is that coefficient times v, shifted.
TEST(DSP_Convolution, FilterWrapsInShortSaturatesInIntAndRoundsCoefficientsTowardZero) {
    struct Row {
        int v, kx0, ky0, expected;
    };
    const Row shortRows[] = {{2, 19999, 32767, -1}, {1000, -1, 1, 0}};
    const Row intRows[] = {
        {2, 19999, 32767, 1},  // 39996 >> 15, where the 16-bit sum wrapped to a negative value
        {2147483647, 1, 32768, 32767},
        {-2147483647, 1, 32768, -32768},
        {1 << 20, -1, 1, 0},  // a Q30 product of -1 is the coefficient 0, not -1
    };
    for (const Row& row : shortRows) {
        SCOPED_TRACE(testing::Message() << "short " << row.v << " " << row.kx0 << " " << row.ky0);
        const std::vector<short> out = backProject<short>(
            {static_cast<short>(row.v)}, {1}, {short(row.kx0), 0, 0, 0, 0, 0}, {short(row.ky0), 0, 0, 0, 0, 0}, 1, 1);
        EXPECT_EQ(out[0], row.expected);
    }
    for (const Row& row : intRows) {
        SCOPED_TRACE(testing::Message() << "int " << row.v << " " << row.kx0 << " " << row.ky0);
        EXPECT_EQ(backProject<int>({row.v}, {1}, {row.kx0, 0, 0, 0, 0, 0}, {row.ky0, 0, 0, 0, 0, 0}, 1, 1)[0],
                  row.expected);
    }

    std::mt19937 rng(8);
    std::uniform_int_distribution<int> any(-32768, 32767);
    std::vector<short> in(20), kernel(6);
    for (short& v : in) v = static_cast<short>(any(rng));
    for (short& v : kernel) v = static_cast<short>(any(rng));
    const std::vector<short> out = backProject(in, std::vector<char>(20, 1), kernel, kernel, 5, 4);
    for (int row = 0; row < 12; ++row)
        for (int col = 0; col < 14; ++col) ASSERT_TRUE(out[row * 15 + col] == 0 || out[row * 15 + col] == -1);
}

// Per-product truncating division by the filter scale, rows a factor apart.
template <typename T>
void expectDirectCorrelation(int w, int h, float factor, short scale) {
    SCOPED_TRACE(testing::Message() << sizeof(T) << "-byte, factor " << factor << ", scale " << scale);
    const int step = static_cast<int>(factor), taps = 3 * step;
    const int fullWidth = step * w + taps - 1, fullHeight = step * h + taps - 1;
    std::mt19937 rng(w * h);
    std::uniform_int_distribution<int> sample(-100, 100), tap(-32768, 32767);
    std::vector<T> in(fullWidth * fullHeight), kx(taps), ky(taps), out(w * h, 77);
    for (T& v : in) v = static_cast<T>(sample(rng));
    for (int k = 0; k < taps; ++k) kx[k] = static_cast<T>(tap(rng) / 8), ky[k] = static_cast<T>(tap(rng) / 8);
    DSP_Convolution<T> conv(static_cast<T>(step * w), static_cast<T>(step * h), static_cast<T>(taps),
                            static_cast<T>(taps), factor);
    conv.setFilterScale(scale);
    conv.validCorrToSparse(in.data(), kx.data(), ky.data(), out.data());
    for (int i = 0; i < h; ++i) {
        for (int j = 0; j < w; ++j) {
            long long expected = 0;
            for (int k = 0; k < taps; ++k) {
                long long row = 0;
                for (int b = 0; b < taps; ++b) row += in[(k + step * i) * fullWidth + step * j + b] * kx[b] / scale;
                expected += static_cast<long long>(static_cast<T>(row)) * ky[k] / scale;  // row sums are kept in T
            }
            ASSERT_EQ(out[i * w + j], static_cast<T>(expected)) << i << "," << j;
        }
    }
}

TEST(DSP_Convolution, ValidCorrelationEqualsADirectIntegerLoop) {
    expectDirectCorrelation<short>(6, 4, 2.0f, 1);
    expectDirectCorrelation<short>(5, 3, 2.0f, 7);
    expectDirectCorrelation<int>(9, 5, 2.0f, 3);
    expectDirectCorrelation<int>(4, 3, 3.0f, 2);
}

}  // namespace
}  // namespace vision
}  // namespace vorel
