// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/fft/Fft.h"

#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

namespace vorel {
namespace vision {
namespace {

using Complex = std::complex<double>;

// A plan with its own storage.
struct Plan {
    std::vector<int> factors = std::vector<int>(kFftFactorRecordSize, -1);
    std::vector<float> work;
    FftPlan plan;

    Plan(int n, bool complex) : work(complex ? fftComplexWorkSize(n) : fftRealWorkSize(n)) {
        plan = {factors.data(), work.data()};
        complex ? fftInitComplex(plan, n) : fftInitReal(plan, n);
    }
    std::vector<int> record() const { return {factors.begin() + 2, factors.begin() + 2 + factors[1]}; }
};

// The plain definition, in double precision: sign -1 forward, +1 backward.
std::vector<Complex> dft(const std::vector<Complex>& x, int sign) {
    const std::size_t n = x.size();
    std::vector<Complex> out(n);
    for (std::size_t k = 0; k < n; ++k)
        for (std::size_t j = 0; j < n; ++j)
            out[k] += x[j] * std::polar(1.0, sign * 2.0 * CV_PI * static_cast<double>((j * k) % n) / n);
    return out;
}

std::vector<float> randomData(std::size_t count, std::uint64_t seed) {
    std::vector<float> data(count);
    cv::RNG rng(seed);
    for (float& value : data) value = rng.uniform(-1.0f, 1.0f);
    return data;
}

// Largest difference, relative to the largest expected magnitude.
double relativeError(const std::vector<float>& actual, const std::vector<double>& expected) {
    double worst = 0.0, scale = 1e-30;
    for (std::size_t i = 0; i < actual.size(); ++i) {
        worst = std::max(worst, std::abs(actual[i] - expected[i]));
        scale = std::max(scale, std::abs(expected[i]));
    }
    return worst / scale;
}

TEST(Fft, FactorsInTheOrderOfTheTrials) {
    struct Row {
        int n;
        std::vector<int> real, complex;
    };
    const Row rows[] = {
        {1, {}, {}},
        {12, {4, 3}, {3, 4}},
        {6, {2, 3}, {2, 3}},  // the complex plan finds the 3 first, then moves the 2 in front
        {14, {2, 7}, {2, 7}},
        {8, {2, 4}, {2, 4}},
        {60, {4, 3, 5}, {3, 4, 5}},
        {2 * 9 * 11, {2, 3, 3, 11}, {2, 3, 3, 11}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.n);
        const Plan real(row.n, false), complex(row.n, true);
        EXPECT_EQ(real.factors[0], row.n);
        EXPECT_EQ(complex.factors[0], row.n);
        EXPECT_EQ(real.record(), row.real);
        EXPECT_EQ(complex.record(), row.complex);
    }
}

// Lengths with every radix, the general pass for 7, 11 and large primes, and the frame sizes.
const int kLengths[] = {1,  2,  3,  4,  5,  6,   7,   8,   9,   11,  12,  14,  15,  16,  25,
                        30, 49, 60, 77, 97, 120, 121, 160, 210, 240, 243, 480, 640, 1009};

int largestPrimeFactor(int n) {
    int largest = 1;
    for (int p = 2; p <= n; ++p)
        for (; n % p == 0; n /= p) largest = p;
    return largest;
}

// n times the data, the expected result of a forward and a backward transform.
std::vector<double> scaled(const std::vector<float>& x, int n) {
    std::vector<double> out(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) out[i] = static_cast<double>(n) * x[i];
    return out;
}

TEST(Fft, TransformsEqualThePlainDftAndRoundTripsScaleByN) {
    for (const int n : kLengths) {
        SCOPED_TRACE(n);
        // The general real passes build their rotations by recurrence: their rounding
        // grows with the square of the factor (about 0.006 for 1009).
        const double p = largestPrimeFactor(n);
        const double tolerance = 1e-6 + 2e-8 * p * p;
        const std::vector<float> x = randomData(2 * n, n);
        std::vector<Complex> values(n);

        // Real data into half-complex order, and back.
        const std::vector<float> real(x.begin(), x.begin() + n);
        for (int j = 0; j < n; ++j) values[j] = real[j];
        const std::vector<Complex> realSpectrum = dft(values, -1);
        std::vector<double> halfComplex(n);
        halfComplex[0] = realSpectrum[0].real();
        for (int k = 1; 2 * k - 1 < n; ++k) {
            halfComplex[2 * k - 1] = realSpectrum[k].real();
            if (2 * k < n) halfComplex[2 * k] = realSpectrum[k].imag();
        }
        Plan realPlan(n, false);
        std::vector<float> data = real;
        fftForwardReal(realPlan.plan, data.data());
        EXPECT_LT(relativeError(data, halfComplex), tolerance) << "real forward";
        fftBackwardReal(realPlan.plan, data.data());
        EXPECT_LT(relativeError(data, scaled(real, n)), tolerance) << "real round trip";

        // Complex data, both directions.
        for (int j = 0; j < n; ++j) values[j] = Complex(x[2 * j], x[2 * j + 1]);
        Plan complexPlan(n, true);
        for (const int sign : {-1, 1}) {
            const std::vector<Complex> spectrum = dft(values, sign);
            std::vector<double> expected(2 * n);
            for (int k = 0; k < n; ++k) {
                expected[2 * k] = spectrum[k].real();
                expected[2 * k + 1] = spectrum[k].imag();
            }
            data = x;
            sign < 0 ? fftForwardComplex(complexPlan.plan, data.data())
                     : fftBackwardComplex(complexPlan.plan, data.data());
            EXPECT_LT(relativeError(data, expected), tolerance) << "complex, sign " << sign;
        }
        data = x;
        fftForwardComplex(complexPlan.plan, data.data());
        fftBackwardComplex(complexPlan.plan, data.data());
        EXPECT_LT(relativeError(data, scaled(x, n)), tolerance) << "complex round trip";
    }
}

// Each lane of a batch is one transform with the single transform's arithmetic.
TEST(Fft, BatchLanesEqualSingleTransformsExactly) {
    for (const int n : kLengths) {
        SCOPED_TRACE(n);
        const Plan realPlan(n, false), complexPlan(n, true);
        for (const bool complex : {false, true}) {
            const int floats = complex ? 2 * n : n;
            const std::vector<float> x = randomData(static_cast<std::size_t>(floats) * kFftBatch, 7 * n + complex);
            for (const bool forward : {true, false}) {
                std::vector<float> batch(x.size()), scratch(x.size());
                for (int b = 0; b < kFftBatch; ++b)
                    for (int e = 0; e < floats; ++e) batch[e * kFftBatch + b] = x[b * floats + e];
                const FftPlan& plan = complex ? complexPlan.plan : realPlan.plan;
                if (complex)
                    forward ? fftForwardComplexBatch(plan, batch.data(), scratch.data())
                            : fftBackwardComplexBatch(plan, batch.data(), scratch.data());
                else
                    forward ? fftForwardRealBatch(plan, batch.data(), scratch.data())
                            : fftBackwardRealBatch(plan, batch.data(), scratch.data());
                for (int b = 0; b < kFftBatch; ++b) {
                    std::vector<float> single(x.begin() + b * floats, x.begin() + (b + 1) * floats);
                    if (complex)
                        forward ? fftForwardComplex(plan, single.data()) : fftBackwardComplex(plan, single.data());
                    else forward ? fftForwardReal(plan, single.data()) : fftBackwardReal(plan, single.data());
                    for (int e = 0; e < floats; ++e)
                        ASSERT_EQ(batch[e * kFftBatch + b], single[e])
                            << complex << forward << " lane " << b << " at " << e;
                }
            }
        }
    }
}

}  // namespace
}  // namespace vision
}  // namespace vorel
