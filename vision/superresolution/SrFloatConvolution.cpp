// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatConvolution.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace vorel {
namespace vision {

namespace {

// Row spacing of the sparse grid; columns follow the factor.
constexpr int kRowStep = 2;

// Zero samples on each side of a padded work row, enough for the widest phase of a kernel.
int rowPadding(int taps) { return (taps + 1) / 2; }

// One row of the back-projection's horizontal pass for a column step of 2:
// out[2m + p] = sum over t of row[m - t] * kernel[p + 2t], taps in ascending order.
// `row` is padded with zeros so that the loop needs no bounds. Taps = 0 reads the
// tap count at run time; the production kernel size is a compile-time constant.
template <int Taps, bool Accumulate>
void scatterRowStep2(const float* row, const float* kernel, int taps, int outWidth, float* out) {
    const int n = Taps ? Taps : taps;
    const int pairs = outWidth / 2;
    for (int m = 0; m < pairs; ++m) {
        float even = row[m] * kernel[0];
        float odd = row[m] * kernel[1];
        for (int t = 1; 2 * t < n; ++t) {
            even += row[m - t] * kernel[2 * t];
            if (2 * t + 1 < n) odd += row[m - t] * kernel[2 * t + 1];
        }
        if (Accumulate) {
            out[2 * m] += even;
            out[2 * m + 1] += odd;
        } else {
            out[2 * m] = even;
            out[2 * m + 1] = odd;
        }
    }
    if (outWidth % 2) {
        float even = row[pairs] * kernel[0];
        for (int t = 1; 2 * t < n; ++t) even += row[pairs - t] * kernel[2 * t];
        if (Accumulate) out[outWidth - 1] += even;
        else out[outWidth - 1] = even;
    }
}

// Horizontal pass of the back-projection for any column step: taps scattered in
// ascending order into `scratch` (outWidth floats), then stored into `out`.
template <bool Accumulate>
void scatterRow(const float* row, int lowWidth, const float* kernel, int taps, int step, int outWidth,
                float* scratch, float* out) {
    std::fill(scratch, scratch + outWidth, 0.0f);
    for (int k = 0; k < taps; ++k) {
        float* target = scratch + k;
        for (int j = 0; j < lowWidth; ++j) target[step * j] += row[j] * kernel[k];
    }
    for (int c = 0; c < outWidth; ++c) {
        if (Accumulate) out[c] += scratch[c];
        else out[c] = scratch[c];
    }
}

// One row of the adjoint's horizontal pass: out[j] = sum over k of in[step*j + k] * kernel[k].
template <int Taps, int Step>
void gatherRow(const float* in, const float* kernel, int taps, int step, int lowWidth, float* out) {
    const int n = Taps ? Taps : taps;
    const int s = Step ? Step : step;
    for (int j = 0; j < lowWidth; ++j) {
        const float* window = in + s * j;
        float sum = window[0] * kernel[0];
        for (int k = 1; k < n; ++k) sum += window[k] * kernel[k];
        out[j] = sum;
    }
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

}  // namespace

SrFloatConvolution::SrFloatConvolution(int width, int height, int kernelWidth, int kernelHeight, float factor)
    : width(width),
      height(height),
      kernelWidth(kernelWidth),
      kernelHeight(kernelHeight),
      fullWidth(width + kernelWidth - 1),
      fullHeight(height + kernelHeight - 1),
      factor(factor),
      workMatrix(fullHeight, width),
      workData(workMatrix[0]) {}

SrFloatConvolution::~SrFloatConvolution() { workMatrix.release(); }

void SrFloatConvolution::fullConvFromSparse(float* in, float* kernelX, float* kernelY, char* mask, float* out) {
    backProject<false>(in, kernelX, kernelY, mask, out);
}

void SrFloatConvolution::addFullConvFromSparse(float* in, float* kernelX, float* kernelY, char* mask, float* out) {
    backProject<true>(in, kernelX, kernelY, mask, out);
}

// Row by row: each output row needs one vertical combination of at most
// ceil(kh / 2) masked input rows, so the intermediate is a single row that stays
// in cache. The work matrix holds the masked frame, then the padded row, then
// (for steps other than 2) a scatter row.
template <bool Accumulate>
void SrFloatConvolution::backProject(const float* in, const float* kernelX, const float* kernelY, const char* mask,
                                     float* out) {
    const int step = static_cast<int>(factor);
    const int lowWidth = static_cast<int>(width / factor);
    const int lowHeight = static_cast<int>(height / factor);
    const int lowSize = lowWidth * lowHeight;
    const int padding = rowPadding(kernelWidth);

    float* masked = workData;
    for (int p = 0; p < lowSize; ++p) masked[p] = static_cast<float>(static_cast<signed char>(mask[p])) * in[p];

    float* paddedRow = masked + lowSize;
    float* row = paddedRow + padding;
    std::fill(paddedRow, paddedRow + padding, 0.0f);
    std::fill(row + lowWidth, row + lowWidth + padding, 0.0f);
    float* scratch = row + lowWidth + padding;

    for (int r = 0; r < fullHeight; ++r) {
        // Taps k with (r - k) even and 0 <= (r - k) / 2 < h, in ascending order.
        int k = std::max(r % kRowStep, r - kRowStep * (lowHeight - 1));
        if (k < kernelHeight) {
            const float* source = masked + ((r - k) / kRowStep) * lowWidth;
            for (int j = 0; j < lowWidth; ++j) row[j] = source[j] * kernelY[k];
            for (k += kRowStep; k < kernelHeight && k <= r; k += kRowStep) {
                source -= lowWidth;
                for (int j = 0; j < lowWidth; ++j) row[j] += source[j] * kernelY[k];
            }
        } else {
            std::fill(row, row + lowWidth, 0.0f);
        }

        float* outRow = out + static_cast<std::size_t>(r) * fullWidth;
        if (step == 2 && kernelWidth == 6)
            scatterRowStep2<6, Accumulate>(row, kernelX, kernelWidth, fullWidth, outRow);
        else if (step == 2 && kernelWidth >= 2)
            scatterRowStep2<0, Accumulate>(row, kernelX, kernelWidth, fullWidth, outRow);
        else
            scatterRow<Accumulate>(row, lowWidth, kernelX, kernelWidth, step, fullWidth, scratch, outRow);
    }
}

// Output row by output row: the horizontal pass produces each intermediate row
// once into a ring of kh rows, from which the vertical pass combines kh rows.
void SrFloatConvolution::validCorrToSparse(float* in, float* kernelX, float* kernelY, float* out) {
    const int step = static_cast<int>(factor);
    const int lowWidth = static_cast<int>(width / factor);
    const int lowHeight = static_cast<int>(height / factor);

    float* ring = workData;
    int nextRow = 0;
    for (int i = 0; i < lowHeight; ++i) {
        const int first = kRowStep * i;
        for (int r = std::max(first, nextRow); r < first + kernelHeight; ++r) {
            const float* source = in + static_cast<std::size_t>(r) * fullWidth;
            float* target = ring + (r % kernelHeight) * lowWidth;
            if (step == 2 && kernelWidth == 6) gatherRow<6, 2>(source, kernelX, kernelWidth, step, lowWidth, target);
            else gatherRow<0, 0>(source, kernelX, kernelWidth, step, lowWidth, target);
        }
        nextRow = first + kernelHeight;

        float* outRow = out + i * lowWidth;
        const float* rowK = ring + (first % kernelHeight) * lowWidth;
        for (int j = 0; j < lowWidth; ++j) outRow[j] = rowK[j] * kernelY[0];
        for (int k = 1; k < kernelHeight; ++k) {
            rowK = ring + ((first + k) % kernelHeight) * lowWidth;
            for (int j = 0; j < lowWidth; ++j) outRow[j] += rowK[j] * kernelY[k];
        }
    }
}

void SrFloatConvolution::blurImageMeanFilter(cv::Mat_<float>& src, int radius, cv::Mat_<float>& dst) {
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
