// SPDX-License-Identifier: Proprietary
#pragma once

// Views, loops and butterflies shared by the passes of the real and the complex
// transform.
//
// The passes keep FFTPACK's array shapes and names: an array dimensioned
// (ido, d2, d3) in column-major order, here indexed from 0, where ido is the
// length of one run of elements and l1 the number of transforms of the current
// length already combined. Every element is a run of L lanes: L = 1 for a
// single transform, L = kFftBatch for a batch whose lanes never mix.
//
// The real passes are the complex butterflies on half-complex data, some values
// read or written conjugated, so one set of butterflies serves all passes.

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

enum class Direction { Forward, Backward };

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

struct Value {
    float re, im;
};

inline Value conj(Value a) { return {a.re, -a.im}; }

/// Lane v of the value whose real part is element `re` and imaginary part element
/// `im` (the next one, or for half-complex data any other).
inline Value load(const float* re, const float* im, int v) { return {re[v], im[v]}; }
inline void store(Value a, float* re, float* im, int v) {
    re[v] = a.re;
    im[v] = a.im;
}

/// a times the twiddle (wr, wi), conjugated for the forward direction.
template <Direction D>
inline Value rotate(float wr, float wi, Value a) {
    if constexpr (D == Direction::Forward)
        return {wr * a.re + wi * a.im, wr * a.im - wi * a.re};
    else
        return {wr * a.re - wi * a.im, wr * a.im + wi * a.re};
}

/// The sines of the butterflies change sign with the direction.
template <Direction D>
constexpr float sine(float value) {
    return D == Direction::Forward ? -value : value;
}

// FFTPACK's butterflies: y[j] is the j-th output before its twiddle.

inline void butterfly2(Value a0, Value a1, Value (&y)[2]) {
    y[0] = {a0.re + a1.re, a0.im + a1.im};
    y[1] = {a0.re - a1.re, a0.im - a1.im};
}

template <Direction D>
inline void butterfly3(Value a0, Value a1, Value a2, Value (&y)[3]) {
    constexpr float taur = -0.5f;
    constexpr float taui = sine<D>(0.866025403784439f);
    const float tr2 = a1.re + a2.re;
    const float cr2 = a0.re + taur * tr2;
    const float ti2 = a1.im + a2.im;
    const float ci2 = a0.im + taur * ti2;
    const float cr3 = taui * (a1.re - a2.re);
    const float ci3 = taui * (a1.im - a2.im);
    y[0] = {a0.re + tr2, a0.im + ti2};
    y[1] = {cr2 - ci3, ci2 + cr3};
    y[2] = {cr2 + ci3, ci2 - cr3};
}

template <Direction D>
inline void butterfly4(Value a0, Value a1, Value a2, Value a3, Value (&y)[4]) {
    const float ti1 = a0.im - a2.im;
    const float ti2 = a0.im + a2.im;
    const float ti3 = a1.im + a3.im;
    // The direction turns these two differences round.
    const float tr4 = D == Direction::Forward ? a1.im - a3.im : a3.im - a1.im;
    const float ti4 = D == Direction::Forward ? a3.re - a1.re : a1.re - a3.re;
    const float tr1 = a0.re - a2.re;
    const float tr2 = a0.re + a2.re;
    const float tr3 = a1.re + a3.re;
    y[0] = {tr2 + tr3, ti2 + ti3};
    y[1] = {tr1 + tr4, ti1 + ti4};
    y[2] = {tr2 - tr3, ti2 - ti3};
    y[3] = {tr1 - tr4, ti1 - ti4};
}

template <Direction D>
inline void butterfly5(Value a0, Value a1, Value a2, Value a3, Value a4, Value (&y)[5]) {
    constexpr float tr11 = 0.309016994374947f;
    constexpr float tr12 = -0.809016994374947f;
    constexpr float ti11 = sine<D>(0.951056516295154f);
    constexpr float ti12 = sine<D>(0.587785252292473f);
    const float ti5 = a1.im - a4.im;
    const float ti2 = a1.im + a4.im;
    const float ti4 = a2.im - a3.im;
    const float ti3 = a2.im + a3.im;
    const float tr5 = a1.re - a4.re;
    const float tr2 = a1.re + a4.re;
    const float tr4 = a2.re - a3.re;
    const float tr3 = a2.re + a3.re;
    const float cr2 = a0.re + tr11 * tr2 + tr12 * tr3;
    const float ci2 = a0.im + tr11 * ti2 + tr12 * ti3;
    const float cr3 = a0.re + tr12 * tr2 + tr11 * tr3;
    const float ci3 = a0.im + tr12 * ti2 + tr11 * ti3;
    const float cr5 = ti11 * tr5 + ti12 * tr4;
    const float ci5 = ti11 * ti5 + ti12 * ti4;
    const float cr4 = ti12 * tr5 - ti11 * tr4;
    const float ci4 = ti12 * ti5 - ti11 * ti4;
    y[0] = {a0.re + tr2 + tr3, a0.im + ti2 + ti3};
    y[1] = {cr2 - ci5, ci2 + cr5};
    y[2] = {cr3 - ci4, ci3 + cr4};
    y[3] = {cr3 + ci4, ci3 - cr4};
    y[4] = {cr2 + ci5, ci2 - cr5};
}

template <int R, Direction D>
inline void butterfly(const Value (&a)[R], Value (&y)[R]) {
    if constexpr (R == 2)
        butterfly2(a[0], a[1], y);
    else if constexpr (R == 3)
        butterfly3<D>(a[0], a[1], a[2], y);
    else if constexpr (R == 4)
        butterfly4<D>(a[0], a[1], a[2], a[3], y);
    else
        butterfly5<D>(a[0], a[1], a[2], a[3], a[4], y);
}

}  // namespace fft_detail
}  // namespace vision
}  // namespace vorel
