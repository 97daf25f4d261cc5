// SPDX-License-Identifier: Proprietary
// Real-data transform: FFTPACK's forward and backward passes for the factors 2,
// 3, 4, 5 and any other odd factor, written in single precision for L lanes.
#include "vision/superresolution/fft/Fft.h"
#include "vision/superresolution/fft/FftKernels.h"
#include "vorel/Dispatch.h"

#include <cmath>

namespace vorel {
namespace vision {

namespace {

using fft_detail::addPlanes;
using fft_detail::applyFactors;
using fft_detail::butterfly;
using fft_detail::conj;
using fft_detail::copyElements;
using fft_detail::Cube;
using fft_detail::Direction;
using fft_detail::kTwoPi;
using fft_detail::load;
using fft_detail::Plane;
using fft_detail::rotate;
using fft_detail::store;
using fft_detail::twiddleRuns;
using fft_detail::Value;

constexpr float kTaur = -0.5f;
constexpr float kTaui = 0.866025403784439f;
constexpr float kTr11 = 0.309016994374947f;
constexpr float kTi11 = 0.951056516295154f;
constexpr float kTr12 = -0.809016994374947f;
constexpr float kTi12 = 0.587785252292473f;
constexpr float kHalfSqrt2 = 0.7071067811865475f;
constexpr float kSqrt2 = 1.414213562373095f;

// Inside a run of half-complex data (elements 1 ... ido - 2) a radix-R pass is the
// complex butterfly: value j of the R lies at (i, 2j) for 2j < R, and conjugated at
// the mirrored place (ido - i, 2(R - j) - 1) otherwise. The forward pass turns its
// inputs by the conjugate twiddles, the backward pass its outputs by the twiddles;
// the twiddle of value j starts at wa + (j - 1) ido.
template <int R, int L>
void forwardValues(int ido, int l1, const Cube<L>& cc, const Cube<L>& ch, const float* wa) {
    for (int k = 0; k < l1; ++k) {
        for (int i = 2; i < ido; i += 2) {
            const int ic = ido - i;
            VOREL_FFT_LANES
            for (int v = 0; v < L; ++v) {
                Value a[R], y[R];
                a[0] = load(cc(i - 1, k, 0), cc(i, k, 0), v);
                for (int j = 1; j < R; ++j) {
                    const float* w = wa + (j - 1) * ido + i - 2;
                    a[j] = rotate<Direction::Forward>(w[0], w[1], load(cc(i - 1, k, j), cc(i, k, j), v));
                }
                butterfly<R, Direction::Forward>(a, y);
                store(y[0], ch(i - 1, 0, k), ch(i, 0, k), v);
                for (int j = 1; j < R; ++j) {
                    if (2 * j < R) store(y[j], ch(i - 1, 2 * j, k), ch(i, 2 * j, k), v);
                    else store(conj(y[j]), ch(ic - 1, 2 * (R - j) - 1, k), ch(ic, 2 * (R - j) - 1, k), v);
                }
            }
        }
    }
}

template <int R, int L>
void backwardValues(int ido, int l1, const Cube<L>& cc, const Cube<L>& ch, const float* wa) {
    for (int k = 0; k < l1; ++k) {
        for (int i = 2; i < ido; i += 2) {
            const int ic = ido - i;
            VOREL_FFT_LANES
            for (int v = 0; v < L; ++v) {
                Value a[R], y[R];
                for (int j = 0; j < R; ++j) {
                    if (2 * j < R) a[j] = load(cc(i - 1, 2 * j, k), cc(i, 2 * j, k), v);
                    else a[j] = conj(load(cc(ic - 1, 2 * (R - j) - 1, k), cc(ic, 2 * (R - j) - 1, k), v));
                }
                butterfly<R, Direction::Backward>(a, y);
                store(y[0], ch(i - 1, k, 0), ch(i, k, 0), v);
                for (int j = 1; j < R; ++j) {
                    const float* w = wa + (j - 1) * ido + i - 2;
                    store(rotate<Direction::Backward>(w[0], w[1], y[j]), ch(i - 1, k, j), ch(i, k, j), v);
                }
            }
        }
    }
}

// ---------------------------------------------------------------- forward passes

template <int L>
void radf2(int ido, int l1, float* ccp, float* chp, const float* wa) {
    const Cube<L> cc{ccp, ido, l1}, ch{chp, ido, 2};
    for (int k = 0; k < l1; ++k) {
        VOREL_FFT_LANES
        for (int v = 0; v < L; ++v) {
            ch(0, 0, k)[v] = cc(0, k, 0)[v] + cc(0, k, 1)[v];
            ch(ido - 1, 1, k)[v] = cc(0, k, 0)[v] - cc(0, k, 1)[v];
        }
    }
    if (ido < 2) return;
    if (ido > 2) {
        forwardValues<2, L>(ido, l1, cc, ch, wa);
        if (ido % 2 == 1) return;
    }
    for (int k = 0; k < l1; ++k) {
        VOREL_FFT_LANES
        for (int v = 0; v < L; ++v) {
            ch(0, 1, k)[v] = -cc(ido - 1, k, 1)[v];
            ch(ido - 1, 0, k)[v] = cc(ido - 1, k, 0)[v];
        }
    }
}

template <int L>
void radf3(int ido, int l1, float* ccp, float* chp, const float* wa) {
    const Cube<L> cc{ccp, ido, l1}, ch{chp, ido, 3};
    for (int k = 0; k < l1; ++k) {
        VOREL_FFT_LANES
        for (int v = 0; v < L; ++v) {
            const float cr2 = cc(0, k, 1)[v] + cc(0, k, 2)[v];
            ch(0, 0, k)[v] = cc(0, k, 0)[v] + cr2;
            ch(0, 2, k)[v] = kTaui * (cc(0, k, 2)[v] - cc(0, k, 1)[v]);
            ch(ido - 1, 1, k)[v] = cc(0, k, 0)[v] + kTaur * cr2;
        }
    }
    if (ido == 1) return;
    forwardValues<3, L>(ido, l1, cc, ch, wa);
}

template <int L>
void radf4(int ido, int l1, float* ccp, float* chp, const float* wa) {
    const Cube<L> cc{ccp, ido, l1}, ch{chp, ido, 4};
    for (int k = 0; k < l1; ++k) {
        VOREL_FFT_LANES
        for (int v = 0; v < L; ++v) {
            const float tr1 = cc(0, k, 1)[v] + cc(0, k, 3)[v];
            const float tr2 = cc(0, k, 0)[v] + cc(0, k, 2)[v];
            ch(0, 0, k)[v] = tr1 + tr2;
            ch(ido - 1, 3, k)[v] = tr2 - tr1;
            ch(ido - 1, 1, k)[v] = cc(0, k, 0)[v] - cc(0, k, 2)[v];
            ch(0, 2, k)[v] = cc(0, k, 3)[v] - cc(0, k, 1)[v];
        }
    }
    if (ido < 2) return;
    if (ido > 2) {
        forwardValues<4, L>(ido, l1, cc, ch, wa);
        if (ido % 2 == 1) return;
    }
    for (int k = 0; k < l1; ++k) {
        VOREL_FFT_LANES
        for (int v = 0; v < L; ++v) {
            const float ti1 = -kHalfSqrt2 * (cc(ido - 1, k, 1)[v] + cc(ido - 1, k, 3)[v]);
            const float tr1 = kHalfSqrt2 * (cc(ido - 1, k, 1)[v] - cc(ido - 1, k, 3)[v]);
            ch(ido - 1, 0, k)[v] = tr1 + cc(ido - 1, k, 0)[v];
            ch(ido - 1, 2, k)[v] = cc(ido - 1, k, 0)[v] - tr1;
            ch(0, 1, k)[v] = ti1 - cc(ido - 1, k, 2)[v];
            ch(0, 3, k)[v] = ti1 + cc(ido - 1, k, 2)[v];
        }
    }
}

template <int L>
void radf5(int ido, int l1, float* ccp, float* chp, const float* wa) {
    const Cube<L> cc{ccp, ido, l1}, ch{chp, ido, 5};
    for (int k = 0; k < l1; ++k) {
        VOREL_FFT_LANES
        for (int v = 0; v < L; ++v) {
            const float cr2 = cc(0, k, 4)[v] + cc(0, k, 1)[v];
            const float ci5 = cc(0, k, 4)[v] - cc(0, k, 1)[v];
            const float cr3 = cc(0, k, 3)[v] + cc(0, k, 2)[v];
            const float ci4 = cc(0, k, 3)[v] - cc(0, k, 2)[v];
            ch(0, 0, k)[v] = cc(0, k, 0)[v] + cr2 + cr3;
            ch(ido - 1, 1, k)[v] = cc(0, k, 0)[v] + kTr11 * cr2 + kTr12 * cr3;
            ch(0, 2, k)[v] = kTi11 * ci5 + kTi12 * ci4;
            ch(ido - 1, 3, k)[v] = cc(0, k, 0)[v] + kTr12 * cr2 + kTr11 * cr3;
            ch(0, 4, k)[v] = kTi12 * ci5 - kTi11 * ci4;
        }
    }
    if (ido == 1) return;
    forwardValues<5, L>(ido, l1, cc, ch, wa);
}

// The general real passes' combinations of the ip planes with the cosines and the
// sines of the factor's angle, which they build by recurrence (their rounding grows
// with ip): to(l) = from(0) + sum of cos(l j a) from(j), to(ip - l) = sum of sin(l j a)
// from(ip - j), for l, j = 1 ... (ip - 1) / 2.
template <int L>
void combineByRoots(int ip, int idl1, const Plane<L>& from, const Plane<L>& to) {
    const float arg = kTwoPi / static_cast<float>(ip);
    const float dcp = std::cos(arg);
    const float dsp = std::sin(arg);
    const int ipph = (ip + 1) / 2;
    const int planeSize = idl1 * L;
    float ar1 = 1.0f, ai1 = 0.0f;
    for (int l = 1; l < ipph; ++l) {
        const int lc = ip - l;
        const float ar1h = dcp * ar1 - dsp * ai1;
        ai1 = dcp * ai1 + dsp * ar1;
        ar1 = ar1h;
        {
            float *out = to(0, l), *outC = to(0, lc);
            const float *in0 = from(0, 0), *in1 = from(0, 1), *inLast = from(0, ip - 1);
            VOREL_FFT_LANES
            for (int e = 0; e < planeSize; ++e) {
                out[e] = in0[e] + ar1 * in1[e];
                outC[e] = ai1 * inLast[e];
            }
        }
        const float dc2 = ar1, ds2 = ai1;
        float ar2 = ar1, ai2 = ai1;
        for (int j = 2; j < ipph; ++j) {
            const int jc = ip - j;
            const float ar2h = dc2 * ar2 - ds2 * ai2;
            ai2 = dc2 * ai2 + ds2 * ar2;
            ar2 = ar2h;
            float *out = to(0, l), *outC = to(0, lc);
            const float *in = from(0, j), *inC = from(0, jc);
            VOREL_FFT_LANES
            for (int e = 0; e < planeSize; ++e) {
                out[e] = out[e] + ar2 * in[e];
                outC[e] = outC[e] + ai2 * inC[e];
            }
        }
    }
}

// Any odd factor. The input is in cc (viewed also as c1 and c2), which receives the
// result; ch (also ch2) is scratch. With ido = 1 the caller passes the arrays the
// other way round, as the input is then read from ch.
template <int L>
void radfg(int ido, int ip, int l1, int idl1, float* ccp, float* chp, const float* wa) {
    const Cube<L> cc{ccp, ido, ip}, c1{ccp, ido, l1}, ch{chp, ido, l1};
    const Plane<L> c2{ccp, idl1}, ch2{chp, idl1};
    const int ipph = (ip + 1) / 2;

    if (ido != 1) {
        twiddleRuns<Direction::Forward, L>(ido, ip, l1, 1, ccp, chp, wa);
        for (int j = 1; j < ipph; ++j) {
            const int jc = ip - j;
            for (int k = 0; k < l1; ++k) {
                for (int i = 2; i < ido; i += 2) {
                    VOREL_FFT_LANES
                    for (int v = 0; v < L; ++v) {
                        c1(i - 1, k, j)[v] = ch(i - 1, k, j)[v] + ch(i - 1, k, jc)[v];
                        c1(i - 1, k, jc)[v] = ch(i, k, j)[v] - ch(i, k, jc)[v];
                        c1(i, k, j)[v] = ch(i, k, j)[v] + ch(i, k, jc)[v];
                        c1(i, k, jc)[v] = ch(i - 1, k, jc)[v] - ch(i - 1, k, j)[v];
                    }
                }
            }
        }
    } else {
        copyElements<L>(ch2(0, 0), c2(0, 0), idl1);
    }
    for (int j = 1; j < ipph; ++j) {
        const int jc = ip - j;
        for (int k = 0; k < l1; ++k) {
            VOREL_FFT_LANES
            for (int v = 0; v < L; ++v) {
                c1(0, k, j)[v] = ch(0, k, j)[v] + ch(0, k, jc)[v];
                c1(0, k, jc)[v] = ch(0, k, jc)[v] - ch(0, k, j)[v];
            }
        }
    }

    combineByRoots<L>(ip, idl1, c2, ch2);
    addPlanes<L>(c2, ipph, idl1, ch2(0, 0));

    for (int k = 0; k < l1; ++k) copyElements<L>(ch(0, k, 0), cc(0, 0, k), ido);
    for (int j = 1; j < ipph; ++j) {
        const int jc = ip - j;
        for (int k = 0; k < l1; ++k) {
            VOREL_FFT_LANES
            for (int v = 0; v < L; ++v) {
                cc(ido - 1, 2 * j - 1, k)[v] = ch(0, k, j)[v];
                cc(0, 2 * j, k)[v] = ch(0, k, jc)[v];
            }
        }
    }
    if (ido == 1) return;
    for (int j = 1; j < ipph; ++j) {
        const int jc = ip - j;
        for (int k = 0; k < l1; ++k) {
            for (int i = 2; i < ido; i += 2) {
                const int ic = ido - i;
                VOREL_FFT_LANES
                for (int v = 0; v < L; ++v) {
                    cc(i - 1, 2 * j, k)[v] = ch(i - 1, k, j)[v] + ch(i - 1, k, jc)[v];
                    cc(ic - 1, 2 * j - 1, k)[v] = ch(i - 1, k, j)[v] - ch(i - 1, k, jc)[v];
                    cc(i, 2 * j, k)[v] = ch(i, k, j)[v] + ch(i, k, jc)[v];
                    cc(ic, 2 * j - 1, k)[v] = ch(i, k, jc)[v] - ch(i, k, j)[v];
                }
            }
        }
    }
}

// --------------------------------------------------------------- backward passes

template <int L>
void radb2(int ido, int l1, float* ccp, float* chp, const float* wa) {
    const Cube<L> cc{ccp, ido, 2}, ch{chp, ido, l1};
    for (int k = 0; k < l1; ++k) {
        VOREL_FFT_LANES
        for (int v = 0; v < L; ++v) {
            ch(0, k, 0)[v] = cc(0, 0, k)[v] + cc(ido - 1, 1, k)[v];
            ch(0, k, 1)[v] = cc(0, 0, k)[v] - cc(ido - 1, 1, k)[v];
        }
    }
    if (ido < 2) return;
    if (ido > 2) {
        backwardValues<2, L>(ido, l1, cc, ch, wa);
        if (ido % 2 == 1) return;
    }
    for (int k = 0; k < l1; ++k) {
        VOREL_FFT_LANES
        for (int v = 0; v < L; ++v) {
            ch(ido - 1, k, 0)[v] = cc(ido - 1, 0, k)[v] + cc(ido - 1, 0, k)[v];
            ch(ido - 1, k, 1)[v] = -(cc(0, 1, k)[v] + cc(0, 1, k)[v]);
        }
    }
}

template <int L>
void radb3(int ido, int l1, float* ccp, float* chp, const float* wa) {
    const Cube<L> cc{ccp, ido, 3}, ch{chp, ido, l1};
    for (int k = 0; k < l1; ++k) {
        VOREL_FFT_LANES
        for (int v = 0; v < L; ++v) {
            const float tr2 = cc(ido - 1, 1, k)[v] + cc(ido - 1, 1, k)[v];
            const float cr2 = cc(0, 0, k)[v] + kTaur * tr2;
            ch(0, k, 0)[v] = cc(0, 0, k)[v] + tr2;
            const float ci3 = kTaui * (cc(0, 2, k)[v] + cc(0, 2, k)[v]);
            ch(0, k, 1)[v] = cr2 - ci3;
            ch(0, k, 2)[v] = cr2 + ci3;
        }
    }
    if (ido == 1) return;
    backwardValues<3, L>(ido, l1, cc, ch, wa);
}

template <int L>
void radb4(int ido, int l1, float* ccp, float* chp, const float* wa) {
    const Cube<L> cc{ccp, ido, 4}, ch{chp, ido, l1};
    for (int k = 0; k < l1; ++k) {
        VOREL_FFT_LANES
        for (int v = 0; v < L; ++v) {
            const float tr1 = cc(0, 0, k)[v] - cc(ido - 1, 3, k)[v];
            const float tr2 = cc(0, 0, k)[v] + cc(ido - 1, 3, k)[v];
            const float tr3 = cc(ido - 1, 1, k)[v] + cc(ido - 1, 1, k)[v];
            const float tr4 = cc(0, 2, k)[v] + cc(0, 2, k)[v];
            ch(0, k, 0)[v] = tr2 + tr3;
            ch(0, k, 1)[v] = tr1 - tr4;
            ch(0, k, 2)[v] = tr2 - tr3;
            ch(0, k, 3)[v] = tr1 + tr4;
        }
    }
    if (ido < 2) return;
    if (ido > 2) {
        backwardValues<4, L>(ido, l1, cc, ch, wa);
        if (ido % 2 == 1) return;
    }
    for (int k = 0; k < l1; ++k) {
        VOREL_FFT_LANES
        for (int v = 0; v < L; ++v) {
            const float ti1 = cc(0, 1, k)[v] + cc(0, 3, k)[v];
            const float ti2 = cc(0, 3, k)[v] - cc(0, 1, k)[v];
            const float tr1 = cc(ido - 1, 0, k)[v] - cc(ido - 1, 2, k)[v];
            const float tr2 = cc(ido - 1, 0, k)[v] + cc(ido - 1, 2, k)[v];
            ch(ido - 1, k, 0)[v] = tr2 + tr2;
            ch(ido - 1, k, 1)[v] = kSqrt2 * (tr1 - ti1);
            ch(ido - 1, k, 2)[v] = ti2 + ti2;
            ch(ido - 1, k, 3)[v] = -kSqrt2 * (tr1 + ti1);
        }
    }
}

template <int L>
void radb5(int ido, int l1, float* ccp, float* chp, const float* wa) {
    const Cube<L> cc{ccp, ido, 5}, ch{chp, ido, l1};
    for (int k = 0; k < l1; ++k) {
        VOREL_FFT_LANES
        for (int v = 0; v < L; ++v) {
            const float ti5 = cc(0, 2, k)[v] + cc(0, 2, k)[v];
            const float ti4 = cc(0, 4, k)[v] + cc(0, 4, k)[v];
            const float tr2 = cc(ido - 1, 1, k)[v] + cc(ido - 1, 1, k)[v];
            const float tr3 = cc(ido - 1, 3, k)[v] + cc(ido - 1, 3, k)[v];
            ch(0, k, 0)[v] = cc(0, 0, k)[v] + tr2 + tr3;
            const float cr2 = cc(0, 0, k)[v] + kTr11 * tr2 + kTr12 * tr3;
            const float cr3 = cc(0, 0, k)[v] + kTr12 * tr2 + kTr11 * tr3;
            const float ci5 = kTi11 * ti5 + kTi12 * ti4;
            const float ci4 = kTi12 * ti5 - kTi11 * ti4;
            ch(0, k, 1)[v] = cr2 - ci5;
            ch(0, k, 2)[v] = cr3 - ci4;
            ch(0, k, 3)[v] = cr3 + ci4;
            ch(0, k, 4)[v] = cr2 + ci5;
        }
    }
    if (ido == 1) return;
    backwardValues<5, L>(ido, l1, cc, ch, wa);
}

// Any odd factor. The input is in cc; the result lands in ch, and for ido > 1 is
// copied back into cc (viewed as c1 and c2), ch then being scratch.
template <int L>
void radbg(int ido, int ip, int l1, int idl1, float* ccp, float* chp, const float* wa) {
    const Cube<L> cc{ccp, ido, ip}, c1{ccp, ido, l1}, ch{chp, ido, l1};
    const Plane<L> c2{ccp, idl1}, ch2{chp, idl1};
    const int ipph = (ip + 1) / 2;

    for (int k = 0; k < l1; ++k) copyElements<L>(cc(0, 0, k), ch(0, k, 0), ido);
    for (int j = 1; j < ipph; ++j) {
        const int jc = ip - j;
        for (int k = 0; k < l1; ++k) {
            VOREL_FFT_LANES
            for (int v = 0; v < L; ++v) {
                ch(0, k, j)[v] = cc(ido - 1, 2 * j - 1, k)[v] + cc(ido - 1, 2 * j - 1, k)[v];
                ch(0, k, jc)[v] = cc(0, 2 * j, k)[v] + cc(0, 2 * j, k)[v];
            }
        }
    }
    if (ido != 1) {
        for (int j = 1; j < ipph; ++j) {
            const int jc = ip - j;
            for (int k = 0; k < l1; ++k) {
                for (int i = 2; i < ido; i += 2) {
                    const int ic = ido - i;
                    VOREL_FFT_LANES
                    for (int v = 0; v < L; ++v) {
                        ch(i - 1, k, j)[v] = cc(i - 1, 2 * j, k)[v] + cc(ic - 1, 2 * j - 1, k)[v];
                        ch(i - 1, k, jc)[v] = cc(i - 1, 2 * j, k)[v] - cc(ic - 1, 2 * j - 1, k)[v];
                        ch(i, k, j)[v] = cc(i, 2 * j, k)[v] - cc(ic, 2 * j - 1, k)[v];
                        ch(i, k, jc)[v] = cc(i, 2 * j, k)[v] + cc(ic, 2 * j - 1, k)[v];
                    }
                }
            }
        }
    }

    combineByRoots<L>(ip, idl1, ch2, c2);
    addPlanes<L>(ch2, ipph, idl1, ch2(0, 0));
    for (int j = 1; j < ipph; ++j) {
        const int jc = ip - j;
        for (int k = 0; k < l1; ++k) {
            VOREL_FFT_LANES
            for (int v = 0; v < L; ++v) {
                ch(0, k, j)[v] = c1(0, k, j)[v] - c1(0, k, jc)[v];
                ch(0, k, jc)[v] = c1(0, k, j)[v] + c1(0, k, jc)[v];
            }
        }
    }
    if (ido == 1) return;
    for (int j = 1; j < ipph; ++j) {
        const int jc = ip - j;
        for (int k = 0; k < l1; ++k) {
            for (int i = 2; i < ido; i += 2) {
                VOREL_FFT_LANES
                for (int v = 0; v < L; ++v) {
                    ch(i - 1, k, j)[v] = c1(i - 1, k, j)[v] - c1(i, k, jc)[v];
                    ch(i - 1, k, jc)[v] = c1(i - 1, k, j)[v] + c1(i, k, jc)[v];
                    ch(i, k, j)[v] = c1(i, k, j)[v] + c1(i - 1, k, jc)[v];
                    ch(i, k, jc)[v] = c1(i, k, j)[v] - c1(i - 1, k, jc)[v];
                }
            }
        }
    }

    twiddleRuns<Direction::Backward, L>(ido, ip, l1, 1, chp, ccp, wa);
}

// ------------------------------------------------------------------- transforms

// The factors from the last recorded to the first; each pass writes into the other
// buffer, so the result may end in the scratch and is then copied back.
template <int L>
void forwardReal(const int* factors, float* c, float* ch, const float* wa) {
    const int n = factors[0];
    const int nf = factors[1];
    if (nf == 0) return;
    bool inData = true;
    int l2 = n;
    int iw = n - 1;
    for (int k1 = nf - 1; k1 >= 0; --k1) {
        const int ip = factors[k1 + 2];
        const int l1 = l2 / ip;
        const int ido = n / l2;
        iw -= (ip - 1) * ido;
        float* in = inData ? c : ch;
        float* out = inData ? ch : c;
        const float* w = wa + iw;
        switch (ip) {
            case 4: radf4<L>(ido, l1, in, out, w); break;
            case 2: radf2<L>(ido, l1, in, out, w); break;
            case 3: radf3<L>(ido, l1, in, out, w); break;
            case 5: radf5<L>(ido, l1, in, out, w); break;
            default:
                if (ido == 1) {
                    radfg<L>(ido, ip, l1, ido * l1, out, in, w);  // reads `in` as its scratch
                } else {
                    radfg<L>(ido, ip, l1, ido * l1, in, out, w);  // result back in `in`
                    inData = !inData;
                }
                break;
        }
        inData = !inData;
        l2 = l1;
    }
    if (!inData) copyElements<L>(ch, c, n);
}

template <int L>
void backwardReal(const int* factors, float* c, float* ch, const float* wa) {
    applyFactors<L>(factors, 1, c, ch, wa, [](int ip, int ido, int l1, float* in, float* out, const float* w) {
        switch (ip) {
            case 4: radb4<L>(ido, l1, in, out, w); return true;
            case 2: radb2<L>(ido, l1, in, out, w); return true;
            case 3: radb3<L>(ido, l1, in, out, w); return true;
            case 5: radb5<L>(ido, l1, in, out, w); return true;
            default: radbg<L>(ido, ip, l1, ido * l1, in, out, w); return ido == 1;  // else copied back into `in`
        }
    });
}

}  // namespace

void fftForwardReal(const FftPlan& plan, float* data) {
    const int n = plan.factors[0];
    forwardReal<1>(plan.factors, data, plan.work, plan.work + n);
}

void fftBackwardReal(const FftPlan& plan, float* data) {
    const int n = plan.factors[0];
    backwardReal<1>(plan.factors, data, plan.work, plan.work + n);
}

VOREL_DISPATCH_AVX2 void fftForwardRealBatch(const FftPlan& plan, float* data, float* scratch) {
    forwardReal<kFftBatch>(plan.factors, data, scratch, plan.work + plan.factors[0]);
}

VOREL_DISPATCH_AVX2 void fftBackwardRealBatch(const FftPlan& plan, float* data, float* scratch) {
    backwardReal<kFftBatch>(plan.factors, data, scratch, plan.work + plan.factors[0]);
}

}  // namespace vision
}  // namespace vorel
