// SPDX-License-Identifier: Proprietary
#include "vorel/Dispatch.h"
#define SRFLOAT_MINIMIZATION_DISPATCH VOREL_DISPATCH_AVX2
#include "vision/superresolution/SrFloatMinimizationBase.h"

#include "vision/superresolution/SrFloatConvolution.h"
#include "vision/superresolution/SrFloatNeonConvolution.h"
#include "vision/superresolution/SrFloatThreadPool.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vorel {
namespace vision {

namespace {

// Error-function approximation with a = 0.14001229 and b = 4/pi.
float erfApproximation(float x) {
    if (x == 0.0f) return 0.0f;
    const float q = x * x;
    const float t = q * 0.14001229f;
    const float y = (t + 1.2732395f) * q / (t + 1.0f);
    const double e = std::exp(-static_cast<double>(y));
    const float v = 1.0f - static_cast<float>(e);
    const float r = static_cast<float>(std::sqrt(static_cast<double>(v)));
    return x > 0.0f ? r : -r;
}

// Sum of term(i) over [0, n) in double precision. Eight partial sums keep the
// loop vectorised; `term` may also update the element it reads.
template <class Term>
double eightLaneSum(int n, Term term) {
    double partial[8] = {};
    int i = 0;
    for (; i + 8 <= n; i += 8)
        for (int lane = 0; lane < 8; ++lane) partial[lane] += term(i + lane);
    double sum = ((partial[0] + partial[4]) + (partial[1] + partial[5])) +
                 ((partial[2] + partial[6]) + (partial[3] + partial[7]));
    for (; i < n; ++i) sum += term(i);
    return sum;
}

// Row r of band b of `bands` over `rows` rows: the bands depend on the counts only.
int bandStart(int rows, int band, int bands) {
    return static_cast<int>(static_cast<long long>(rows) * band / bands);
}

// rowsOf(firstRow, endRow, worker) over [0, rowCount) in one band per thread.
template <class Rows>
void inBands(SrFloatThreadPool* pool, int rowCount, Rows&& rowsOf) {
    if (!pool) return rowsOf(0, rowCount, 0);
    const int bands = pool->getThreadCount();
    pool->run(bands, [&](int band, int worker) {
        rowsOf(bandStart(rowCount, band, bands), bandStart(rowCount, band + 1, bands), worker);
    });
}

// How each pair of operators keeps the minimiser's full-size images:
// SrFloatConvolution in column-phase order (within a row, the columns of phase
// c % f, each phase in turn), SrFloatNeonConvolution row-major, which is that
// order with a single phase. The TV operator follows either order.
template <class Convolution>
struct FullSizeOperators;

template <>
struct FullSizeOperators<SrFloatConvolution> {
    static int phases(float factor) { return static_cast<int>(factor); }
    static int columnIndex(const SrFloatConvolution& c, int column) { return c.columnPhaseIndex(column); }
    static const float* rowMajor(const SrFloatConvolution& c, const float* row, float* scratch) {
        c.fromColumnPhases(row, scratch);
        return scratch;
    }
    static void correlate(SrFloatConvolution& c, const float* in, const float* kx, const float* ky, float* out) {
        c.phasedValidCorrToSparse(in, kx, ky, out);
    }
    static void addBackProjection(SrFloatConvolution& c, const float* in, const float* kx, const float* ky,
                                  const char* mask, float* out) {
        c.phasedAddFullConvFromSparse(in, kx, ky, mask, out);
    }
    static void addBackProjectionRows(SrFloatConvolution& c, const float* in, const float* kx, const float* ky,
                                      const char* mask, float* out, int firstRow, int endRow) {
        c.phasedAddFullConvFromSparseRows(in, kx, ky, mask, out, firstRow, endRow);
    }
};

template <>
struct FullSizeOperators<SrFloatNeonConvolution> {
    static int phases(float) { return 1; }
    static int columnIndex(const SrFloatNeonConvolution&, int column) { return column; }
    static const float* rowMajor(const SrFloatNeonConvolution&, const float* row, float*) { return row; }
    static void correlate(SrFloatNeonConvolution& c, float* in, float* kx, float* ky, float* out) {
        c.validCorrToSparse(in, kx, ky, out);
    }
    static void addBackProjection(SrFloatNeonConvolution& c, float* in, float* kx, float* ky, float* mask, float* out) {
        c.addFullConvFromSparse(in, kx, ky, mask, out);
    }
    static void addBackProjectionRows(SrFloatNeonConvolution& c, const float* in, const float* kx, const float* ky,
                                      const float* mask, float* out, int firstRow, int endRow) {
        c.addFullConvFromSparseRows(in, kx, ky, mask, out, firstRow, endRow);
    }
};


}  // namespace

template <class Convolution, typename Mask>
SrFloatMinimizationBase<Convolution, Mask>::SrFloatMinimizationBase(int width, int height, int frameCount, float factor,
                                                                    int spare)
    : width(width),
      height(height),
      kernelSize(static_cast<int>(3.0 * factor)),
      fullWidth(static_cast<int>(width * factor + kernelSize - 1)),
      fullHeight(static_cast<int>(height * factor + kernelSize - 1)),
      fullSize(fullWidth * fullHeight),
      frameCount(frameCount),
      spare(spare),
      factor(factor),
      psfSigma(0.683f),
      weightTV(400.0f),
      relRes(0.007f),
      maxIter(8),
      baseKernel(new float[kernelSize]()),
      psfX(new float*[frameCount]),
      psfY(new float*[frameCount]),
      convolution(new Convolution(static_cast<int>(width * factor), static_cast<int>(height * factor), kernelSize,
                                  kernelSize, factor)),
      lowResScratch(new float[width * height + spare]()),
      fullScratch(new float[fullSize + spare]()),
      rhs(new float[fullSize + spare]()),
      estimate(new float[fullSize + spare]()),
      couplingEast(new float[fullSize + spare]()),
      couplingSouth(new float[fullSize + spare]()),
      couplingSouthWest(new float[fullSize + spare]()),
      couplingSouthEast(new float[fullSize + spare]()),
      diagonal(new float[fullSize + spare]()),
      residual(new float[fullSize + spare]()),
      direction(new float[fullSize + spare]()),
      product(new float[fullSize + spare]()),
      rowSums(new double[fullHeight]()),
      negInvWeightTV(-1.0f / weightTV),
      epsilon(0.1f),
      invEpsilon(1.0f / epsilon),
      residualNorm(0.0f),
      invNormB(0.0f) {
    for (int k = 0; k < frameCount; ++k) {
        psfX[k] = new float[kernelSize]();
        psfY[k] = new float[kernelSize]();
    }
    setPsfSigma(0.683f);
}

template <class Convolution, typename Mask>
SrFloatMinimizationBase<Convolution, Mask>::~SrFloatMinimizationBase() {
    for (int k = 0; k < frameCount; ++k) {
        delete[] psfX[k];
        delete[] psfY[k];
    }
    delete[] psfX;
    delete[] psfY;
    delete convolution;
    delete[] baseKernel;
    delete[] lowResScratch;
    delete[] fullScratch;
    delete[] rhs;
    delete[] estimate;
    delete[] couplingEast;
    delete[] couplingSouth;
    delete[] couplingSouthWest;
    delete[] couplingSouthEast;
    delete[] diagonal;
    delete[] residual;
    delete[] direction;
    delete[] product;
    delete[] rowSums;
}

template <class Convolution, typename Mask>
SrFloatMinimizationBase<Convolution, Mask>& SrFloatMinimizationBase<Convolution, Mask>::operator=(
    const SrFloatMinimizationBase& other) = default;

template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::setEpsilon(float value) {
    epsilon = value;
    invEpsilon = 1.0f / value;
}

template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::setWeightTV(float value) {
    weightTV = value;
    negInvWeightTV = -1.0f / value;
}

template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::setThreadPool(SrFloatThreadPool* threadPool) {
    pool = threadPool && threadPool->getThreadCount() > 1 ? threadPool : nullptr;
    workerConvolutions.clear();
    frameScratch.clear();
    frameScratchRows.clear();
    if (!pool) return;
    for (int worker = 1; worker < pool->getThreadCount(); ++worker)
        workerConvolutions.push_back(std::make_shared<Convolution>(
            static_cast<int>(width * factor), static_cast<int>(height * factor), kernelSize, kernelSize, factor));
    const std::size_t stride = static_cast<std::size_t>(width) * height + spare;
    frameScratch.assign(stride * frameCount, 0.0f);
    for (int k = 0; k < frameCount; ++k) frameScratchRows.push_back(frameScratch.data() + stride * k);
}

template <class Convolution, typename Mask>
Convolution& SrFloatMinimizationBase<Convolution, Mask>::convolutionOf(int worker) {
    return worker == 0 ? *convolution : *workerConvolutions[static_cast<std::size_t>(worker - 1)];
}

template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::addBackProjections(int nFrames, float* const* in, Mask** masks,
                                                                    float* out) {
    // Frame after frame within each band, so every pixel adds the frames in order.
    inBands(pool, fullHeight, [&](int first, int end, int worker) {
        for (int k = 0; k < nFrames; ++k)
            FullSizeOperators<Convolution>::addBackProjectionRows(convolutionOf(worker), in[k], psfX[k], psfY[k],
                                                                  masks[k], out, first, end);
    });
}

// Pixel-integrated Gaussian: tap K/2 + i holds the mass over [i, i + 1], mirrored
// to K/2 - 1 - i, for as many taps as the factor spans; the outer taps stay 0 to
// leave room for the frame shifts of generatePsfs.
template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::psfKernel(float sigma, float factor, int kernelSize, float* kernel) {
    std::fill(kernel, kernel + kernelSize, 0.0f);
    float total = 0.0f;
    const int half = kernelSize / 2;
    if (factor > 0.0f) {
        for (int i = 0; i < half; ++i) {
            const float s = static_cast<float>(std::sqrt(2.0) * sigma);
            const float inv = 1.0f / s;
            const float hi = (static_cast<float>(i) + 0.5f + 0.5f) * inv;
            const float lo = (static_cast<float>(i) + 0.5f - 0.5f) * inv;
            const float mass = (erfApproximation(hi) - erfApproximation(lo)) * 0.5f;
            kernel[half - 1 - i] = mass;
            kernel[half + i] = mass;
            total += 2.0f * mass;
            if (!(factor > static_cast<float>(i + 1))) break;
        }
    }
    for (int k = 0; k < kernelSize; ++k) kernel[k] /= total;
}

template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::setPsfSigma(float sigma) {
    psfSigma = sigma;
    psfKernel(sigma, factor, kernelSize, baseKernel);
}

// Moves the base kernel by each frame's shift (in high-resolution pixels) by
// linear interpolation between neighbouring taps; shifts beyond one tap extrapolate.
template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::generatePsfs(int nFrames, cv::Point_<float>* shifts) {
    const int k = kernelSize;
    auto shiftKernel = [this, k](float shift, float* kernel) {
        const float d = shift * factor;
        if (d < 0.0f) {
            const float t = -d;
            kernel[0] = 0.0f;
            for (int j = 1; j < k; ++j) kernel[j] = baseKernel[j - 1] * t + baseKernel[j] * (1.0f - t);
        } else {
            for (int j = 0; j < k - 1; ++j) kernel[j] = baseKernel[j + 1] * d + baseKernel[j] * (1.0f - d);
            kernel[k - 1] = 0.0f;
        }
    };
    for (int f = 0; f < nFrames; ++f) {
        shiftKernel(shifts[f].x, psfX[f]);
        shiftKernel(shifts[f].y, psfY[f]);
    }
}

template <class Convolution, typename Mask>
int SrFloatMinimizationBase<Convolution, Mask>::minimize(int nFrames, int refIndex, float** frames,
                                                         cv::Point_<float>* shifts, Mask** masks, float* out) {
    const int lowSize = width * height;
    const float* reference = frames[refIndex];
    double sum = 0.0;
    for (int p = 0; p < lowSize; ++p) sum += reference[p];
    const double meanD = sum / lowSize;
    double squares = 0.0;
    for (int p = 0; p < lowSize; ++p) {
        const double d = reference[p] - meanD;
        squares += d * d;
    }
    const float variance = static_cast<float>(squares / lowSize);
    const float stdDev = std::sqrt(variance);
    const float mean = static_cast<float>(meanD);

    for (int k = 0; k < nFrames; ++k)
        for (int p = 0; p < lowSize; ++p) frames[k][p] = (frames[k][p] - mean) / stdDev;

    generatePsfs(nFrames, shifts);

    std::fill(rhs, rhs + fullSize, 0.0f);
    addBackProjections(nFrames, frames, masks, rhs);
    invNormB = static_cast<float>(1.0 / dotByRows(rhs, rhs));
    std::memcpy(estimate, rhs, sizeof(float) * fullSize);

    // Restart CG with a fresh L after every run that converged. A run with no
    // budget left could not move the estimate, so it is not started.
    int total = 0;
    for (int run = 0; run < maxIter && total < maxIter; ++run) {
        const int n = conjugateGradients(nFrames, masks, maxIter - total);
        total += n;
        if (n == 0) break;
    }

    // Crop the margin of the full-size estimate, back in row-major order, and undo the normalisation.
    const int outWidth = static_cast<int>(width * factor);
    const int outHeight = static_cast<int>(height * factor);
    const int margin = (kernelSize - 1) / 2;
    for (int y = 0; y < outHeight; ++y) {
        const float* source =
            FullSizeOperators<Convolution>::rowMajor(*convolution, estimate + (y + margin) * fullWidth, fullScratch) +
            margin;
        float* target = out + y * outWidth;
        for (int x = 0; x < outWidth; ++x) target[x] = source[x] * stdDev + mean;
    }
    return total;
}

template <class Convolution, typename Mask>
int SrFloatMinimizationBase<Convolution, Mask>::conjugateGradients(int nFrames, Mask** masks, int budget) {
    computeL();
    gradient(estimate, nFrames, masks, residual);
    inBands(pool, fullHeight, [&](int first, int end, int) { startResidualRows(first, end); });
    residualNorm = static_cast<float>(sumOfRows());
    if (relRes * relRes > invNormB * residualNorm) return 0;
    for (int k = 0; k < budget; ++k)
        if (iteration(k, nFrames, masks)) return k + 1;
    return budget;
}

template <class Convolution, typename Mask>
bool SrFloatMinimizationBase<Convolution, Mask>::iteration(int /*k*/, int nFrames, Mask** masks) {
    gradient(direction, nFrames, masks, product);
    const double pq = dotByRows(direction, product);
    const float alpha = static_cast<float>(residualNorm / pq);
    inBands(pool, fullHeight, [&](int first, int end, int) { updateRows(alpha, first, end); });
    const double rrNew = sumOfRows();
    if (static_cast<double>(relRes * relRes) > static_cast<double>(invNormB) * rrNew) return true;
    const float beta = static_cast<float>(rrNew / residualNorm);
    inBands(pool, fullHeight, [&](int first, int end, int) { directionRows(beta, first, end); });
    residualNorm = static_cast<float>(rrNew);
    return false;
}

// The reductions keep one sum per row and add the rows in order, so that the
// order of the additions depends on the image size only, never on the threads.
template <class Convolution, typename Mask>
double SrFloatMinimizationBase<Convolution, Mask>::sumOfRows() const {
    double sum = 0.0;
    for (int r = 0; r < fullHeight; ++r) sum += rowSums[r];
    return sum;
}

template <class Convolution, typename Mask>
double SrFloatMinimizationBase<Convolution, Mask>::dotByRows(const float* a, const float* b) {
    inBands(pool, fullHeight, [&](int first, int end, int) { dotRows(a, b, first, end); });
    return sumOfRows();
}

template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::dotRows(const float* a, const float* b, int firstRow, int endRow) {
    for (int row = firstRow; row < endRow; ++row) {
        const float* x = a + row * fullWidth;
        const float* y = b + row * fullWidth;
        rowSums[row] = eightLaneSum(fullWidth, [&](int i) { return static_cast<double>(x[i]) * y[i]; });
    }
}

// residual = rhs - residual and direction = residual; the rows' sums of residual squared.
template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::startResidualRows(int firstRow, int endRow) {
    for (int row = firstRow; row < endRow; ++row) {
        const float* b = rhs + row * fullWidth;
        float* r = residual + row * fullWidth;
        float* p = direction + row * fullWidth;
        rowSums[row] = eightLaneSum(fullWidth, [&](int i) {
            r[i] = b[i] - r[i];
            p[i] = r[i];
            return static_cast<double>(r[i]) * r[i];
        });
    }
}

// estimate += alpha direction and residual -= alpha product; the rows' sums of residual squared.
template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::updateRows(float alpha, int firstRow, int endRow) {
    for (int row = firstRow; row < endRow; ++row) {
        const float* p = direction + row * fullWidth;
        const float* q = product + row * fullWidth;
        float* x = estimate + row * fullWidth;
        float* r = residual + row * fullWidth;
        rowSums[row] = eightLaneSum(fullWidth, [&](int i) {
            x[i] += alpha * p[i];
            r[i] -= alpha * q[i];
            return static_cast<double>(r[i]) * r[i];
        });
    }
}

template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::directionRows(float beta, int firstRow, int endRow) {
    for (int i = firstRow * fullWidth; i < endRow * fullWidth; ++i) direction[i] = residual[i] + beta * direction[i];
}

template <class Convolution, typename Mask>
int SrFloatMinimizationBase<Convolution, Mask>::fullIndex(int row, int column) const {
    return row * fullWidth + FullSizeOperators<Convolution>::columnIndex(*convolution, column);
}

// The full-size images are kept in column-phase order (see FullSizeOperators;
// row-major is the order of one phase): within a row, phase p holds the
// columns step*m + p. For phase p of row r these
// return the element of the same m in `image`, and of its east and west
// neighbours, which lie in the next and previous phase (or, across the last and
// first phase, one element along).
namespace {

// Where phase p of a row starts and how long it is, where its east and west
// neighbours start, and the elements whose neighbours all lie in the row.
struct PhaseRow {
    int start, length, eastStart, westStart, interiorBegin, interiorEnd;
};

template <class Convolution>
PhaseRow phaseRow(const Convolution& convolution, int step, int fullWidth, int p) {
    auto startOf = [&](int q) {
        return q < step ? FullSizeOperators<Convolution>::columnIndex(convolution, q) : fullWidth;
    };
    PhaseRow phase;
    phase.start = startOf(p);
    phase.length = startOf(p + 1) - phase.start;
    const bool lastPhase = p + 1 == step;
    phase.eastStart = lastPhase ? startOf(0) + 1 : startOf(p + 1);
    phase.westStart = p == 0 ? startOf(step - 1) - 1 : startOf(p - 1);
    const int withEast = lastPhase ? startOf(1) - startOf(0) - 1 : startOf(p + 2) - startOf(p + 1);
    phase.interiorBegin = p == 0 ? 1 : 0;
    phase.interiorEnd = std::max(phase.interiorBegin, std::min(phase.length, withEast));
    return phase;
}

}  // namespace

// Lagged-diffusivity TV weights from the current estimate: a weighted graph
// Laplacian whose couplings are stored once, at the pixel above or left of each
// pair. Couplings that would cross a row end or leave the image are 0.
template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::computeL() {
    inBands(pool, fullHeight, [&](int first, int end, int) { computeLRows(first, end); });
    // A band's first row needs the couplings of the row above, which the band before computed.
    const int bands = pool ? pool->getThreadCount() : 1;
    for (int band = 1; band < bands; ++band) diagonalRow(bandStart(fullHeight, band, bands));
}

// The couplings of rows [firstRow, endRow) and the diagonal of all but the
// first row, unless that is row 0.
template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::computeLRows(int firstRow, int endRow) {
    static const float invSqrt2 = 1.0f / std::sqrt(2.0f);
    const float* x = estimate;
    const int step = FullSizeOperators<Convolution>::phases(factor);
    const int wf = fullWidth;
    const int hf = fullHeight;
    const float eps = epsilon;
    const float invEps = invEpsilon;
    const float axis = negInvWeightTV;
    const float diag = 0.5f * negInvWeightTV;
    auto clamp = [eps, invEps](float v) { return v > eps ? std::min(v, invEps) : eps; };

    auto couplingsAt = [&](int r, int c) {
        const int i = fullIndex(r, c);
        const float xi = x[i];
        couplingEast[i] = c + 1 < wf ? axis / clamp(std::fabs(x[fullIndex(r, c + 1)] - xi)) : 0.0f;
        const bool below = r + 1 < hf;
        couplingSouth[i] = below ? axis / clamp(std::fabs(x[fullIndex(r + 1, c)] - xi)) : 0.0f;
        couplingSouthEast[i] =
            below && c + 1 < wf ? diag / clamp(std::fabs(x[fullIndex(r + 1, c + 1)] - xi) * invSqrt2) : 0.0f;
        couplingSouthWest[i] =
            below && c >= 1 ? diag / clamp(std::fabs(x[fullIndex(r + 1, c - 1)] - xi) * invSqrt2) : 0.0f;
    };

    for (int r = firstRow; r < endRow; ++r) {
        const bool lastRow = r == hf - 1;
        for (int p = 0; p < step; ++p) {
            const PhaseRow phase = phaseRow(*convolution, step, wf, p);
            const int row = r * wf;
            const float* xr = x + row + phase.start;
            const float* xEast = x + row + phase.eastStart;
            const float* xWest = x + row + phase.westStart;
            float* east = couplingEast + row + phase.start;
            float* south = couplingSouth + row + phase.start;
            float* southEast = couplingSouthEast + row + phase.start;
            float* southWest = couplingSouthWest + row + phase.start;
            for (int m = phase.interiorBegin; m < phase.interiorEnd; ++m)
                east[m] = axis / clamp(std::fabs(xEast[m] - xr[m]));
            if (lastRow) {
                std::fill(south + phase.interiorBegin, south + phase.interiorEnd, 0.0f);
                std::fill(southEast + phase.interiorBegin, southEast + phase.interiorEnd, 0.0f);
                std::fill(southWest + phase.interiorBegin, southWest + phase.interiorEnd, 0.0f);
            } else {
                for (int m = phase.interiorBegin; m < phase.interiorEnd; ++m)
                    south[m] = axis / clamp(std::fabs(xr[m + wf] - xr[m]));
                for (int m = phase.interiorBegin; m < phase.interiorEnd; ++m)
                    southEast[m] = diag / clamp(std::fabs(xEast[m + wf] - xr[m]) * invSqrt2);
                for (int m = phase.interiorBegin; m < phase.interiorEnd; ++m)
                    southWest[m] = diag / clamp(std::fabs(xWest[m + wf] - xr[m]) * invSqrt2);
            }
            for (int m = 0; m < phase.interiorBegin; ++m) couplingsAt(r, step * m + p);
            for (int m = phase.interiorEnd; m < phase.length; ++m) couplingsAt(r, step * m + p);
        }
        if (r == 0) {
            // The first pixel takes the couplings computed at its right neighbour.
            const int first = fullIndex(0, 0), second = fullIndex(0, 1);
            couplingEast[first] = couplingEast[second];
            couplingSouth[first] = couplingSouth[second];
            couplingSouthEast[first] = couplingSouthEast[second];
            for (int c = 0; c < wf; ++c) diagonalAt(0, c);
        } else if (r > firstRow) {
            // The row's couplings are complete and those of the row above still in cache.
            diagonalRow(r);
        }
    }
}

// Minus the sum of every coupling that touches the pixel.
template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::diagonalAt(int r, int c) {
    float d = 0.0f;
    if (c >= 1) d -= couplingEast[fullIndex(r, c - 1)];
    d -= couplingEast[fullIndex(r, c)];
    d -= couplingSouth[fullIndex(r, c)];
    if (r >= 1) d -= couplingSouth[fullIndex(r - 1, c)];
    d -= couplingSouthEast[fullIndex(r, c)];
    if (r >= 1 && c >= 1) d -= couplingSouthEast[fullIndex(r - 1, c - 1)];
    d -= couplingSouthWest[fullIndex(r, c)];
    if (r >= 1 && c + 1 < fullWidth) d -= couplingSouthWest[fullIndex(r - 1, c + 1)];
    diagonal[fullIndex(r, c)] = d;
}

// diagonalAt for a whole row r >= 1, the interior of each phase vectorised.
template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::diagonalRow(int r) {
    const int step = FullSizeOperators<Convolution>::phases(factor);
    const int wf = fullWidth;
    for (int p = 0; p < step; ++p) {
        const PhaseRow phase = phaseRow(*convolution, step, wf, p);
        const int row = r * wf;
        const int above = row - wf;
        const float* east = couplingEast + row + phase.start;
        const float* eastWest = couplingEast + row + phase.westStart;
        const float* south = couplingSouth + row + phase.start;
        const float* southAbove = couplingSouth + above + phase.start;
        const float* southEast = couplingSouthEast + row + phase.start;
        const float* southEastAboveWest = couplingSouthEast + above + phase.westStart;
        const float* southWest = couplingSouthWest + row + phase.start;
        const float* southWestAboveEast = couplingSouthWest + above + phase.eastStart;
        float* __restrict center = diagonal + row + phase.start;
        for (int m = phase.interiorBegin; m < phase.interiorEnd; ++m) {
            center[m] = -eastWest[m] - east[m] - south[m] - southAbove[m] - southEast[m] - southEastAboveWest[m] -
                        southWest[m] - southWestAboveEast[m];
        }
        for (int m = 0; m < phase.interiorBegin; ++m) diagonalAt(r, step * m + p);
        for (int m = phase.interiorEnd; m < phase.length; ++m) diagonalAt(r, step * m + p);
    }
}

// out = L x. Only the couplings inside the image take part.
template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::applyTv(const float* __restrict x, float* __restrict out,
                                                         int firstRow, int endRow) const {
    const int step = FullSizeOperators<Convolution>::phases(factor);
    const int wf = fullWidth;
    const int hf = fullHeight;
    const float* __restrict center = diagonal;
    const float* __restrict east = couplingEast;
    const float* __restrict south = couplingSouth;
    const float* __restrict southEast = couplingSouthEast;
    const float* __restrict southWest = couplingSouthWest;
    auto stencilAt = [&](int r, int c) {
        const int i = fullIndex(r, c);
        float sum = center[i] * x[i];
        if (c + 1 < wf) sum += east[i] * x[fullIndex(r, c + 1)];
        if (c >= 1) sum += east[fullIndex(r, c - 1)] * x[fullIndex(r, c - 1)];
        if (r + 1 < hf) sum += south[i] * x[fullIndex(r + 1, c)];
        if (r >= 1) sum += south[fullIndex(r - 1, c)] * x[fullIndex(r - 1, c)];
        if (r + 1 < hf && c + 1 < wf) sum += southEast[i] * x[fullIndex(r + 1, c + 1)];
        if (r >= 1 && c >= 1) sum += southEast[fullIndex(r - 1, c - 1)] * x[fullIndex(r - 1, c - 1)];
        if (r + 1 < hf && c >= 1) sum += southWest[i] * x[fullIndex(r + 1, c - 1)];
        if (r >= 1 && c + 1 < wf) sum += southWest[fullIndex(r - 1, c + 1)] * x[fullIndex(r - 1, c + 1)];
        out[i] = sum;
    };
    for (int r = firstRow; r < endRow; ++r) {
        if (r == 0 || r == hf - 1) {
            for (int c = 0; c < wf; ++c) stencilAt(r, c);
            continue;
        }
        for (int p = 0; p < step; ++p) {
            const PhaseRow phase = phaseRow(*convolution, step, wf, p);
            const int at = r * wf + phase.start;
            const int eastAt = r * wf + phase.eastStart;
            const int westAt = r * wf + phase.westStart;
            const float* d = center + at;
            const float* e = east + at;
            const float* eW = east + westAt;
            const float* s = south + at;
            const float* sU = south + at - wf;
            const float* se = southEast + at;
            const float* seUW = southEast + westAt - wf;
            const float* sw = southWest + at;
            const float* swUE = southWest + eastAt - wf;
            const float* xr = x + at;
            const float* xE = x + eastAt;
            const float* xW = x + westAt;
            float* o = out + at;
            for (int m = phase.interiorBegin; m < phase.interiorEnd; ++m) {
                o[m] = d[m] * xr[m] + e[m] * xE[m] + eW[m] * xW[m] + s[m] * xr[m + wf] + sU[m] * xr[m - wf] +
                       se[m] * xE[m + wf] + seUW[m] * xW[m - wf] + sw[m] * xW[m + wf] + swUE[m] * xE[m - wf];
            }
            for (int m = 0; m < phase.interiorBegin; ++m) stencilAt(r, step * m + p);
            for (int m = phase.interiorEnd; m < phase.length; ++m) stencilAt(r, step * m + p);
        }
    }
}

// out = L x + sum_k A_k' M_k A_k x.
template <class Convolution, typename Mask>
void SrFloatMinimizationBase<Convolution, Mask>::gradient(float* x, int nFrames, Mask** masks, float* out) {
    if (pool) {
        // The TV product (in bands) and the correlations only read x, so they run side by side.
        const int bands = pool->getThreadCount();
        pool->run(nFrames + bands, [&](int task, int worker) {
            if (task < nFrames)
                FullSizeOperators<Convolution>::correlate(convolutionOf(worker), x, psfX[task], psfY[task],
                                                          frameScratchRows[task]);
            else
                applyTv(x, out, bandStart(fullHeight, task - nFrames, bands),
                        bandStart(fullHeight, task - nFrames + 1, bands));
        });
        addBackProjections(nFrames, frameScratchRows.data(), masks, out);
        return;
    }
    applyTv(x, out, 0, fullHeight);
    for (int k = 0; k < nFrames; ++k) {
        FullSizeOperators<Convolution>::correlate(*convolution, x, psfX[k], psfY[k], lowResScratch);
        FullSizeOperators<Convolution>::addBackProjection(*convolution, lowResScratch, psfX[k], psfY[k], masks[k], out);
    }
}

template class SrFloatMinimizationBase<SrFloatConvolution, char>;
template class SrFloatMinimizationBase<SrFloatNeonConvolution, float>;

}  // namespace vision
}  // namespace vorel
