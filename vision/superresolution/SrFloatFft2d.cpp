// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatFft2d.h"

#include "vision/superresolution/fft/Fft.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>

namespace vorel {
namespace vision {

namespace {

constexpr int L = kFftBatch;

// Closed-form approximation of the error function, in single precision.
float erfApprox(float x) {
    if (x == 0.0f) return 0.0f;
    const float a = 0.1400123f;
    const float x2 = x * x;
    if (!(x2 < FLT_MAX)) return x < 0.0f ? -1.0f : 1.0f;  // sigma 0: the limit, not inf / inf
    const float root = std::sqrt(1.0f - std::exp(-x2 * (1.2732395f + a * x2) / (1.0f + a * x2)));
    return x < 0.0f ? -root : root;
}

int wrapIndex(int i, int n) { return ((i % n) + n) % n; }

}  // namespace

SrFloatFft2d::SrFloatFft2d(int width, int height)
    : width(width),
      height(height),
      realWork(new float[fftRealWorkSize(width)]()),
      complexWork(new float[fftComplexWorkSize(height)]()),
      realFactors(),
      complexFactors(),
      lineBuffer(new float[width + 2 * height]()),
      numPlans(1),
      batch(new float[static_cast<std::size_t>(std::max(width, 2 * height)) * L]()),
      batchScratch(new float[static_cast<std::size_t>(std::max(width, 2 * height)) * L]()) {
    fftInitReal({realFactors, realWork.get()}, width);
    fftInitComplex({complexFactors, complexWork.get()}, height);
}

SrFloatFft2d::~SrFloatFft2d() = default;

namespace {

// Rows y0 ... y0 + L - 1 of the image, element x of row b at lanes[x * L + b]. Lanes
// past the last row repeat it: they are transformed but never written back.
void rowsToLanes(const float* image, int width, int height, int y0, float* lanes) {
    const float* rows[L];
    for (int b = 0; b < L; ++b) rows[b] = image + static_cast<std::size_t>(std::min(y0 + b, height - 1)) * width;
    for (int x = 0; x < width; ++x)
        for (int b = 0; b < L; ++b) lanes[x * L + b] = rows[b][x];
}

void lanesToRows(const float* lanes, int width, int count, float* rows) {
    float* row[L];
    for (int b = 0; b < L; ++b) row[b] = rows + static_cast<std::size_t>(std::min(b, count - 1)) * width;
    // Lanes past `count` write their row again, after the lane that owns it.
    for (int x = 0; x < width; ++x)
        for (int b = L - 1; b >= 0; --b) row[b][x] = lanes[x * L + b];
}

// Columns k0 ... k0 + L - 1 of a half spectrum with `columns` values a row: the
// real part of row y at lanes[2 y L + b], the imaginary part L further. Lanes past
// the last column repeat it.
void columnsToLanes(const float (*spectrum)[2], int columns, int height, int k0, float* lanes) {
    int at[L];
    for (int b = 0; b < L; ++b) at[b] = std::min(k0 + b, columns - 1);
    for (int y = 0; y < height; ++y) {
        const float(*row)[2] = spectrum + static_cast<std::size_t>(y) * columns;
        float* re = lanes + 2 * y * L;
        for (int b = 0; b < L; ++b) {
            re[b] = row[at[b]][0];
            re[L + b] = row[at[b]][1];
        }
    }
}

void lanesToColumns(const float* lanes, int columns, int height, int k0, int count, float (*spectrum)[2]) {
    for (int y = 0; y < height; ++y) {
        float(*row)[2] = spectrum + static_cast<std::size_t>(y) * columns + k0;
        const float* re = lanes + 2 * y * L;
        for (int b = 0; b < count; ++b) {
            row[b][0] = re[b];
            row[b][1] = re[L + b];
        }
    }
}

}  // namespace

// Rows and then columns go through the 1-D transforms kFftBatch at a time: each
// lane runs the arithmetic of one row or column alone.
void SrFloatFft2d::forward(const float* image, float (*spectrum)[2]) {
    if (width <= 0 || height <= 0) return;  // an empty image has an empty spectrum
    const FftPlan rowPlan{realFactors, realWork.get()};
    const FftPlan columnPlan{complexFactors, complexWork.get()};
    const int half = width / 2;
    const int columns = half + 1;
    float* lanes = batch.get();

    for (int y0 = 0; y0 < height; y0 += L) {
        rowsToLanes(image, width, height, y0, lanes);
        fftForwardRealBatch(rowPlan, lanes, batchScratch.get());
        for (int b = 0; b < std::min(L, height - y0); ++b) {
            float(*out)[2] = spectrum + static_cast<std::size_t>(y0 + b) * columns;
            out[0][0] = lanes[b];
            out[0][1] = 0.0f;
            for (int k = 1; k < half; ++k) {
                out[k][0] = lanes[(2 * k - 1) * L + b];
                out[k][1] = lanes[2 * k * L + b];
            }
            // The last element: the Nyquist term for an even width, the imaginary
            // part of the last pair for an odd one.
            out[half][0] = lanes[(width - 1) * L + b];
            out[half][1] = 0.0f;
        }
    }

    for (int k0 = 0; k0 < columns; k0 += L) {
        columnsToLanes(spectrum, columns, height, k0, lanes);
        fftForwardComplexBatch(columnPlan, lanes, batchScratch.get());
        lanesToColumns(lanes, columns, height, k0, std::min(L, columns - k0), spectrum);
    }
}

void SrFloatFft2d::backward(const float (*spectrum)[2], float* image) {
    if (width <= 0 || height <= 0) return;
    const FftPlan rowPlan{realFactors, realWork.get()};
    const FftPlan columnPlan{complexFactors, complexWork.get()};
    const int half = width / 2;
    const int columns = half + 1;
    float* lanes = batch.get();

    for (int k0 = 0; k0 < columns; k0 += L) {
        columnsToLanes(spectrum, columns, height, k0, lanes);
        fftBackwardComplexBatch(columnPlan, lanes, batchScratch.get());
        // Back into half-complex order, row by row: the real part of column 0 and of
        // column width / 2 at the ends, real and imaginary parts of the others
        // alternating in between.
        const int first = std::max(k0, 1), end = std::min(k0 + L, half);
        for (int y = 0; y < height; ++y) {
            float* row = image + static_cast<std::size_t>(y) * width;
            const float* re = lanes + 2 * y * L - k0;
            const float* im = re + L;
            for (int k = first; k < end; ++k) {
                row[2 * k - 1] = re[k];
                row[2 * k] = im[k];
            }
            if (k0 == 0) row[0] = re[0];
            if (half < k0 + L) row[width - 1] = re[half];
            // An odd width has no place for the real part that forward dropped.
            if (half < k0 + L && width % 2 == 1 && width > 1) row[width - 2] = 0.0f;
        }
    }

    float* scratch = batchScratch.get();
    for (int y0 = 0; y0 < height; y0 += L) {
        rowsToLanes(image, width, height, y0, lanes);
        fftBackwardRealBatch(rowPlan, lanes, scratch);
        lanesToRows(lanes, width, std::min(L, height - y0), image + static_cast<std::size_t>(y0) * width);
    }
}

void SrFloatFft2d::gaussFft(int radius, float sigma, float (*spectrum)[2], float* kernel) {
    const float spread = static_cast<float>(sigma * std::sqrt(2.0));
    for (int i = 0; i <= radius; ++i) {
        const float i0 = static_cast<float>(i);
        kernel[i] = 0.5f * (erfApprox((i0 + 0.5f) / spread) - erfApprox((i0 - 0.5f) / spread));
    }
    float sum = 0.0f;
    for (int i = 0; i <= radius; ++i) sum += kernel[i];
    const float total = 2.0f * sum - kernel[0];
    for (int i = 0; i <= radius; ++i) kernel[i] /= total;
    if (width <= 0 || height <= 0) return;

    // The kernel as a circular row and column; taps beyond a tiny image wrap onto each other.
    float* row = lineBuffer.get();
    float* column = row + width;
    std::fill(row, row + width + 2 * height, 0.0f);
    const float scale = 1.0f / static_cast<float>(width * height);
    for (int i = 0; i <= radius; ++i) {
        row[wrapIndex(i, width)] += kernel[i] * scale;
        if (i > 0) row[wrapIndex(width - i, width)] += kernel[i] * scale;
        column[2 * wrapIndex(i, height)] += kernel[i];
        if (i > 0) column[2 * wrapIndex(height - i, height)] += kernel[i];
    }
    fftForwardReal({realFactors, realWork.get()}, row);
    fftForwardComplex({complexFactors, complexWork.get()}, column);

    const int half = width / 2;
    const int columns = half + 1;
    for (int k = 0; k < columns; ++k) {
        float rowRe = 0.0f, rowIm = 0.0f;
        if (k == 0) {
            rowRe = row[0];
        } else if (k < half) {
            rowRe = row[2 * k - 1];
            rowIm = row[2 * k];
        }
        if (k == half) {
            rowRe = row[width - 1];
            rowIm = 0.0f;
        }
        for (int y = 0; y < height; ++y) {
            const float columnRe = column[2 * y], columnIm = column[2 * y + 1];
            float* out = spectrum[static_cast<std::size_t>(y) * columns + k];
            out[0] = rowRe * columnRe - rowIm * columnIm;
            out[1] = rowRe * columnIm + rowIm * columnRe;
        }
    }
}

// out[x] = sum over |d| <= radius of kernel[|d|] * row[(x + d) mod width].
void SrFloatFft2d::convolveRowCircular_(const float* row, const float* kernel, int radius, float* out) const {
    const int inner = std::min(radius, width);
    const int innerEnd = std::max(width - radius, inner);
    for (int x = inner; x < innerEnd; ++x) out[x] = kernel[0] * row[x];
    for (int d = 1; d <= radius; ++d)
        for (int x = inner; x < innerEnd; ++x) out[x] += kernel[d] * (row[x - d] + row[x + d]);
    auto wrapped = [&](int x) {
        float sum = kernel[0] * row[x];
        for (int d = 1; d <= radius; ++d)
            sum += kernel[d] * (row[wrapIndex(x - d, width)] + row[wrapIndex(x + d, width)]);
        out[x] = sum;
    };
    for (int x = 0; x < inner; ++x) wrapped(x);
    for (int x = innerEnd; x < width; ++x) wrapped(x);
}

// out[y] = sum over the taps inside the image of kernel[|d|] * raw(column, y + d).
void SrFloatFft2d::convolveColumnCut_(const float* raw, int column, const float* kernel, int radius, float* out) const {
    for (int y = 0; y < height; ++y) {
        const float* at = raw + static_cast<std::ptrdiff_t>(y) * width + column;
        float sum = kernel[0] * at[0];
        for (int d = 1; d <= radius; ++d) {
            if (y - d >= 0) sum += kernel[d] * at[-static_cast<std::ptrdiff_t>(d) * width];
            if (y + d < height) sum += kernel[d] * at[static_cast<std::ptrdiff_t>(d) * width];
        }
        out[y] = sum;
    }
}

// The circular smoothing reached each pixel near the border from raw pixels across
// the opposite edge. First every source row that wraps vertically is taken out,
// convolved along the row with wrap-around (so that sources across both edges, in
// the corners, leave with it); then every source column that wraps horizontally,
// convolved along the column without it. What remains is the sum over the taps
// inside the image, which the last step divides by their weight.
void SrFloatFft2d::repairGaussBlur(const float* raw, float* blurred, int radius, float* kernel) {
    if (radius <= 0 || width <= 0 || height <= 0) return;
    const int r = radius;
    float* line = lineBuffer.get();
    auto weight = [&](int d) { return kernel[d < 0 ? -d : d]; };

    // Source row s reaches row y across an edge where s + m * height - y lies
    // within the radius for some m other than 0.
    const int rowWraps = r / height + 1;
    for (int s = 0; s < height; ++s) {
        if (s >= r && s < height - r) continue;
        bool convolved = false;
        for (int m = -rowWraps; m <= rowWraps; ++m) {
            if (m == 0) continue;
            const int source = s + m * height;
            const int first = std::max(0, source - r), last = std::min(height - 1, source + r);
            for (int y = first; y <= last; ++y) {
                if (!convolved) {
                    convolveRowCircular_(raw + static_cast<std::size_t>(s) * width, kernel, r, line);
                    convolved = true;
                }
                const float k = weight(source - y);
                float* target = blurred + static_cast<std::size_t>(y) * width;
                for (int x = 0; x < width; ++x) target[x] -= k * line[x];
            }
        }
    }

    const int columnWraps = r / width + 1;
    for (int c = 0; c < width; ++c) {
        if (c >= r && c < width - r) continue;
        bool convolved = false;
        for (int m = -columnWraps; m <= columnWraps; ++m) {
            if (m == 0) continue;
            const int source = c + m * width;
            const int first = std::max(0, source - r), last = std::min(width - 1, source + r);
            for (int x = first; x <= last; ++x) {
                if (!convolved) {
                    convolveColumnCut_(raw, c, kernel, r, line);
                    convolved = true;
                }
                const float k = weight(source - x);
                for (int y = 0; y < height; ++y) blurred[static_cast<std::size_t>(y) * width + x] -= k * line[y];
            }
        }
    }

    // The weight inside is 1 minus the taps that fall outside, from the outermost in.
    auto outside = [&](int at, int size) {
        float sum = 0.0f;
        for (int d = r; d >= 1; --d) {
            if (at - d < 0) sum += kernel[d];
            if (at + d >= size) sum += kernel[d];
        }
        return sum;
    };
    for (int y = 0; y < height; ++y) {
        if (y >= r && y < height - r) continue;
        const float factor = 1.0f / (1.0f - outside(y, height));
        float* target = blurred + static_cast<std::size_t>(y) * width;
        for (int x = 0; x < width; ++x) target[x] *= factor;
    }
    for (int x = 0; x < width; ++x) {
        if (x >= r && x < width - r) continue;
        const float factor = 1.0f / (1.0f - outside(x, width));
        for (int y = 0; y < height; ++y) blurred[static_cast<std::size_t>(y) * width + x] *= factor;
    }
}

}  // namespace vision
}  // namespace vorel
