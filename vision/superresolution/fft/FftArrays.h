// SPDX-License-Identifier: Proprietary
#pragma once

// Views and loops shared by the passes of the real and the complex transform.
//
// The passes keep FFTPACK's array shapes and names: an array dimensioned
// (ido, d2, d3) in column-major order, here indexed from 0, where ido is the
// length of one run of elements and l1 the number of transforms of the current
// length already combined. Every element is a run of L lanes: L = 1 for a
// single transform, L = kFftBatch for a batch whose lanes never mix.

#include <cstddef>

namespace vorel {
namespace vision {
namespace fft_detail {

// Lanes are independent by construction, whether or not the arrays alias.
#if defined(__clang__)
#define VOREL_FFT_LANES _Pragma("clang loop vectorize(assume_safety)")
#elif defined(__GNUC__)
#define VOREL_FFT_LANES _Pragma("GCC ivdep")
#else
#define VOREL_FFT_LANES
#endif

/// 2 pi as the twiddle tables and the general passes take it.
constexpr float kTwoPi = 6.28318530717959f;

template <int L>
struct Cube {
    float* base;
    int d1, d2;
    float* operator()(int i, int j, int k) const {
        return base + ((static_cast<std::ptrdiff_t>(k) * d2 + j) * d1 + i) * L;
    }
};

template <int L>
struct Plane {
    float* base;
    int d1;
    float* operator()(int i, int j) const { return base + (static_cast<std::ptrdiff_t>(j) * d1 + i) * L; }
};

/// to[e] = from[e] over `count` elements of L lanes.
template <int L>
inline void copyElements(const float* from, float* to, int count) {
    const std::ptrdiff_t total = static_cast<std::ptrdiff_t>(count) * L;
    for (std::ptrdiff_t e = 0; e < total; ++e) to[e] = from[e];
}

}  // namespace fft_detail
}  // namespace vision
}  // namespace vorel
