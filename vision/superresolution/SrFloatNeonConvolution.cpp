// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatNeonConvolution.h"

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

// Kernels of up to this many taps; a spread row has half as many zeros on each side.
constexpr int kMaxTaps = 16;
constexpr int kPadding = kMaxTaps / 2;

// The work matrix holds the masked frame and one zero-padded work row at least.
int workRows(int width, int height, int kernelHeight, int lowWidth, int lowHeight) {
    const int needed = lowWidth * lowHeight + lowWidth + 2 * kPadding;
    const int columns = std::max(width, 1);
    return std::max(height + kernelHeight - 1, (needed + columns - 1) / columns);
}

// out[j] = sum over t of rows[t][j] * taps[t], t ascending: the first term is
// stored, the others accumulate, so `out` needs no clearing.
void combineRows(const float* const* rows, const float* taps, int terms, int count, float* out) {
    int j = 0;
    for (; j + 4 <= count; j += 4) {
        float32x4_t sum = vmulq_f32(vld1q_f32(rows[0] + j), vdupq_n_f32(taps[0]));
        for (int t = 1; t < terms; ++t) sum = vmlaq_f32(sum, vld1q_f32(rows[t] + j), vdupq_n_f32(taps[t]));
        vst1q_f32(out + j, sum);
    }
    for (; j < count; ++j) {
        float sum = rows[0][j] * taps[0];
        for (int t = 1; t < terms; ++t) sum += rows[t][j] * taps[t];
        out[j] = sum;
    }
}

// One full-size row from its zero-padded work row: columns 2m and 2m + 1 take
// taps 2n and 2n + 1 of sample m - n. Four outputs at a time: the sample pair
// (a, b) widened to (a, a, b, b) times the tap pair (k2n, k2n+1, k2n, k2n+1),
// tap pairs in ascending order; `pairs` holds those tap vectors.
template <bool Accumulate>
void spreadRow(const float* work, const float32x4_t* pairs, int pairCount, const float* kernelX, int kernelWidth,
               int fullWidth, float* out) {
    auto widened = [work](int m) { return vcombine_f32(vdup_n_f32(work[m]), vdup_n_f32(work[m + 1])); };
    int c = 0;
    for (; c + 4 <= fullWidth; c += 4) {
        const int m = c / 2;
        float32x4_t sum =
            Accumulate ? vmlaq_f32(vld1q_f32(out + c), widened(m), pairs[0]) : vmulq_f32(widened(m), pairs[0]);
        for (int n = 1; n < pairCount; ++n) sum = vmlaq_f32(sum, widened(m - n), pairs[n]);
        vst1q_f32(out + c, sum);
    }
    for (; c < fullWidth; ++c) {
        const int m = c / 2, p = c % 2;
        float sum = Accumulate ? out[c] : 0.0f;
        for (int k = p; k < kernelWidth; k += 2) sum += work[m - k / 2] * kernelX[k];
        out[c] = sum;
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

void SrFloatNeonConvolution::fullConvFromSparse(float* in, float* kernelX, float* kernelY, float* mask, float* out) {
    backProject<false>(in, kernelX, kernelY, mask, out);
}

void SrFloatNeonConvolution::addFullConvFromSparse(float* in, float* kernelX, float* kernelY, float* mask, float* out) {
    backProject<true>(in, kernelX, kernelY, mask, out);
}

// Row by row: the vertical taps that reach full-size row r make one work row,
// which the horizontal pass spreads into row r while it is still in cache.
template <bool Accumulate>
void SrFloatNeonConvolution::backProject(const float* in, const float* kernelX, const float* kernelY, const float* mask,
                                         float* out) {
    const int lowSize = lowWidth * lowHeight;
    float* masked = workData;
    int p = 0;
    for (; p + 4 <= lowSize; p += 4) vst1q_f32(masked + p, vmulq_f32(vld1q_f32(in + p), vld1q_f32(mask + p)));
    for (; p < lowSize; ++p) masked[p] = in[p] * mask[p];

    float* spread = masked + lowSize + kPadding;
    std::fill(spread - kPadding, spread, 0.0f);
    std::fill(spread + lowWidth, spread + lowWidth + kPadding, 0.0f);

    float32x4_t pairs[kMaxTaps / 2];
    const int pairCount = (kernelWidth + 1) / 2;
    for (int n = 0; n < pairCount; ++n) {
        const float even = kernelX[2 * n];
        const float odd = 2 * n + 1 < kernelWidth ? kernelX[2 * n + 1] : 0.0f;
        const float pair[4] = {even, odd, even, odd};
        pairs[n] = vld1q_f32(pair);
    }

    const float* rows[kMaxTaps];
    float taps[kMaxTaps];
    for (int r = 0; r < fullHeight; ++r) {
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
        combineRows(rows, taps, terms, lowWidth, spread);
        spreadRow<Accumulate>(spread, pairs, pairCount, kernelX, kernelWidth, fullWidth, outRow);
    }
}

// Horizontal pass first: vld2q_f32 splits a full-size row into its even and odd
// columns, so the four outputs of one load lie on the sparse grid (step 2).
void SrFloatNeonConvolution::validCorrToSparse(float* in, float* kernelX, float* kernelY, float* out) {
    for (int r = 0; r < fullHeight; ++r) {
        const float* row = in + static_cast<std::size_t>(r) * fullWidth;
        float* work = workData + static_cast<std::size_t>(r) * lowWidth;
        int j = 0;
        for (; j + 4 <= lowWidth; j += 4) {
            float32x4x2_t columns = vld2q_f32(row + 2 * j);
            float32x4_t sum = vmulq_f32(columns.val[0], vdupq_n_f32(kernelX[0]));
            for (int k = 1; k < kernelWidth; ++k) {
                if (k % 2 == 0) columns = vld2q_f32(row + 2 * j + k);
                sum = vmlaq_f32(sum, columns.val[k % 2], vdupq_n_f32(kernelX[k]));
            }
            vst1q_f32(work + j, sum);
        }
        for (; j < lowWidth; ++j) {
            const float* samples = row + columnStep * j;
            float sum = samples[0] * kernelX[0];
            for (int k = 1; k < kernelWidth; ++k) sum += samples[k] * kernelX[k];
            work[j] = sum;
        }
    }
    const float* rows[kMaxTaps];
    for (int i = 0; i < lowHeight; ++i) {
        for (int k = 0; k < kernelHeight; ++k) rows[k] = workData + static_cast<std::size_t>(2 * i + k) * lowWidth;
        combineRows(rows, kernelY, kernelHeight, lowWidth, out + static_cast<std::size_t>(i) * lowWidth);
    }
}

}  // namespace vision
}  // namespace vorel
