// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/fft/Fft.h"
#include "vision/superresolution/fft/FftKernels.h"

#include <cmath>

namespace vorel {
namespace vision {

namespace {

using fft_detail::kTwoPi;

// Divides n by the trial factors (the four given, then 7, 9, 11, ...) as often as
// each divides. A 2 found after other factors moves to the front of the record.
// Lengths up to a few million fit the record's 13 places.
void factorize(int n, const int (&firstTrials)[4], int* record) {
    int remaining = n;
    int count = 0;
    int trial = 0;
    for (int j = 0; remaining != 1; ++j) {
        trial = j < 4 ? firstTrials[j] : trial + 2;
        while (remaining % trial == 0) {
            ++count;
            record[count + 1] = trial;
            remaining /= trial;
            if (trial == 2 && count != 1) {
                for (int i = count; i > 1; --i) record[i + 1] = record[i];
                record[2] = 2;
            }
        }
    }
    record[0] = n;
    record[1] = count;
}

// The record of a length with nothing to transform.
bool trivial(const FftPlan& plan, int n) {
    plan.factors[0] = n;
    plan.factors[1] = 0;
    return n <= 1;
}

}  // namespace

void fftInitReal(const FftPlan& plan, int n) {
    if (trivial(plan, n)) return;
    factorize(n, {4, 2, 3, 5}, plan.factors);
    float* wa = plan.work + n;
    const int nf = plan.factors[1];
    const float argh = kTwoPi / static_cast<float>(n);
    // Each pass but the last (which runs with ido = 1) takes the cosines and sines
    // of the multiples of its angle for the elements 1 ... (ido - 1) / 2.
    int is = 0;
    int l1 = 1;
    for (int k1 = 0; k1 < nf - 1; ++k1) {
        const int ip = plan.factors[k1 + 2];
        const int l2 = l1 * ip;
        const int ido = n / l2;
        int ld = 0;
        for (int j = 1; j < ip; ++j) {
            ld += l1;
            const float argld = static_cast<float>(ld) * argh;
            float fi = 0.0f;
            for (int i = is + 2; i < is + ido; i += 2) {
                fi += 1.0f;
                const float arg = fi * argld;
                wa[i - 2] = std::cos(arg);
                wa[i - 1] = std::sin(arg);
            }
            is += ido;
        }
        l1 = l2;
    }
}

void fftInitComplex(const FftPlan& plan, int n) {
    if (trivial(plan, n)) return;
    factorize(n, {3, 4, 2, 5}, plan.factors);
    float* wa = plan.work + 2 * n;
    const int nf = plan.factors[1];
    const float argh = kTwoPi / static_cast<float>(n);
    // Per pass and multiple j of its angle: (1, 0) and the rotations of the
    // elements 1 ... ido - 1. The general pass finds the j-th root of unity of its
    // factor in the first pair instead.
    int i = 0;
    int l1 = 1;
    for (int k1 = 0; k1 < nf; ++k1) {
        const int ip = plan.factors[k1 + 2];
        const int l2 = l1 * ip;
        const int ido = n / l2;
        int ld = 0;
        for (int j = 1; j < ip; ++j) {
            const int first = i;
            wa[i] = 1.0f;
            wa[i + 1] = 0.0f;
            ld += l1;
            const float argld = static_cast<float>(ld) * argh;
            float fi = 0.0f;
            for (int m = 0; m < ido; ++m) {
                i += 2;
                fi += 1.0f;
                const float arg = fi * argld;
                wa[i] = std::cos(arg);
                wa[i + 1] = std::sin(arg);
            }
            if (ip > 5) {
                wa[first] = wa[i];
                wa[first + 1] = wa[i + 1];
            }
        }
        l1 = l2;
    }
}

}  // namespace vision
}  // namespace vorel
