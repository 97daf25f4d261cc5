// SPDX-License-Identifier: Proprietary
// Complex-data transform: FFTPACK's passes for the factors 2, 3, 4, 5 and any
// other odd factor, written in single precision for L lanes. The forward and the
// backward set are separate instantiations, told apart at compile time; ido counts
// floats, two per complex value.
#include "vision/superresolution/fft/Fft.h"
#include "vision/superresolution/fft/FftKernels.h"
#include "vorel/Dispatch.h"

namespace vorel {
namespace vision {

namespace {

using fft_detail::addPlanes;
using fft_detail::applyFactors;
using fft_detail::butterfly;
using fft_detail::copyElements;
using fft_detail::Cube;
using fft_detail::Direction;
using fft_detail::load;
using fft_detail::Plane;
using fft_detail::rotate;
using fft_detail::sine;
using fft_detail::store;
using fft_detail::twiddleRuns;
using fft_detail::Value;

// Radix R = 2, 3, 4 or 5: the twiddle of output j starts at wa + (j - 1) ido. With
// one value per run (ido = 2) the twiddles, all 1, are left out; a template
// argument, so that the lane loop stays branch-free.
template <int R, Direction D, int L, bool Twiddled>
void pass(int ido, int l1, float* ccp, float* chp, const float* wa) {
    const Cube<L> cc{ccp, ido, R}, ch{chp, ido, l1};
    for (int k = 0; k < l1; ++k) {
        for (int i = 0; i < ido; i += 2) {
            VOREL_FFT_LANES
            for (int v = 0; v < L; ++v) {
                Value a[R], y[R];
                for (int j = 0; j < R; ++j) a[j] = load(cc(i, j, k), cc(i + 1, j, k), v);
                butterfly<R, D>(a, y);
                store(y[0], ch(i, k, 0), ch(i + 1, k, 0), v);
                for (int j = 1; j < R; ++j) {
                    const float* w = wa + (j - 1) * ido + i;
                    store(Twiddled ? rotate<D>(w[0], w[1], y[j]) : y[j], ch(i, k, j), ch(i + 1, k, j), v);
                }
            }
        }
    }
}

template <int R, Direction D, int L>
void pass(int ido, int l1, float* in, float* out, const float* wa) {
    if (ido > 2) pass<R, D, L, true>(ido, l1, in, out, wa);
    else pass<R, D, L, false>(ido, l1, in, out, wa);
}

// Any odd factor. The input is in cc (viewed also as c1 and c2) and ch (also ch2)
// is scratch. Returns true when the result is in ch (ido = 2), false when it went
// back into cc.
template <Direction D, int L>
bool passGeneral(int ido, int ip, int l1, int idl1, float* ccp, float* chp, const float* wa) {
    const Cube<L> cc{ccp, ido, ip}, ch{chp, ido, l1};
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
                if constexpr (D == Direction::Forward) outC[e] = outC[e] - wai * inC[e];
                else outC[e] = outC[e] + wai * inC[e];
            }
        }
    }
    addPlanes<L>(ch2, ipph, idl1, ch2(0, 0));
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

    twiddleRuns<D, L>(ido, ip, l1, 2, chp, ccp, wa);
    return false;
}

template <Direction D, int L>
void transform(const int* factors, float* c, float* ch, const float* wa) {
    applyFactors<L>(factors, 2, c, ch, wa, [](int ip, int ido, int l1, float* in, float* out, const float* w) {
        switch (ip) {
            case 4: pass<4, D, L>(ido, l1, in, out, w); return true;
            case 2: pass<2, D, L>(ido, l1, in, out, w); return true;
            case 3: pass<3, D, L>(ido, l1, in, out, w); return true;
            case 5: pass<5, D, L>(ido, l1, in, out, w); return true;
            default: return passGeneral<D, L>(ido, ip, l1, ido * l1, in, out, w);
        }
    });
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
