// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatNeonConvolution.h"

#include "vision/superresolution/SrFloatConvolution.h"

#include "vorel/Dispatch.h"

#include <algorithm>

// ARM's four-lane intrinsics; elsewhere SIMDe supplies the same names and meanings.
#if defined(__ARM_NEON)
#include <arm_neon.h>
#else
#define SIMDE_ENABLE_NATIVE_ALIASES
#include <simde/arm/neon.h>
#endif

namespace vorel {
namespace vision {

namespace {

// Kernels of up to this many taps; a widened work row has as many zeros on each side.
constexpr int kMaxTaps = 16;
constexpr int kPadding = kMaxTaps;

// The work matrix holds the masked frame, one work row and that row widened and
// zero-padded, at least.
int workRows(int width, int height, int kernelHeight, int lowWidth, int lowHeight) {
    const int needed = lowWidth * (lowHeight + 1) + 2 * lowWidth + 2 * kPadding;
    const int columns = std::max(width, 1);
    return std::max(height + kernelHeight - 1, (needed + columns - 1) / columns);
}

// out[j] = sum over t of rows[t][j] * taps[t], t ascending: the first term is
// stored, the others added, so `out` needs no clearing. Terms > 0 is fixed
// at compile time, so that the sum stays in a register.
template <int Terms>
void combineFixed(const float* const* rows, const float* taps, int terms, int count, float* out) {
    const int n = Terms > 0 ? Terms : terms;
    // Locals, which a store to `out` cannot alias: the loop keeps them in registers.
    const float* source[Terms > 0 ? Terms : kMaxTaps];
    float32x4_t tap[Terms > 0 ? Terms : kMaxTaps];
    for (int t = 0; t < n; ++t) {
        source[t] = rows[t];
        tap[t] = vdupq_n_f32(taps[t]);
    }
    int j = 0;
    for (; j + 4 <= count; j += 4) {
        float32x4_t sum = vmulq_f32(vld1q_f32(source[0] + j), tap[0]);
        for (int t = 1; t < n; ++t) sum = vmlaq_f32(sum, vld1q_f32(source[t] + j), tap[t]);
        vst1q_f32(out + j, sum);
    }
    for (; j < count; ++j) {
        float sum = source[0][j] * taps[0];
        for (int t = 1; t < n; ++t) sum += source[t][j] * taps[t];
        out[j] = sum;
    }
}

void combineRows(const float* const* rows, const float* taps, int terms, int count, float* out) {
    switch (terms) {
        case 1: return combineFixed<1>(rows, taps, terms, count, out);
        case 2: return combineFixed<2>(rows, taps, terms, count, out);
        case 3: return combineFixed<3>(rows, taps, terms, count, out);
        case 6: return combineFixed<6>(rows, taps, terms, count, out);
        default: return combineFixed<0>(rows, taps, terms, count, out);
    }
}

// One full-size row from its widened work row, in which sample m fills floats
// 2m and 2m + 1: column c takes taps k of c's parity from float c - k, that is
// from sample (c - k) / 2. Four columns at a time: the widened pair (a, a, b, b)
// times the tap pair (k2n, k2n+1, k2n, k2n+1), tap pairs in ascending order.
template <int Pairs, bool Accumulate>
void spreadFixed(const float* widened, const float32x4_t* pairs, int pairCount, const float* kernelX, int kernelWidth,
                 int fullWidth, float* out) {
    const int n = Pairs > 0 ? Pairs : pairCount;
    float32x4_t pair[Pairs > 0 ? Pairs : kMaxTaps / 2];
    for (int q = 0; q < n; ++q) pair[q] = pairs[q];
    int c = 0;
    for (; c + 4 <= fullWidth; c += 4) {
        float32x4_t sum = Accumulate ? vmlaq_f32(vld1q_f32(out + c), vld1q_f32(widened + c), pair[0])
                                     : vmulq_f32(vld1q_f32(widened + c), pair[0]);
        for (int q = 1; q < n; ++q) sum = vmlaq_f32(sum, vld1q_f32(widened + c - 2 * q), pair[q]);
        vst1q_f32(out + c, sum);
    }
    for (; c < fullWidth; ++c) {
        float sum = Accumulate ? out[c] : 0.0f;
        for (int k = c % 2; k < kernelWidth; k += 2) sum += widened[c - k] * kernelX[k];
        out[c] = sum;
    }
}

template <bool Accumulate>
void spreadRow(const float* widened, const float32x4_t* pairs, int pairCount, const float* kernelX, int kernelWidth,
               int fullWidth, float* out) {
    if (pairCount == 3) spreadFixed<3, Accumulate>(widened, pairs, pairCount, kernelX, kernelWidth, fullWidth, out);
    else spreadFixed<0, Accumulate>(widened, pairs, pairCount, kernelX, kernelWidth, fullWidth, out);
}

// The horizontal correlation of one full-size row at the sparse-grid columns:
// vld2q_f32 splits eight floats into the even and the odd columns, so one load
// serves a tap pair of four outputs (column step 2).
template <int Taps>
void correlateFixed(const float* row, const float* kernelX, int kernelWidth, int step, int count, float* out) {
    const int taps = Taps > 0 ? Taps : kernelWidth;
    float32x4_t tap[Taps > 0 ? Taps : kMaxTaps];
    for (int k = 0; k < taps; ++k) tap[k] = vdupq_n_f32(kernelX[k]);
    int j = 0;
    for (; j + 4 <= count; j += 4) {
        float32x4x2_t columns = vld2q_f32(row + 2 * j);
        float32x4_t sum = vmulq_f32(columns.val[0], tap[0]);
        for (int k = 1; k < taps; ++k) {
            if (k % 2 == 0) columns = vld2q_f32(row + 2 * j + k);
            sum = vmlaq_f32(sum, columns.val[k % 2], tap[k]);
        }
        vst1q_f32(out + j, sum);
    }
    for (; j < count; ++j) {
        const float* samples = row + step * j;
        float sum = samples[0] * kernelX[0];
        for (int k = 1; k < taps; ++k) sum += samples[k] * kernelX[k];
        out[j] = sum;
    }
}

}  // namespace

SrFloatNeonConvolution::SrFloatNeonConvolution(int width, int height, int kernelWidth, int kernelHeight, float factor)
    : width(width),
      height(height),
      kernelWidth(kernelWidth),
      kernelHeight(kernelHeight),
      fullWidth(width + kernelWidth - 1),
      fullHeight(height + kernelHeight - 1),
      factor(factor),
      lowWidth(static_cast<int>(width / factor)),
      lowHeight(static_cast<int>(height / factor)),
      columnStep(static_cast<int>(factor)),
      workMatrix(workRows(width, height, kernelHeight, lowWidth, lowHeight), std::max(width, 1), 0.0f),
      workData(workMatrix[0]) {}

VOREL_DISPATCH_AVX2 void SrFloatNeonConvolution::fullConvFromSparse(float* in, float* kernelX, float* kernelY,
                                                                    float* mask, float* out) {
    backProject<false>(in, kernelX, kernelY, mask, out, 0, fullHeight);
}

VOREL_DISPATCH_AVX2 void SrFloatNeonConvolution::addFullConvFromSparse(float* in, float* kernelX, float* kernelY,
                                                                       float* mask, float* out) {
    backProject<true>(in, kernelX, kernelY, mask, out, 0, fullHeight);
}

VOREL_DISPATCH_AVX2 void SrFloatNeonConvolution::addFullConvFromSparseRows(const float* in, const float* kernelX,
                                                                           const float* kernelY, const float* mask,
                                                                           float* out, int firstRow, int endRow) {
    backProject<true>(in, kernelX, kernelY, mask, out, firstRow, endRow);
}

// The masked frame first; then row by row: the vertical taps that reach
// full-size row r make one work row, which is widened, each sample to (a, a)
// with vdup_n_f32 and vcombine_f32, and spread by the horizontal pass into row r
// while it is in cache.
template <bool Accumulate>
void SrFloatNeonConvolution::backProject(const float* in, const float* kernelX, const float* kernelY, const float* mask,
                                         float* out, int firstRow, int endRow) {
    const int lowSize = lowWidth * lowHeight;
    float* masked = workData;
    int firstLow = 0, endLow = 0;
    SrFloatConvolution::lowRowsReaching(firstRow, endRow, kernelHeight, lowHeight, &firstLow, &endLow);
    int p = firstLow * lowWidth;
    for (; p + 4 <= endLow * lowWidth; p += 4) vst1q_f32(masked + p, vmulq_f32(vld1q_f32(in + p), vld1q_f32(mask + p)));
    for (; p < endLow * lowWidth; ++p) masked[p] = in[p] * mask[p];

    float* combined = masked + lowSize;
    const int span = 2 * lowWidth;  // a widened row
    float* widened = combined + lowWidth + kPadding;
    std::fill(widened - kPadding, widened, 0.0f);
    std::fill(widened + span, widened + span + kPadding, 0.0f);

    float32x4_t pairs[kMaxTaps / 2];
    const int pairCount = (kernelWidth + 1) / 2;
    for (int q = 0; q < pairCount; ++q) {
        const float even = kernelX[2 * q];
        const float odd = 2 * q + 1 < kernelWidth ? kernelX[2 * q + 1] : 0.0f;
        const float pair[4] = {even, odd, even, odd};
        pairs[q] = vld1q_f32(pair);
    }

    const float* rows[kMaxTaps];
    float taps[kMaxTaps];
    for (int r = firstRow; r < endRow; ++r) {
        // Low-resolution row i feeds row 2i + t: taps t of r's parity with 0 <= (r - t) / 2 < h, ascending.
        int terms = 0;
        for (int t = std::max(r % 2, r - 2 * (lowHeight - 1)); t < std::min(kernelHeight, r + 1); t += 2) {
            rows[terms] = masked + static_cast<std::size_t>((r - t) / 2) * lowWidth;
            taps[terms++] = kernelY[t];
        }
        float* outRow = out + static_cast<std::size_t>(r) * fullWidth;
        if (terms == 0) {
            if (!Accumulate) std::fill(outRow, outRow + fullWidth, 0.0f);
            continue;
        }
        combineRows(rows, taps, terms, lowWidth, combined);
        int j = 0;
        for (; j + 2 <= lowWidth; j += 2)
            vst1q_f32(widened + 2 * j, vcombine_f32(vdup_n_f32(combined[j]), vdup_n_f32(combined[j + 1])));
        if (j < lowWidth) widened[2 * j] = widened[2 * j + 1] = combined[j];
        spreadRow<Accumulate>(widened, pairs, pairCount, kernelX, kernelWidth, fullWidth, outRow);
    }
}

// Horizontal pass first, into the work matrix, then the vertical taps of each
// sparse-grid row, taken two work rows apart.
VOREL_DISPATCH_AVX2 void SrFloatNeonConvolution::validCorrToSparse(float* in, float* kernelX, float* kernelY,
                                                                   float* out) {
    for (int r = 0; r < fullHeight; ++r) {
        const float* row = in + static_cast<std::size_t>(r) * fullWidth;
        float* work = workData + static_cast<std::size_t>(r) * lowWidth;
        if (kernelWidth == 6) correlateFixed<6>(row, kernelX, kernelWidth, columnStep, lowWidth, work);
        else correlateFixed<0>(row, kernelX, kernelWidth, columnStep, lowWidth, work);
    }
    const float* rows[kMaxTaps];
    for (int i = 0; i < lowHeight; ++i) {
        for (int k = 0; k < kernelHeight; ++k) rows[k] = workData + static_cast<std::size_t>(2 * i + k) * lowWidth;
        combineRows(rows, kernelY, kernelHeight, lowWidth, out + static_cast<std::size_t>(i) * lowWidth);
    }
}

}  // namespace vision
}  // namespace vorel
