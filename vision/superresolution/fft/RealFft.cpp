// SPDX-License-Identifier: Proprietary
// Real-data transform: FFTPACK's forward and backward passes for the factors 2,
// 3, 4, 5 and any other odd factor, written in single precision for L lanes.
#include "vision/superresolution/fft/Fft.h"
#include "vision/superresolution/fft/FftArrays.h"
#include "vorel/Dispatch.h"

#include <cmath>

namespace vorel {
namespace vision {

namespace {

using fft_detail::copyElements;
using fft_detail::Cube;
using fft_detail::kTwoPi;
using fft_detail::Plane;

constexpr float kTaur = -0.5f;
constexpr float kTaui = 0.866025403784439f;
constexpr float kTr11 = 0.309016994374947f;
constexpr float kTi11 = 0.951056516295154f;
constexpr float kTr12 = -0.809016994374947f;
constexpr float kTi12 = 0.587785252292473f;
constexpr float kHalfSqrt2 = 0.7071067811865475f;
constexpr float kSqrt2 = 1.414213562373095f;

// ---------------------------------------------------------------- forward passes

template <int L>
void radf2(int ido, int l1, float* ccp, float* chp, const float* wa1) {
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
        for (int k = 0; k < l1; ++k) {
            for (int i = 2; i < ido; i += 2) {
                const int ic = ido - i;
                const float wr = wa1[i - 2], wi = wa1[i - 1];
                VOREL_FFT_LANES
                for (int v = 0; v < L; ++v) {
                    const float tr2 = wr * cc(i - 1, k, 1)[v] + wi * cc(i, k, 1)[v];
                    const float ti2 = wr * cc(i, k, 1)[v] - wi * cc(i - 1, k, 1)[v];
                    ch(i, 0, k)[v] = cc(i, k, 0)[v] + ti2;
                    ch(ic, 1, k)[v] = ti2 - cc(i, k, 0)[v];
                    ch(i - 1, 0, k)[v] = cc(i - 1, k, 0)[v] + tr2;
                    ch(ic - 1, 1, k)[v] = cc(i - 1, k, 0)[v] - tr2;
                }
            }
        }
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
void radf3(int ido, int l1, float* ccp, float* chp, const float* wa1, const float* wa2) {
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
    for (int k = 0; k < l1; ++k) {
        for (int i = 2; i < ido; i += 2) {
            const int ic = ido - i;
            const float w1r = wa1[i - 2], w1i = wa1[i - 1], w2r = wa2[i - 2], w2i = wa2[i - 1];
            VOREL_FFT_LANES
            for (int v = 0; v < L; ++v) {
                const float dr2 = w1r * cc(i - 1, k, 1)[v] + w1i * cc(i, k, 1)[v];
                const float di2 = w1r * cc(i, k, 1)[v] - w1i * cc(i - 1, k, 1)[v];
                const float dr3 = w2r * cc(i - 1, k, 2)[v] + w2i * cc(i, k, 2)[v];
                const float di3 = w2r * cc(i, k, 2)[v] - w2i * cc(i - 1, k, 2)[v];
                const float cr2 = dr2 + dr3;
                const float ci2 = di2 + di3;
                ch(i - 1, 0, k)[v] = cc(i - 1, k, 0)[v] + cr2;
                ch(i, 0, k)[v] = cc(i, k, 0)[v] + ci2;
                const float tr2 = cc(i - 1, k, 0)[v] + kTaur * cr2;
                const float ti2 = cc(i, k, 0)[v] + kTaur * ci2;
                const float tr3 = kTaui * (di2 - di3);
                const float ti3 = kTaui * (dr3 - dr2);
                ch(i - 1, 2, k)[v] = tr2 + tr3;
                ch(ic - 1, 1, k)[v] = tr2 - tr3;
                ch(i, 2, k)[v] = ti2 + ti3;
                ch(ic, 1, k)[v] = ti3 - ti2;
            }
        }
    }
}

template <int L>
void radf4(int ido, int l1, float* ccp, float* chp, const float* wa1, const float* wa2, const float* wa3) {
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
        for (int k = 0; k < l1; ++k) {
            for (int i = 2; i < ido; i += 2) {
                const int ic = ido - i;
                const float w1r = wa1[i - 2], w1i = wa1[i - 1], w2r = wa2[i - 2], w2i = wa2[i - 1];
                const float w3r = wa3[i - 2], w3i = wa3[i - 1];
                VOREL_FFT_LANES
                for (int v = 0; v < L; ++v) {
                    const float cr2 = w1r * cc(i - 1, k, 1)[v] + w1i * cc(i, k, 1)[v];
                    const float ci2 = w1r * cc(i, k, 1)[v] - w1i * cc(i - 1, k, 1)[v];
                    const float cr3 = w2r * cc(i - 1, k, 2)[v] + w2i * cc(i, k, 2)[v];
                    const float ci3 = w2r * cc(i, k, 2)[v] - w2i * cc(i - 1, k, 2)[v];
                    const float cr4 = w3r * cc(i - 1, k, 3)[v] + w3i * cc(i, k, 3)[v];
                    const float ci4 = w3r * cc(i, k, 3)[v] - w3i * cc(i - 1, k, 3)[v];
                    const float tr1 = cr2 + cr4;
                    const float tr4 = cr4 - cr2;
                    const float ti1 = ci2 + ci4;
                    const float ti4 = ci2 - ci4;
                    const float ti2 = cc(i, k, 0)[v] + ci3;
                    const float ti3 = cc(i, k, 0)[v] - ci3;
                    const float tr2 = cc(i - 1, k, 0)[v] + cr3;
                    const float tr3 = cc(i - 1, k, 0)[v] - cr3;
                    ch(i - 1, 0, k)[v] = tr1 + tr2;
                    ch(ic - 1, 3, k)[v] = tr2 - tr1;
                    ch(i, 0, k)[v] = ti1 + ti2;
                    ch(ic, 3, k)[v] = ti1 - ti2;
                    ch(i - 1, 2, k)[v] = ti4 + tr3;
                    ch(ic - 1, 1, k)[v] = tr3 - ti4;
                    ch(i, 2, k)[v] = tr4 + ti3;
                    ch(ic, 1, k)[v] = tr4 - ti3;
                }
            }
        }
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
void radf5(int ido, int l1, float* ccp, float* chp, const float* wa1, const float* wa2, const float* wa3,
           const float* wa4) {
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
    for (int k = 0; k < l1; ++k) {
        for (int i = 2; i < ido; i += 2) {
            const int ic = ido - i;
            const float w1r = wa1[i - 2], w1i = wa1[i - 1], w2r = wa2[i - 2], w2i = wa2[i - 1];
            const float w3r = wa3[i - 2], w3i = wa3[i - 1], w4r = wa4[i - 2], w4i = wa4[i - 1];
            VOREL_FFT_LANES
            for (int v = 0; v < L; ++v) {
                const float dr2 = w1r * cc(i - 1, k, 1)[v] + w1i * cc(i, k, 1)[v];
                const float di2 = w1r * cc(i, k, 1)[v] - w1i * cc(i - 1, k, 1)[v];
                const float dr3 = w2r * cc(i - 1, k, 2)[v] + w2i * cc(i, k, 2)[v];
                const float di3 = w2r * cc(i, k, 2)[v] - w2i * cc(i - 1, k, 2)[v];
                const float dr4 = w3r * cc(i - 1, k, 3)[v] + w3i * cc(i, k, 3)[v];
                const float di4 = w3r * cc(i, k, 3)[v] - w3i * cc(i - 1, k, 3)[v];
                const float dr5 = w4r * cc(i - 1, k, 4)[v] + w4i * cc(i, k, 4)[v];
                const float di5 = w4r * cc(i, k, 4)[v] - w4i * cc(i - 1, k, 4)[v];
                const float cr2 = dr2 + dr5;
                const float ci5 = dr5 - dr2;
                const float cr5 = di2 - di5;
                const float ci2 = di2 + di5;
                const float cr3 = dr3 + dr4;
                const float ci4 = dr4 - dr3;
                const float cr4 = di3 - di4;
                const float ci3 = di3 + di4;
                ch(i - 1, 0, k)[v] = cc(i - 1, k, 0)[v] + cr2 + cr3;
                ch(i, 0, k)[v] = cc(i, k, 0)[v] + ci2 + ci3;
                const float tr2 = cc(i - 1, k, 0)[v] + kTr11 * cr2 + kTr12 * cr3;
                const float ti2 = cc(i, k, 0)[v] + kTr11 * ci2 + kTr12 * ci3;
                const float tr3 = cc(i - 1, k, 0)[v] + kTr12 * cr2 + kTr11 * cr3;
                const float ti3 = cc(i, k, 0)[v] + kTr12 * ci2 + kTr11 * ci3;
                const float tr5 = kTi11 * cr5 + kTi12 * cr4;
                const float ti5 = kTi11 * ci5 + kTi12 * ci4;
                const float tr4 = kTi12 * cr5 - kTi11 * cr4;
                const float ti4 = kTi12 * ci5 - kTi11 * ci4;
                ch(i - 1, 2, k)[v] = tr2 + tr5;
                ch(ic - 1, 1, k)[v] = tr2 - tr5;
                ch(i, 2, k)[v] = ti2 + ti5;
                ch(ic, 1, k)[v] = ti5 - ti2;
                ch(i - 1, 4, k)[v] = tr3 + tr4;
                ch(ic - 1, 3, k)[v] = tr3 - tr4;
                ch(i, 4, k)[v] = ti3 + ti4;
                ch(ic, 3, k)[v] = ti4 - ti3;
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
    const float arg = kTwoPi / static_cast<float>(ip);
    const float dcp = std::cos(arg);
    const float dsp = std::sin(arg);
    const int ipph = (ip + 1) / 2;
    const int planeSize = idl1 * L;

    if (ido != 1) {
        copyElements<L>(c2(0, 0), ch2(0, 0), idl1);
        for (int j = 1; j < ip; ++j)
            for (int k = 0; k < l1; ++k) copyElements<L>(c1(0, k, j), ch(0, k, j), 1);
        for (int j = 1, is = 0; j < ip; ++j, is += ido) {
            for (int k = 0; k < l1; ++k) {
                for (int i = 2, idij = is; i < ido; i += 2, idij += 2) {
                    const float wr = wa[idij], wi = wa[idij + 1];
                    VOREL_FFT_LANES
                    for (int v = 0; v < L; ++v) {
                        ch(i - 1, k, j)[v] = wr * c1(i - 1, k, j)[v] + wi * c1(i, k, j)[v];
                        ch(i, k, j)[v] = wr * c1(i, k, j)[v] - wi * c1(i - 1, k, j)[v];
                    }
                }
            }
        }
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

    float ar1 = 1.0f, ai1 = 0.0f;
    for (int l = 1; l < ipph; ++l) {
        const int lc = ip - l;
        const float ar1h = dcp * ar1 - dsp * ai1;
        ai1 = dcp * ai1 + dsp * ar1;
        ar1 = ar1h;
        {
            float *out = ch2(0, l), *outC = ch2(0, lc);
            const float *in0 = c2(0, 0), *in1 = c2(0, 1), *inLast = c2(0, ip - 1);
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
            float *out = ch2(0, l), *outC = ch2(0, lc);
            const float *in = c2(0, j), *inC = c2(0, jc);
            VOREL_FFT_LANES
            for (int e = 0; e < planeSize; ++e) {
                out[e] = out[e] + ar2 * in[e];
                outC[e] = outC[e] + ai2 * inC[e];
            }
        }
    }
    for (int j = 1; j < ipph; ++j) {
        float* sum = ch2(0, 0);
        const float* in = c2(0, j);
        VOREL_FFT_LANES
        for (int e = 0; e < planeSize; ++e) sum[e] = sum[e] + in[e];
    }

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
void radb2(int ido, int l1, float* ccp, float* chp, const float* wa1) {
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
        for (int k = 0; k < l1; ++k) {
            for (int i = 2; i < ido; i += 2) {
                const int ic = ido - i;
                const float wr = wa1[i - 2], wi = wa1[i - 1];
                VOREL_FFT_LANES
                for (int v = 0; v < L; ++v) {
                    ch(i - 1, k, 0)[v] = cc(i - 1, 0, k)[v] + cc(ic - 1, 1, k)[v];
                    const float tr2 = cc(i - 1, 0, k)[v] - cc(ic - 1, 1, k)[v];
                    ch(i, k, 0)[v] = cc(i, 0, k)[v] - cc(ic, 1, k)[v];
                    const float ti2 = cc(i, 0, k)[v] + cc(ic, 1, k)[v];
                    ch(i - 1, k, 1)[v] = wr * tr2 - wi * ti2;
                    ch(i, k, 1)[v] = wr * ti2 + wi * tr2;
                }
            }
        }
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
void radb3(int ido, int l1, float* ccp, float* chp, const float* wa1, const float* wa2) {
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
    for (int k = 0; k < l1; ++k) {
        for (int i = 2; i < ido; i += 2) {
            const int ic = ido - i;
            const float w1r = wa1[i - 2], w1i = wa1[i - 1], w2r = wa2[i - 2], w2i = wa2[i - 1];
            VOREL_FFT_LANES
            for (int v = 0; v < L; ++v) {
                const float tr2 = cc(i - 1, 2, k)[v] + cc(ic - 1, 1, k)[v];
                const float cr2 = cc(i - 1, 0, k)[v] + kTaur * tr2;
                ch(i - 1, k, 0)[v] = cc(i - 1, 0, k)[v] + tr2;
                const float ti2 = cc(i, 2, k)[v] - cc(ic, 1, k)[v];
                const float ci2 = cc(i, 0, k)[v] + kTaur * ti2;
                ch(i, k, 0)[v] = cc(i, 0, k)[v] + ti2;
                const float cr3 = kTaui * (cc(i - 1, 2, k)[v] - cc(ic - 1, 1, k)[v]);
                const float ci3 = kTaui * (cc(i, 2, k)[v] + cc(ic, 1, k)[v]);
                const float dr2 = cr2 - ci3;
                const float dr3 = cr2 + ci3;
                const float di2 = ci2 + cr3;
                const float di3 = ci2 - cr3;
                ch(i - 1, k, 1)[v] = w1r * dr2 - w1i * di2;
                ch(i, k, 1)[v] = w1r * di2 + w1i * dr2;
                ch(i - 1, k, 2)[v] = w2r * dr3 - w2i * di3;
                ch(i, k, 2)[v] = w2r * di3 + w2i * dr3;
            }
        }
    }
}

template <int L>
void radb4(int ido, int l1, float* ccp, float* chp, const float* wa1, const float* wa2, const float* wa3) {
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
        for (int k = 0; k < l1; ++k) {
            for (int i = 2; i < ido; i += 2) {
                const int ic = ido - i;
                const float w1r = wa1[i - 2], w1i = wa1[i - 1], w2r = wa2[i - 2], w2i = wa2[i - 1];
                const float w3r = wa3[i - 2], w3i = wa3[i - 1];
                VOREL_FFT_LANES
                for (int v = 0; v < L; ++v) {
                    const float ti1 = cc(i, 0, k)[v] + cc(ic, 3, k)[v];
                    const float ti2 = cc(i, 0, k)[v] - cc(ic, 3, k)[v];
                    const float ti3 = cc(i, 2, k)[v] - cc(ic, 1, k)[v];
                    const float tr4 = cc(i, 2, k)[v] + cc(ic, 1, k)[v];
                    const float tr1 = cc(i - 1, 0, k)[v] - cc(ic - 1, 3, k)[v];
                    const float tr2 = cc(i - 1, 0, k)[v] + cc(ic - 1, 3, k)[v];
                    const float ti4 = cc(i - 1, 2, k)[v] - cc(ic - 1, 1, k)[v];
                    const float tr3 = cc(i - 1, 2, k)[v] + cc(ic - 1, 1, k)[v];
                    ch(i - 1, k, 0)[v] = tr2 + tr3;
                    const float cr3 = tr2 - tr3;
                    ch(i, k, 0)[v] = ti2 + ti3;
                    const float ci3 = ti2 - ti3;
                    const float cr2 = tr1 - tr4;
                    const float cr4 = tr1 + tr4;
                    const float ci2 = ti1 + ti4;
                    const float ci4 = ti1 - ti4;
                    ch(i - 1, k, 1)[v] = w1r * cr2 - w1i * ci2;
                    ch(i, k, 1)[v] = w1r * ci2 + w1i * cr2;
                    ch(i - 1, k, 2)[v] = w2r * cr3 - w2i * ci3;
                    ch(i, k, 2)[v] = w2r * ci3 + w2i * cr3;
                    ch(i - 1, k, 3)[v] = w3r * cr4 - w3i * ci4;
                    ch(i, k, 3)[v] = w3r * ci4 + w3i * cr4;
                }
            }
        }
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
void radb5(int ido, int l1, float* ccp, float* chp, const float* wa1, const float* wa2, const float* wa3,
           const float* wa4) {
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
    for (int k = 0; k < l1; ++k) {
        for (int i = 2; i < ido; i += 2) {
            const int ic = ido - i;
            const float w1r = wa1[i - 2], w1i = wa1[i - 1], w2r = wa2[i - 2], w2i = wa2[i - 1];
            const float w3r = wa3[i - 2], w3i = wa3[i - 1], w4r = wa4[i - 2], w4i = wa4[i - 1];
            VOREL_FFT_LANES
            for (int v = 0; v < L; ++v) {
                const float ti5 = cc(i, 2, k)[v] + cc(ic, 1, k)[v];
                const float ti2 = cc(i, 2, k)[v] - cc(ic, 1, k)[v];
                const float ti4 = cc(i, 4, k)[v] + cc(ic, 3, k)[v];
                const float ti3 = cc(i, 4, k)[v] - cc(ic, 3, k)[v];
                const float tr5 = cc(i - 1, 2, k)[v] - cc(ic - 1, 1, k)[v];
                const float tr2 = cc(i - 1, 2, k)[v] + cc(ic - 1, 1, k)[v];
                const float tr4 = cc(i - 1, 4, k)[v] - cc(ic - 1, 3, k)[v];
                const float tr3 = cc(i - 1, 4, k)[v] + cc(ic - 1, 3, k)[v];
                ch(i - 1, k, 0)[v] = cc(i - 1, 0, k)[v] + tr2 + tr3;
                ch(i, k, 0)[v] = cc(i, 0, k)[v] + ti2 + ti3;
                const float cr2 = cc(i - 1, 0, k)[v] + kTr11 * tr2 + kTr12 * tr3;
                const float ci2 = cc(i, 0, k)[v] + kTr11 * ti2 + kTr12 * ti3;
                const float cr3 = cc(i - 1, 0, k)[v] + kTr12 * tr2 + kTr11 * tr3;
                const float ci3 = cc(i, 0, k)[v] + kTr12 * ti2 + kTr11 * ti3;
                const float cr5 = kTi11 * tr5 + kTi12 * tr4;
                const float ci5 = kTi11 * ti5 + kTi12 * ti4;
                const float cr4 = kTi12 * tr5 - kTi11 * tr4;
                const float ci4 = kTi12 * ti5 - kTi11 * ti4;
                const float dr3 = cr3 - ci4;
                const float dr4 = cr3 + ci4;
                const float di3 = ci3 + cr4;
                const float di4 = ci3 - cr4;
                const float dr5 = cr2 + ci5;
                const float dr2 = cr2 - ci5;
                const float di5 = ci2 - cr5;
                const float di2 = ci2 + cr5;
                ch(i - 1, k, 1)[v] = w1r * dr2 - w1i * di2;
                ch(i, k, 1)[v] = w1r * di2 + w1i * dr2;
                ch(i - 1, k, 2)[v] = w2r * dr3 - w2i * di3;
                ch(i, k, 2)[v] = w2r * di3 + w2i * dr3;
                ch(i - 1, k, 3)[v] = w3r * dr4 - w3i * di4;
                ch(i, k, 3)[v] = w3r * di4 + w3i * dr4;
                ch(i - 1, k, 4)[v] = w4r * dr5 - w4i * di5;
                ch(i, k, 4)[v] = w4r * di5 + w4i * dr5;
            }
        }
    }
}

// Any odd factor. The input is in cc; the result lands in ch, and for ido > 1 is
// copied back into cc (viewed as c1 and c2), ch then being scratch.
template <int L>
void radbg(int ido, int ip, int l1, int idl1, float* ccp, float* chp, const float* wa) {
    const Cube<L> cc{ccp, ido, ip}, c1{ccp, ido, l1}, ch{chp, ido, l1};
    const Plane<L> c2{ccp, idl1}, ch2{chp, idl1};
    const float arg = kTwoPi / static_cast<float>(ip);
    const float dcp = std::cos(arg);
    const float dsp = std::sin(arg);
    const int ipph = (ip + 1) / 2;
    const int planeSize = idl1 * L;

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

    float ar1 = 1.0f, ai1 = 0.0f;
    for (int l = 1; l < ipph; ++l) {
        const int lc = ip - l;
        const float ar1h = dcp * ar1 - dsp * ai1;
        ai1 = dcp * ai1 + dsp * ar1;
        ar1 = ar1h;
        {
            float *out = c2(0, l), *outC = c2(0, lc);
            const float *in0 = ch2(0, 0), *in1 = ch2(0, 1), *inLast = ch2(0, ip - 1);
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
            float *out = c2(0, l), *outC = c2(0, lc);
            const float *in = ch2(0, j), *inC = ch2(0, jc);
            VOREL_FFT_LANES
            for (int e = 0; e < planeSize; ++e) {
                out[e] = out[e] + ar2 * in[e];
                outC[e] = outC[e] + ai2 * inC[e];
            }
        }
    }
    for (int j = 1; j < ipph; ++j) {
        float* sum = ch2(0, 0);
        const float* in = ch2(0, j);
        VOREL_FFT_LANES
        for (int e = 0; e < planeSize; ++e) sum[e] = sum[e] + in[e];
    }
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

    copyElements<L>(ch2(0, 0), c2(0, 0), idl1);
    for (int j = 1; j < ip; ++j)
        for (int k = 0; k < l1; ++k) copyElements<L>(ch(0, k, j), c1(0, k, j), 1);
    for (int j = 1, is = 0; j < ip; ++j, is += ido) {
        for (int k = 0; k < l1; ++k) {
            for (int i = 2, idij = is; i < ido; i += 2, idij += 2) {
                const float wr = wa[idij], wi = wa[idij + 1];
                VOREL_FFT_LANES
                for (int v = 0; v < L; ++v) {
                    c1(i - 1, k, j)[v] = wr * ch(i - 1, k, j)[v] - wi * ch(i, k, j)[v];
                    c1(i, k, j)[v] = wr * ch(i, k, j)[v] + wi * ch(i - 1, k, j)[v];
                }
            }
        }
    }
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
            case 4: radf4<L>(ido, l1, in, out, w, w + ido, w + 2 * ido); break;
            case 2: radf2<L>(ido, l1, in, out, w); break;
            case 3: radf3<L>(ido, l1, in, out, w, w + ido); break;
            case 5: radf5<L>(ido, l1, in, out, w, w + ido, w + 2 * ido, w + 3 * ido); break;
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

// The factors from the first to the last.
template <int L>
void backwardReal(const int* factors, float* c, float* ch, const float* wa) {
    const int n = factors[0];
    const int nf = factors[1];
    if (nf == 0) return;
    bool inData = true;
    int l1 = 1;
    int iw = 0;
    for (int k1 = 0; k1 < nf; ++k1) {
        const int ip = factors[k1 + 2];
        const int l2 = ip * l1;
        const int ido = n / l2;
        float* in = inData ? c : ch;
        float* out = inData ? ch : c;
        const float* w = wa + iw;
        switch (ip) {
            case 4: radb4<L>(ido, l1, in, out, w, w + ido, w + 2 * ido); break;
            case 2: radb2<L>(ido, l1, in, out, w); break;
            case 3: radb3<L>(ido, l1, in, out, w, w + ido); break;
            case 5: radb5<L>(ido, l1, in, out, w, w + ido, w + 2 * ido, w + 3 * ido); break;
            default:
                radbg<L>(ido, ip, l1, ido * l1, in, out, w);
                if (ido != 1) inData = !inData;  // copied back into the input
                break;
        }
        inData = !inData;
        l1 = l2;
        iw += (ip - 1) * ido;
    }
    if (!inData) copyElements<L>(ch, c, n);
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
