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

/// sum += from(j) for the planes j = 1 ... count - 1, in that order.
template <int L>
inline void addPlanes(const Plane<L>& from, int count, int idl1, float* sum) {
    for (int j = 1; j < count; ++j) {
        const float* in = from(0, j);
        VOREL_FFT_LANES
        for (std::ptrdiff_t e = 0; e < static_cast<std::ptrdiff_t>(idl1) * L; ++e) sum[e] = sum[e] + in[e];
    }
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
    if constexpr (D == Direction::Forward) return {wr * a.re + wi * a.im, wr * a.im - wi * a.re};
    else return {wr * a.re - wi * a.im, wr * a.im + wi * a.re};
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
    if constexpr (R == 2) butterfly2(a[0], a[1], y);
    else if constexpr (R == 3) butterfly3<D>(a[0], a[1], a[2], y);
    else if constexpr (R == 4) butterfly4<D>(a[0], a[1], a[2], a[3], y);
    else butterfly5<D>(a[0], a[1], a[2], a[3], a[4], y);
}

/// Applies the factors from the first recorded to the last, each pass reading one
/// buffer and writing the other, and copies the result back into `c` if it ends in
/// the scratch `ch`. `pass(ip, ido, l1, in, out, twiddles)` runs one factor and
/// returns whether its result is in `out`. A value takes `floats` floats.
template <int L, class Pass>
void applyFactors(const int* factors, int floats, float* c, float* ch, const float* wa, Pass pass) {
    const int n = factors[0];
    const int nf = factors[1];
    bool inData = true;
    int l1 = 1;
    int iw = 0;
    for (int k1 = 0; k1 < nf; ++k1) {
        const int ip = factors[k1 + 2];
        const int l2 = ip * l1;
        const int ido = floats * (n / l2);
        if (pass(ip, ido, l1, inData ? c : ch, inData ? ch : c, wa + iw)) inData = !inData;
        l1 = l2;
        iw += (ip - 1) * ido;
    }
    if (!inData) copyElements<L>(ch, c, floats * n);
}

/// The twiddling of the general passes: from the array `from` (ido, l1, ip) into
/// `to`, plane 0 and the first value of every run as they are, the other values
/// turned by the twiddles (conjugated forward). `first` is the element where the
/// turned values start: 1 for half-complex runs, 2 for complex ones, whose twiddle
/// tables keep a pair for the first value too.
template <Direction D, int L>
void twiddleRuns(int ido, int ip, int l1, int first, float* fromp, float* top, const float* wa) {
    const Cube<L> from{fromp, ido, l1}, to{top, ido, l1};
    copyElements<L>(fromp, top, ido * l1);
    for (int j = 1; j < ip; ++j)
        for (int k = 0; k < l1; ++k) copyElements<L>(from(0, k, j), to(0, k, j), first);
    for (int j = 1; j < ip; ++j) {
        for (int k = 0; k < l1; ++k) {
            for (int i = first; i + 1 < ido; i += 2) {
                const float* w = wa + (j - 1) * ido + i + first - 2;
                VOREL_FFT_LANES
                for (int v = 0; v < L; ++v)
                    store(rotate<D>(w[0], w[1], load(from(i, k, j), from(i + 1, k, j), v)), to(i, k, j),
                          to(i + 1, k, j), v);
            }
        }
    }
}

}  // namespace fft_detail
}  // namespace vision
}  // namespace vorel
