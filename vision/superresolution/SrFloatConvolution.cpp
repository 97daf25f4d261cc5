// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatConvolution.h"

#include "vorel/Dispatch.h"

#include <algorithm>
#include <vector>

namespace vorel {
namespace vision {

namespace {

// Row spacing of the sparse grid; columns follow the factor.
constexpr int kRowStep = 2;

// Up to this many terms, combineRows keeps the sum in registers.
constexpr int kMaxFusedTerms = 6;

// out[j] = sum over t of rows[t][j] * weights[t], t ascending (or out[j] += that
// sum). The rows are contiguous, so the loop over j vectorises without shuffles.
template <int Terms, bool Accumulate>
void combineFixed(const float* const* rows, const float* weights, int length, float* __restrict out) {
    const float* source[Terms];
    float weight[Terms];
    for (int t = 0; t < Terms; ++t) {
        source[t] = rows[t];
        weight[t] = weights[t];
    }
    for (int j = 0; j < length; ++j) {
        float sum = source[0][j] * weight[0];
        for (int t = 1; t < Terms; ++t) sum += source[t][j] * weight[t];
        if (Accumulate) out[j] += sum;
        else out[j] = sum;
    }
}

template <bool Accumulate>
void combineRows(const float* const* rows, const float* weights, int terms, int length, float* out) {
    switch (terms) {
        case 0:
            if (!Accumulate) std::fill(out, out + length, 0.0f);
            return;
        case 1: return combineFixed<1, Accumulate>(rows, weights, length, out);
        case 2: return combineFixed<2, Accumulate>(rows, weights, length, out);
        case 3: return combineFixed<3, Accumulate>(rows, weights, length, out);
        case 4: return combineFixed<4, Accumulate>(rows, weights, length, out);
        case 5: return combineFixed<5, Accumulate>(rows, weights, length, out);
        case 6: return combineFixed<6, Accumulate>(rows, weights, length, out);
        default: break;
    }
    // Long kernels: the first kMaxFusedTerms in registers, the rest added in turn.
    combineFixed<kMaxFusedTerms, Accumulate>(rows, weights, length, out);
    for (int t = kMaxFusedTerms; t < terms; ++t) {
        const float* source = rows[t];
        const float weight = weights[t];
        for (int j = 0; j < length; ++j) out[j] += source[j] * weight;
    }
}

// A zero tap adds nothing, so only the others become terms: the row of tap k is
// rowOf(k). Returns the number of terms.
template <typename RowOf>
int collectTerms(const float* kernel, int first, int last, int stride, RowOf rowOf, const float** rows,
                 float* weights) {
    int terms = 0;
    for (int k = first; k < last; k += stride) {
        if (kernel[k] == 0.0f) continue;
        rows[terms] = rowOf(k);
        weights[terms] = kernel[k];
        ++terms;
    }
    return terms;
}

// Edge-truncated running mean along one row. Inside, the sum is multiplied by
// the reciprocal; at the edges it is divided by the count: they round differently.
void boxRow(const float* src, int count, int radius, float norm, float* dst) {
    float sum = 0.0f;
    for (int x = 0; x < radius; ++x) sum += src[x];
    float n = static_cast<float>(radius + 1);
    for (int x = 0; x < radius; ++x) {
        sum += src[x + radius];
        dst[x] = sum / n;
        n += 1.0f;
    }
    for (int x = radius; x < count - radius; ++x) {
        sum += src[x + radius];
        dst[x] = sum * norm;
        sum -= src[x - radius];
    }
    for (int x = count - radius; x < count; ++x) {
        n -= 1.0f;
        dst[x] = sum / n;
        sum -= src[x - radius];
    }
}

// The same running mean down every column at once, a whole row per step, so the
// inner loops run along contiguous rows. `sums` holds one running sum per column.
void boxColumns(const cv::Mat_<float>& src, int radius, float norm, float* sums, cv::Mat_<float>& dst) {
    const int rows = src.rows;
    const int cols = src.cols;
    std::fill(sums, sums + cols, 0.0f);
    for (int y = 0; y < radius; ++y) {
        const float* in = src[y];
        for (int x = 0; x < cols; ++x) sums[x] += in[x];
    }
    float n = static_cast<float>(radius + 1);
    for (int y = 0; y < rows; ++y) {
        const bool top = y < radius;
        const bool bottom = y >= rows - radius;
        if (bottom) n -= 1.0f;
        if (!bottom) {
            const float* entering = src[y + radius];
            for (int x = 0; x < cols; ++x) sums[x] += entering[x];
        }
        float* out = dst[y];
        if (top || bottom) {
            for (int x = 0; x < cols; ++x) out[x] = sums[x] / n;
        } else {
            for (int x = 0; x < cols; ++x) out[x] = sums[x] * norm;
        }
        if (top) {
            n += 1.0f;
        } else {
            const float* leaving = src[y - radius];
            for (int x = 0; x < cols; ++x) sums[x] -= leaving[x];
        }
    }
}

// Images smaller than the window: the same edge-truncated mean, summed directly.
void boxFilterDirect(const cv::Mat_<float>& src, int radius, cv::Mat_<float>& dst) {
    const cv::Mat_<float> in = src.clone();
    for (int y = 0; y < in.rows; ++y) {
        for (int x = 0; x < in.cols; ++x) {
            const int top = std::max(0, y - radius), bottom = std::min(in.rows - 1, y + radius);
            const int left = std::max(0, x - radius), right = std::min(in.cols - 1, x + radius);
            float sum = 0.0f;
            for (int v = top; v <= bottom; ++v)
                for (int u = left; u <= right; ++u) sum += in(v, u);
            dst(y, x) = sum / static_cast<float>((bottom - top + 1) * (right - left + 1));
        }
    }
}

// Rows of the work matrix: the full height, or more where a tiny frame's scratch
// (masked frame, padded row and two full rows; or kh rows and a full row) needs it.
int workRows(int width, int height, int kernelWidth, int kernelHeight, float factor) {
    const int step = static_cast<int>(factor);
    const int lowWidth = static_cast<int>(width / factor);
    const int lowHeight = static_cast<int>(height / factor);
    const int fullWidth = width + kernelWidth - 1;
    const int reach = (kernelWidth + step - 1) / step;
    const int scratch = std::max(lowWidth * lowHeight + reach - 1 + 3 * fullWidth, kernelHeight * lowWidth + fullWidth);
    const int columns = std::max(width, 1);  // a context may be created for 0 columns
    return std::max(height + kernelHeight - 1, (scratch + columns - 1) / columns);
}

}  // namespace

SrFloatConvolution::SrFloatConvolution(int width, int height, int kernelWidth, int kernelHeight, float factor)
    : width(width),
      height(height),
      kernelWidth(kernelWidth),
      kernelHeight(kernelHeight),
      fullWidth(width + kernelWidth - 1),
      fullHeight(height + kernelHeight - 1),
      factor(factor),
      workMatrix(workRows(width, height, kernelWidth, kernelHeight, factor), width),
      workData(workMatrix[0]),
      termRows(static_cast<std::size_t>(std::max(kernelWidth, kernelHeight))),
      termWeights(termRows.size()),
      phaseOffsets(static_cast<std::size_t>(static_cast<int>(factor)) + 1) {
    const int step = static_cast<int>(factor);
    phaseOffsets[0] = 0;
    for (int p = 0; p < step; ++p) phaseOffsets[p + 1] = phaseOffsets[p] + (fullWidth - p + step - 1) / step;
}

SrFloatConvolution::~SrFloatConvolution() { workMatrix.release(); }

void SrFloatConvolution::toColumnPhases(const float* row, float* phased) const {
    const int step = static_cast<int>(factor);
    if (step == 2) {
        float* even = phased;
        float* odd = phased + phaseOffsets[1];
        const int pairs = fullWidth / 2;
        for (int m = 0; m < pairs; ++m) {
            even[m] = row[2 * m];
            odd[m] = row[2 * m + 1];
        }
        if (fullWidth % 2) even[pairs] = row[fullWidth - 1];
    } else {
        for (int c = 0; c < fullWidth; ++c) phased[columnPhaseIndex(c)] = row[c];
    }
}

void SrFloatConvolution::fromColumnPhases(const float* phased, float* row) const {
    const int step = static_cast<int>(factor);
    if (step == 2) {
        const float* even = phased;
        const float* odd = phased + phaseOffsets[1];
        const int pairs = fullWidth / 2;
        for (int m = 0; m < pairs; ++m) {
            row[2 * m] = even[m];
            row[2 * m + 1] = odd[m];
        }
        if (fullWidth % 2) row[fullWidth - 1] = even[pairs];
    } else {
        for (int c = 0; c < fullWidth; ++c) row[c] = phased[columnPhaseIndex(c)];
    }
}

VOREL_DISPATCH_AVX2 void SrFloatConvolution::fullConvFromSparse(float* in, float* kernelX, float* kernelY, char* mask,
                                                                float* out) {
    backProject<false, false>(in, kernelX, kernelY, mask, out, 0, fullHeight);
}

VOREL_DISPATCH_AVX2 void SrFloatConvolution::addFullConvFromSparse(float* in, float* kernelX, float* kernelY,
                                                                   char* mask, float* out) {
    backProject<true, false>(in, kernelX, kernelY, mask, out, 0, fullHeight);
}

VOREL_DISPATCH_AVX2 void SrFloatConvolution::phasedAddFullConvFromSparse(const float* in, const float* kernelX,
                                                                         const float* kernelY, const char* mask,
                                                                         float* out) {
    backProject<true, true>(in, kernelX, kernelY, mask, out, 0, fullHeight);
}

VOREL_DISPATCH_AVX2 void SrFloatConvolution::phasedAddFullConvFromSparseRows(const float* in, const float* kernelX,
                                                                             const float* kernelY, const char* mask,
                                                                             float* out, int firstRow, int endRow) {
    backProject<true, true>(in, kernelX, kernelY, mask, out, firstRow, endRow);
}

VOREL_DISPATCH_AVX2 void SrFloatConvolution::validCorrToSparse(float* in, float* kernelX, float* kernelY, float* out) {
    correlate<false>(in, kernelX, kernelY, out);
}

VOREL_DISPATCH_AVX2 void SrFloatConvolution::phasedValidCorrToSparse(const float* in, const float* kernelX,
                                                                     const float* kernelY, float* out) {
    correlate<true>(in, kernelX, kernelY, out);
}

// The horizontal pass of the correlation for one full-size row in column-phase
// order: output j sums the taps k at column step*j + k, which lies in phase k % step.
void SrFloatConvolution::correlateRow(const float* phasedRow, const float* kernelX, float* out) {
    const int step = static_cast<int>(factor);
    const int terms = collectTerms(
        kernelX, 0, kernelWidth, 1, [&](int k) { return phasedRow + phaseOffsets[k % step] + k / step; },
        termRows.data(), termWeights.data());
    combineRows<false>(termRows.data(), termWeights.data(), terms, static_cast<int>(width / factor), out);
}

// Sparse-grid row i of the correlation. Its horizontal rows 2i + k go into a ring
// of kh rows and each is computed once; rows between the outer non-zero taps are
// computed even under a zero tap, as a later output row may need them.
template <typename PhasedRowOf>
void SrFloatConvolution::correlateGridRow(int i, const float* kernelX, const float* kernelY, PhasedRowOf phasedRowOf,
                                          float* ring, int& nextRow, float* out) {
    const int lowWidth = static_cast<int>(width / factor);
    int firstTap = 0;
    int lastTap = kernelHeight - 1;
    while (firstTap < kernelHeight && kernelY[firstTap] == 0.0f) ++firstTap;
    while (lastTap > firstTap && kernelY[lastTap] == 0.0f) --lastTap;
    const int first = kRowStep * i;
    if (firstTap < kernelHeight) {
        for (int r = std::max(nextRow, first + firstTap); r <= first + lastTap; ++r)
            correlateRow(phasedRowOf(r), kernelX, ring + (r % kernelHeight) * lowWidth);
        nextRow = first + lastTap + 1;
    }
    const int terms = collectTerms(
        kernelY, 0, kernelHeight, 1, [&](int k) { return ring + ((first + k) % kernelHeight) * lowWidth; },
        termRows.data(), termWeights.data());
    combineRows<false>(termRows.data(), termWeights.data(), terms, lowWidth, out);
}

// Full-size row r of the back-projection from the masked sparse-grid rows. Output
// column step*m + p only sees taps p, p + step, ..., so each column phase is a sum
// of contiguous rows; in column-phase order it goes straight into `outRow`.
// `spread` is a zero-padded row and `phases` one row of scratch (two for a
// row-major sum).
template <bool Accumulate, bool Phased, typename MaskedRowOf>
void SrFloatConvolution::backProjectRow(int r, const float* kernelX, const float* kernelY, MaskedRowOf maskedRowOf,
                                        float* spread, float* phases, float* outRow) {
    const int step = static_cast<int>(factor);
    const int lowWidth = static_cast<int>(width / factor);
    const int lowHeight = static_cast<int>(height / factor);
    const float** rows = termRows.data();
    float* weights = termWeights.data();
    // Taps k with (r - k) even and 0 <= (r - k) / 2 < h, in ascending order.
    const int firstTap = std::max(r % kRowStep, r - kRowStep * (lowHeight - 1));
    const int vertical = collectTerms(
        kernelY, firstTap, std::min(kernelHeight, r + 1), kRowStep,
        [&](int k) { return maskedRowOf((r - k) / kRowStep); }, rows, weights);
    if (vertical == 0) {
        if (!Accumulate) std::fill(outRow, outRow + fullWidth, 0.0f);
        return;
    }
    combineRows<false>(rows, weights, vertical, lowWidth, spread);

    float* target = Phased ? outRow : phases;
    for (int p = 0; p < step; ++p) {
        const int terms = collectTerms(
            kernelX, p, kernelWidth, step, [&](int k) { return spread - (k - p) / step; }, rows, weights);
        combineRows<Accumulate && Phased>(rows, weights, terms, phaseOffsets[p + 1] - phaseOffsets[p],
                                          target + phaseOffsets[p]);
    }
    if (!Phased) {
        // Whole rows first: adding while interleaving makes the compiler shuffle `out` too.
        float* interleaved = Accumulate ? phases + fullWidth : outRow;
        fromColumnPhases(phases, interleaved);
        if (Accumulate)
            for (int c = 0; c < fullWidth; ++c) outRow[c] += interleaved[c];
    }
}

// Low row i feeds full-size rows kRowStep * i + t for the taps t.
void SrFloatConvolution::lowRowsReaching(int firstRow, int endRow, int kernelHeight, int lowHeight, int* first,
                                         int* end) {
    *first = (std::max(0, firstRow - kernelHeight + 1) + kRowStep - 1) / kRowStep;
    *end = std::max(*first, std::min(lowHeight, (endRow + kRowStep - 1) / kRowStep));
}

// Row by row, so that every intermediate is one row that stays in cache. The
// work matrix holds the masked frame, the zero-padded spread row and phase rows.
template <bool Accumulate, bool Phased>
void SrFloatConvolution::backProject(const float* in, const float* kernelX, const float* kernelY, const char* mask,
                                     float* out, int firstRow, int endRow) {
    const int lowWidth = static_cast<int>(width / factor);
    const int lowHeight = static_cast<int>(height / factor);
    const int lowSize = lowWidth * lowHeight;
    float* masked = workData;
    // Only the rows that reach the band: bands on separate threads mask no row twice over.
    int firstLow = 0, endLow = 0;
    lowRowsReaching(firstRow, endRow, kernelHeight, lowHeight, &firstLow, &endLow);
    for (int p = firstLow * lowWidth; p < endLow * lowWidth; ++p)
        masked[p] = static_cast<float>(static_cast<signed char>(mask[p])) * in[p];
    float* spread = paddedRow(masked + lowSize);
    float* phases = spread + phaseOffsets[1];
    for (int r = firstRow; r < endRow; ++r) {
        backProjectRow<Accumulate, Phased>(
            r, kernelX, kernelY, [&](int i) { return masked + i * lowWidth; }, spread, phases,
            out + static_cast<std::size_t>(r) * fullWidth);
    }
}

// Sparse-grid row by row; a row-major input row is put in column-phase order first.
template <bool Phased>
void SrFloatConvolution::correlate(const float* in, const float* kernelX, const float* kernelY, float* out) {
    const int lowWidth = static_cast<int>(width / factor);
    float* ring = workData;
    float* phases = ring + kernelHeight * lowWidth;
    auto phasedRowOf = [&](int r) {
        const float* source = in + static_cast<std::size_t>(r) * fullWidth;
        if (Phased) return source;
        toColumnPhases(source, phases);
        return static_cast<const float*>(phases);
    };
    int nextRow = 0;
    for (int i = 0; i < static_cast<int>(height / factor); ++i)
        correlateGridRow(i, kernelX, kernelY, phasedRowOf, ring, nextRow, out + i * lowWidth);
}

// Zeroes a spread row with the padding that the phase sums reach back into, and returns its start.
float* SrFloatConvolution::paddedRow(float* buffer) const {
    const int step = static_cast<int>(factor);
    const int reach = (kernelWidth + step - 1) / step;
    std::fill(buffer, buffer + reach - 1 + phaseOffsets[1], 0.0f);
    return buffer + reach - 1;
}

VOREL_DISPATCH_AVX2 void SrFloatConvolution::blurImageMeanFilter(cv::Mat_<float>& src, int radius,
                                                                 cv::Mat_<float>& dst) {
    const int rows = src.rows;
    const int cols = src.cols;
    if (dst.dims != 2 || dst.rows != rows || dst.cols != cols || !dst.data) dst.create(rows, cols);
    if (rows < 2 * radius + 1 || cols < 2 * radius + 1) {
        boxFilterDirect(src, radius, dst);
        return;
    }
    const float norm = 1.0f / static_cast<float>(2 * radius + 1);

    // Per-thread scratch: registration filters every frame, so only the first call allocates.
    thread_local cv::Mat_<float> horizontal;
    thread_local std::vector<float> sums;
    horizontal.create(rows, cols);
    sums.resize(static_cast<std::size_t>(cols));
    for (int y = 0; y < rows; ++y) boxRow(src[y], cols, radius, norm, horizontal[y]);
    boxColumns(horizontal, radius, norm, sums.data(), dst);
}

}  // namespace vision
}  // namespace vorel
