// SPDX-License-Identifier: Proprietary
// Complex-data transform: FFTPACK's passes for the factors 2, 3, 4, 5 and any
// other odd factor, written in single precision for L lanes. The forward and the
// backward set are separate instantiations, told apart at compile time; ido counts
// floats, two per complex value.
#include "vision/superresolution/fft/Fft.h"
#include "vision/superresolution/fft/FftArrays.h"
#include "vorel/Dispatch.h"

namespace vorel {
namespace vision {

namespace {

using fft_detail::copyElements;
using fft_detail::Cube;
using fft_detail::Plane;

enum class Direction { Forward, Backward };

constexpr float kTaur = -0.5f;
constexpr float kTr11 = 0.309016994374947f;
constexpr float kTr12 = -0.809016994374947f;

// The sines change sign with the direction.
template <Direction D>
constexpr float sine(float value) {
    return D == Direction::Forward ? -value : value;
}

// (re, im) times the twiddle (wr, wi), conjugated for the forward direction.
template <Direction D>
inline void rotate(float wr, float wi, float re, float im, float* outRe, float* outIm) {
    if constexpr (D == Direction::Forward) {
        *outRe = wr * re + wi * im;
        *outIm = wr * im - wi * re;
    } else {
        *outRe = wr * re - wi * im;
        *outIm = wr * im + wi * re;
    }
}

// With one value per run (ido = 2) the passes leave out the twiddles, which
// would all be 1; a template argument, so that the lane loops stay branch-free.
template <Direction D, int L, bool Twiddled>
void pass2(int ido, int l1, float* ccp, float* chp, const float* wa1) {
    const Cube<L> cc{ccp, ido, 2}, ch{chp, ido, l1};
    for (int k = 0; k < l1; ++k) {
        for (int i = 0; i < ido; i += 2) {
            const float wr = wa1[i], wi = wa1[i + 1];
            VOREL_FFT_LANES
            for (int v = 0; v < L; ++v) {
                ch(i, k, 0)[v] = cc(i, 0, k)[v] + cc(i, 1, k)[v];
                const float tr2 = cc(i, 0, k)[v] - cc(i, 1, k)[v];
                ch(i + 1, k, 0)[v] = cc(i + 1, 0, k)[v] + cc(i + 1, 1, k)[v];
                const float ti2 = cc(i + 1, 0, k)[v] - cc(i + 1, 1, k)[v];
                if constexpr (Twiddled) {
                    rotate<D>(wr, wi, tr2, ti2, &ch(i, k, 1)[v], &ch(i + 1, k, 1)[v]);
                } else {
                    ch(i, k, 1)[v] = tr2;
                    ch(i + 1, k, 1)[v] = ti2;
                }
            }
        }
    }
}

template <Direction D, int L, bool Twiddled>
void pass3(int ido, int l1, float* ccp, float* chp, const float* wa1, const float* wa2) {
    const Cube<L> cc{ccp, ido, 3}, ch{chp, ido, l1};
    constexpr float taui = sine<D>(0.866025403784439f);
    for (int k = 0; k < l1; ++k) {
        for (int i = 0; i < ido; i += 2) {
            const float w1r = wa1[i], w1i = wa1[i + 1], w2r = wa2[i], w2i = wa2[i + 1];
            VOREL_FFT_LANES
            for (int v = 0; v < L; ++v) {
                const float tr2 = cc(i, 1, k)[v] + cc(i, 2, k)[v];
                const float cr2 = cc(i, 0, k)[v] + kTaur * tr2;
                ch(i, k, 0)[v] = cc(i, 0, k)[v] + tr2;
                const float ti2 = cc(i + 1, 1, k)[v] + cc(i + 1, 2, k)[v];
                const float ci2 = cc(i + 1, 0, k)[v] + kTaur * ti2;
                ch(i + 1, k, 0)[v] = cc(i + 1, 0, k)[v] + ti2;
                const float cr3 = taui * (cc(i, 1, k)[v] - cc(i, 2, k)[v]);
                const float ci3 = taui * (cc(i + 1, 1, k)[v] - cc(i + 1, 2, k)[v]);
                const float dr2 = cr2 - ci3;
                const float dr3 = cr2 + ci3;
                const float di2 = ci2 + cr3;
                const float di3 = ci2 - cr3;
                if constexpr (Twiddled) {
                    rotate<D>(w1r, w1i, dr2, di2, &ch(i, k, 1)[v], &ch(i + 1, k, 1)[v]);
                    rotate<D>(w2r, w2i, dr3, di3, &ch(i, k, 2)[v], &ch(i + 1, k, 2)[v]);
                } else {
                    ch(i, k, 1)[v] = dr2;
                    ch(i, k, 2)[v] = dr3;
                    ch(i + 1, k, 1)[v] = di2;
                    ch(i + 1, k, 2)[v] = di3;
                }
            }
        }
    }
}

template <Direction D, int L, bool Twiddled>
void pass4(int ido, int l1, float* ccp, float* chp, const float* wa1, const float* wa2, const float* wa3) {
    const Cube<L> cc{ccp, ido, 4}, ch{chp, ido, l1};
    for (int k = 0; k < l1; ++k) {
        for (int i = 0; i < ido; i += 2) {
            const float w1r = wa1[i], w1i = wa1[i + 1], w2r = wa2[i], w2i = wa2[i + 1];
            const float w3r = wa3[i], w3i = wa3[i + 1];
            VOREL_FFT_LANES
            for (int v = 0; v < L; ++v) {
                const float ti1 = cc(i + 1, 0, k)[v] - cc(i + 1, 2, k)[v];
                const float ti2 = cc(i + 1, 0, k)[v] + cc(i + 1, 2, k)[v];
                const float ti3 = cc(i + 1, 1, k)[v] + cc(i + 1, 3, k)[v];
                // The direction turns these two differences round.
                const float tr4 = D == Direction::Forward ? cc(i + 1, 1, k)[v] - cc(i + 1, 3, k)[v]
                                                          : cc(i + 1, 3, k)[v] - cc(i + 1, 1, k)[v];
                const float tr1 = cc(i, 0, k)[v] - cc(i, 2, k)[v];
                const float tr2 = cc(i, 0, k)[v] + cc(i, 2, k)[v];
                const float ti4 = D == Direction::Forward ? cc(i, 3, k)[v] - cc(i, 1, k)[v]
                                                          : cc(i, 1, k)[v] - cc(i, 3, k)[v];
                const float tr3 = cc(i, 1, k)[v] + cc(i, 3, k)[v];
                ch(i, k, 0)[v] = tr2 + tr3;
                const float cr3 = tr2 - tr3;
                ch(i + 1, k, 0)[v] = ti2 + ti3;
                const float ci3 = ti2 - ti3;
                const float cr2 = tr1 + tr4;
                const float cr4 = tr1 - tr4;
                const float ci2 = ti1 + ti4;
                const float ci4 = ti1 - ti4;
                if constexpr (Twiddled) {
                    rotate<D>(w1r, w1i, cr2, ci2, &ch(i, k, 1)[v], &ch(i + 1, k, 1)[v]);
                    rotate<D>(w2r, w2i, cr3, ci3, &ch(i, k, 2)[v], &ch(i + 1, k, 2)[v]);
                    rotate<D>(w3r, w3i, cr4, ci4, &ch(i, k, 3)[v], &ch(i + 1, k, 3)[v]);
                } else {
                    ch(i, k, 1)[v] = cr2;
                    ch(i, k, 2)[v] = cr3;
                    ch(i, k, 3)[v] = cr4;
                    ch(i + 1, k, 1)[v] = ci2;
                    ch(i + 1, k, 2)[v] = ci3;
                    ch(i + 1, k, 3)[v] = ci4;
                }
            }
        }
    }
}

template <Direction D, int L, bool Twiddled>
void pass5(int ido, int l1, float* ccp, float* chp, const float* wa1, const float* wa2, const float* wa3,
           const float* wa4) {
    const Cube<L> cc{ccp, ido, 5}, ch{chp, ido, l1};
    constexpr float ti11 = sine<D>(0.951056516295154f);
    constexpr float ti12 = sine<D>(0.587785252292473f);
    for (int k = 0; k < l1; ++k) {
        for (int i = 0; i < ido; i += 2) {
            const float w1r = wa1[i], w1i = wa1[i + 1], w2r = wa2[i], w2i = wa2[i + 1];
            const float w3r = wa3[i], w3i = wa3[i + 1], w4r = wa4[i], w4i = wa4[i + 1];
            VOREL_FFT_LANES
            for (int v = 0; v < L; ++v) {
                const float ti5 = cc(i + 1, 1, k)[v] - cc(i + 1, 4, k)[v];
                const float ti2 = cc(i + 1, 1, k)[v] + cc(i + 1, 4, k)[v];
                const float ti4 = cc(i + 1, 2, k)[v] - cc(i + 1, 3, k)[v];
                const float ti3 = cc(i + 1, 2, k)[v] + cc(i + 1, 3, k)[v];
                const float tr5 = cc(i, 1, k)[v] - cc(i, 4, k)[v];
                const float tr2 = cc(i, 1, k)[v] + cc(i, 4, k)[v];
                const float tr4 = cc(i, 2, k)[v] - cc(i, 3, k)[v];
                const float tr3 = cc(i, 2, k)[v] + cc(i, 3, k)[v];
                ch(i, k, 0)[v] = cc(i, 0, k)[v] + tr2 + tr3;
                ch(i + 1, k, 0)[v] = cc(i + 1, 0, k)[v] + ti2 + ti3;
                const float cr2 = cc(i, 0, k)[v] + kTr11 * tr2 + kTr12 * tr3;
                const float ci2 = cc(i + 1, 0, k)[v] + kTr11 * ti2 + kTr12 * ti3;
                const float cr3 = cc(i, 0, k)[v] + kTr12 * tr2 + kTr11 * tr3;
                const float ci3 = cc(i + 1, 0, k)[v] + kTr12 * ti2 + kTr11 * ti3;
                const float cr5 = ti11 * tr5 + ti12 * tr4;
                const float ci5 = ti11 * ti5 + ti12 * ti4;
                const float cr4 = ti12 * tr5 - ti11 * tr4;
                const float ci4 = ti12 * ti5 - ti11 * ti4;
                const float dr3 = cr3 - ci4;
                const float dr4 = cr3 + ci4;
                const float di3 = ci3 + cr4;
                const float di4 = ci3 - cr4;
                const float dr5 = cr2 + ci5;
                const float dr2 = cr2 - ci5;
                const float di5 = ci2 - cr5;
                const float di2 = ci2 + cr5;
                if constexpr (Twiddled) {
                    rotate<D>(w1r, w1i, dr2, di2, &ch(i, k, 1)[v], &ch(i + 1, k, 1)[v]);
                    rotate<D>(w2r, w2i, dr3, di3, &ch(i, k, 2)[v], &ch(i + 1, k, 2)[v]);
                    rotate<D>(w3r, w3i, dr4, di4, &ch(i, k, 3)[v], &ch(i + 1, k, 3)[v]);
                    rotate<D>(w4r, w4i, dr5, di5, &ch(i, k, 4)[v], &ch(i + 1, k, 4)[v]);
                } else {
                    ch(i, k, 1)[v] = dr2;
                    ch(i, k, 2)[v] = dr3;
                    ch(i, k, 3)[v] = dr4;
                    ch(i, k, 4)[v] = dr5;
                    ch(i + 1, k, 1)[v] = di2;
                    ch(i + 1, k, 2)[v] = di3;
                    ch(i + 1, k, 3)[v] = di4;
                    ch(i + 1, k, 4)[v] = di5;
                }
            }
        }
    }
}

// Any odd factor. The input is in cc (viewed also as c1 and c2) and ch (also ch2)
// is scratch. Returns true when the result is in ch (ido = 2), false when it went
// back into cc.
template <Direction D, int L>
bool passGeneral(int ido, int ip, int l1, int idl1, float* ccp, float* chp, const float* wa) {
    const Cube<L> cc{ccp, ido, ip}, c1{ccp, ido, l1}, ch{chp, ido, l1};
    const Plane<L> c2{ccp, idl1}, ch2{chp, idl1};
    const int ipph = (ip + 1) / 2;
    const int idp = ip * ido;
    const int planeSize = idl1 * L;

    for (int j = 1; j < ipph; ++j) {
        const int jc = ip - j;
        for (int k = 0; k < l1; ++k) {
            float *sum = ch(0, k, j), *difference = ch(0, k, jc);
            const float *a = cc(0, j, k), *b = cc(0, jc, k);
            VOREL_FFT_LANES
            for (int e = 0; e < ido * L; ++e) {
                sum[e] = a[e] + b[e];
                difference[e] = a[e] - b[e];
            }
        }
    }
    for (int k = 0; k < l1; ++k) copyElements<L>(cc(0, 0, k), ch(0, k, 0), ido);

    // The roots of unity of the factor are the first pairs of the twiddle blocks;
    // idl and idlj count from 1, as in FFTPACK.
    int inc = 0;
    for (int l = 1, idl = 2 - ido; l < ipph; ++l) {
        const int lc = ip - l;
        idl += ido;
        {
            const float wr = wa[idl - 2], wi = sine<D>(wa[idl - 1]);
            float *out = c2(0, l), *outC = c2(0, lc);
            const float *in0 = ch2(0, 0), *in1 = ch2(0, 1), *inLast = ch2(0, ip - 1);
            VOREL_FFT_LANES
            for (int e = 0; e < planeSize; ++e) {
                out[e] = in0[e] + wr * in1[e];
                outC[e] = wi * inLast[e];
            }
        }
        int idlj = idl;
        inc += ido;
        for (int j = 2; j < ipph; ++j) {
            const int jc = ip - j;
            idlj += inc;
            if (idlj > idp) idlj -= idp;
            const float war = wa[idlj - 2], wai = wa[idlj - 1];
            float *out = c2(0, l), *outC = c2(0, lc);
            const float *in = ch2(0, j), *inC = ch2(0, jc);
            VOREL_FFT_LANES
            for (int e = 0; e < planeSize; ++e) {
                out[e] = out[e] + war * in[e];
                if constexpr (D == Direction::Forward)
                    outC[e] = outC[e] - wai * inC[e];
                else
                    outC[e] = outC[e] + wai * inC[e];
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
        for (int ik = 0; ik < idl1; ik += 2) {
            VOREL_FFT_LANES
            for (int v = 0; v < L; ++v) {
                ch2(ik, j)[v] = c2(ik, j)[v] - c2(ik + 1, jc)[v];
                ch2(ik, jc)[v] = c2(ik, j)[v] + c2(ik + 1, jc)[v];
                ch2(ik + 1, j)[v] = c2(ik + 1, j)[v] + c2(ik, jc)[v];
                ch2(ik + 1, jc)[v] = c2(ik + 1, j)[v] - c2(ik, jc)[v];
            }
        }
    }
    if (ido == 2) return true;

    copyElements<L>(ch2(0, 0), c2(0, 0), idl1);
    for (int j = 1; j < ip; ++j)
        for (int k = 0; k < l1; ++k) copyElements<L>(ch(0, k, j), c1(0, k, j), 2);
    for (int j = 1, idj = 0; j < ip; ++j, idj += ido) {
        for (int k = 0; k < l1; ++k) {
            for (int i = 2, idij = idj + 2; i < ido; i += 2, idij += 2) {
                const float wr = wa[idij], wi = wa[idij + 1];
                VOREL_FFT_LANES
                for (int v = 0; v < L; ++v)
                    rotate<D>(wr, wi, ch(i, k, j)[v], ch(i + 1, k, j)[v], &c1(i, k, j)[v], &c1(i + 1, k, j)[v]);
            }
        }
    }
    return false;
}

// The factors from the first to the last, alternating between the data and the scratch.
template <Direction D, int L>
void transform(const int* factors, float* c, float* ch, const float* wa) {
    const int n = factors[0];
    const int nf = factors[1];
    if (nf == 0) return;
    bool inData = true;
    int l1 = 1;
    int iw = 0;
    for (int k1 = 0; k1 < nf; ++k1) {
        const int ip = factors[k1 + 2];
        const int l2 = ip * l1;
        const int ido = 2 * (n / l2);
        float* in = inData ? c : ch;
        float* out = inData ? ch : c;
        const float* w = wa + iw;
        bool moved = true;
        const bool twiddled = ido > 2;
        switch (ip) {
            case 4:
                if (twiddled)
                    pass4<D, L, true>(ido, l1, in, out, w, w + ido, w + 2 * ido);
                else
                    pass4<D, L, false>(ido, l1, in, out, w, w + ido, w + 2 * ido);
                break;
            case 2:
                if (twiddled)
                    pass2<D, L, true>(ido, l1, in, out, w);
                else
                    pass2<D, L, false>(ido, l1, in, out, w);
                break;
            case 3:
                if (twiddled)
                    pass3<D, L, true>(ido, l1, in, out, w, w + ido);
                else
                    pass3<D, L, false>(ido, l1, in, out, w, w + ido);
                break;
            case 5:
                if (twiddled)
                    pass5<D, L, true>(ido, l1, in, out, w, w + ido, w + 2 * ido, w + 3 * ido);
                else
                    pass5<D, L, false>(ido, l1, in, out, w, w + ido, w + 2 * ido, w + 3 * ido);
                break;
            default: moved = passGeneral<D, L>(ido, ip, l1, ido * l1, in, out, w); break;
        }
        if (moved) inData = !inData;
        l1 = l2;
        iw += (ip - 1) * ido;
    }
    if (!inData) copyElements<L>(ch, c, 2 * n);
}

}  // namespace

void fftForwardComplex(const FftPlan& plan, float* data) {
    const int n = plan.factors[0];
    transform<Direction::Forward, 1>(plan.factors, data, plan.work, plan.work + 2 * n);
}

void fftBackwardComplex(const FftPlan& plan, float* data) {
    const int n = plan.factors[0];
    transform<Direction::Backward, 1>(plan.factors, data, plan.work, plan.work + 2 * n);
}

VOREL_DISPATCH_AVX2 void fftForwardComplexBatch(const FftPlan& plan, float* data, float* scratch) {
    transform<Direction::Forward, kFftBatch>(plan.factors, data, scratch, plan.work + 2 * plan.factors[0]);
}

VOREL_DISPATCH_AVX2 void fftBackwardComplexBatch(const FftPlan& plan, float* data, float* scratch) {
    transform<Direction::Backward, kFftBatch>(plan.factors, data, scratch, plan.work + 2 * plan.factors[0]);
}

}  // namespace vision
}  // namespace vorel
