// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatMinimization.h"

#include "vision/superresolution/SrFloatConvolution.h"
#include "vorel/Dispatch.h"

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

// Double-precision dot product over float data. Eight partial sums keep the
// loop vectorised; the order of the additions is the only difference to a
// single running sum.
double dot(const float* a, const float* b, int n) {
    double partial[8] = {};
    int i = 0;
    for (; i + 8 <= n; i += 8)
        for (int lane = 0; lane < 8; ++lane) partial[lane] += static_cast<double>(a[i + lane]) * b[i + lane];
    double sum = ((partial[0] + partial[4]) + (partial[1] + partial[5])) +
                 ((partial[2] + partial[6]) + (partial[3] + partial[7]));
    for (; i < n; ++i) sum += static_cast<double>(a[i]) * b[i];
    return sum;
}

// x += alpha * p and r -= alpha * q in one pass; returns the new sum of r squared.
double updateEstimateAndResidual(float alpha, const float* p, const float* q, float* x, float* r, int n) {
    double partial[8] = {};
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        for (int lane = 0; lane < 8; ++lane) {
            x[i + lane] += alpha * p[i + lane];
            r[i + lane] -= alpha * q[i + lane];
            partial[lane] += static_cast<double>(r[i + lane]) * r[i + lane];
        }
    }
    double sum = ((partial[0] + partial[4]) + (partial[1] + partial[5])) +
                 ((partial[2] + partial[6]) + (partial[3] + partial[7]));
    for (; i < n; ++i) {
        x[i] += alpha * p[i];
        r[i] -= alpha * q[i];
        sum += static_cast<double>(r[i]) * r[i];
    }
    return sum;
}

// r = b - r and p = r in one pass; returns the sum of r squared.
double startResidual(const float* b, float* r, float* p, int n) {
    double partial[8] = {};
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        for (int lane = 0; lane < 8; ++lane) {
            r[i + lane] = b[i + lane] - r[i + lane];
            p[i + lane] = r[i + lane];
            partial[lane] += static_cast<double>(r[i + lane]) * r[i + lane];
        }
    }
    double sum = ((partial[0] + partial[4]) + (partial[1] + partial[5])) +
                 ((partial[2] + partial[6]) + (partial[3] + partial[7]));
    for (; i < n; ++i) {
        r[i] = b[i] - r[i];
        p[i] = r[i];
        sum += static_cast<double>(r[i]) * r[i];
    }
    return sum;
}

}  // namespace

SrFloatMinimization::SrFloatMinimization(int width, int height, int frameCount, float factor)
    : width(width),
      height(height),
      kernelSize(static_cast<int>(3.0 * factor)),
      fullWidth(static_cast<int>(width * factor + kernelSize - 1)),
      fullHeight(static_cast<int>(height * factor + kernelSize - 1)),
      fullSize(fullWidth * fullHeight),
      frameCount(frameCount),
      factor(factor),
      psfSigma(0.683f),
      weightTV(400.0f),
      relRes(0.007f),
      maxIter(8),
      baseKernel(new float[kernelSize]()),
      psfX(new float*[frameCount]),
      psfY(new float*[frameCount]),
      convolution(new SrFloatConvolution(static_cast<int>(width * factor), static_cast<int>(height * factor),
                                         kernelSize, kernelSize, factor)),
      lowResScratch(new float[width * height]()),
      fullScratch(new float[fullSize]()),
      rhs(new float[fullSize]()),
      estimate(new float[fullSize]()),
      couplingEast(new float[fullSize]()),
      couplingSouth(new float[fullSize]()),
      couplingSouthWest(new float[fullSize]()),
      couplingSouthEast(new float[fullSize]()),
      diagonal(new float[fullSize]()),
      residual(new float[fullSize]()),
      direction(new float[fullSize]()),
      product(new float[fullSize]()),
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

SrFloatMinimization::~SrFloatMinimization() {
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
}

SrFloatMinimization& SrFloatMinimization::operator=(const SrFloatMinimization& other) = default;

void SrFloatMinimization::setEpsilon(float value) {
    epsilon = value;
    invEpsilon = 1.0f / value;
}

void SrFloatMinimization::setWeightTV(float value) {
    weightTV = value;
    negInvWeightTV = -1.0f / value;
}

// Pixel-integrated Gaussian: tap K/2 + i holds the mass over [i, i + 1], mirrored
// to K/2 - 1 - i, for as many taps as the factor spans; the outer taps stay 0 to
// leave room for the frame shifts of generatePsfs.
void SrFloatMinimization::setPsfSigma(float sigma) {
    psfSigma = sigma;
    std::fill(baseKernel, baseKernel + kernelSize, 0.0f);
    float total = 0.0f;
    const int half = kernelSize / 2;
    if (factor > 0.0f) {
        for (int i = 0; i < half; ++i) {
            const float s = static_cast<float>(std::sqrt(2.0) * sigma);
            const float inv = 1.0f / s;
            const float hi = (static_cast<float>(i) + 0.5f + 0.5f) * inv;
            const float lo = (static_cast<float>(i) + 0.5f - 0.5f) * inv;
            const float mass = (erfApproximation(hi) - erfApproximation(lo)) * 0.5f;
            baseKernel[half - 1 - i] = mass;
            baseKernel[half + i] = mass;
            total += 2.0f * mass;
            if (!(factor > static_cast<float>(i + 1))) break;
        }
    }
    for (int k = 0; k < kernelSize; ++k) baseKernel[k] /= total;
}

// Moves the base kernel by each frame's shift (in high-resolution pixels) by
// linear interpolation between neighbouring taps; shifts beyond one tap extrapolate.
void SrFloatMinimization::generatePsfs(int nFrames, cv::Point_<float>* shifts) {
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

VOREL_DISPATCH_AVX2 int SrFloatMinimization::minimize(int nFrames, int refIndex, float** frames, cv::Point_<float>* shifts, char** masks,
                                  float* out) {
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
    for (int k = 0; k < nFrames; ++k) convolution->addFullConvFromSparse(frames[k], psfX[k], psfY[k], masks[k], rhs);
    invNormB = static_cast<float>(1.0 / dot(rhs, rhs, fullSize));
    std::memcpy(estimate, rhs, sizeof(float) * fullSize);

    // Restart CG with a fresh L after every run that converged. A run with no
    // budget left could not move the estimate, so it is not started.
    int total = 0;
    for (int run = 0; run < maxIter && total < maxIter; ++run) {
        const int n = conjugateGradients(nFrames, masks, maxIter - total);
        total += n;
        if (n == 0) break;
    }

    const int outWidth = static_cast<int>(width * factor);
    const int outHeight = static_cast<int>(height * factor);
    const int margin = (kernelSize - 1) / 2;
    for (int y = 0; y < outHeight; ++y) {
        const float* source = estimate + (y + margin) * fullWidth + margin;
        float* target = out + y * outWidth;
        for (int x = 0; x < outWidth; ++x) target[x] = source[x] * stdDev + mean;
    }
    return total;
}

VOREL_DISPATCH_AVX2 int SrFloatMinimization::conjugateGradients(int nFrames, char** masks, int budget) {
    computeL();
    gradient(estimate, nFrames, masks, residual);
    residualNorm = static_cast<float>(startResidual(rhs, residual, direction, fullSize));
    if (relRes * relRes > invNormB * residualNorm) return 0;
    for (int k = 0; k < budget; ++k)
        if (iteration(k, nFrames, masks)) return k + 1;
    return budget;
}

VOREL_DISPATCH_AVX2 bool SrFloatMinimization::iteration(int /*k*/, int nFrames, char** masks) {
    gradient(direction, nFrames, masks, product);
    const double pq = dot(direction, product, fullSize);
    const float alpha = static_cast<float>(residualNorm / pq);
    const double rrNew = updateEstimateAndResidual(alpha, direction, product, estimate, residual, fullSize);
    if (static_cast<double>(relRes * relRes) > static_cast<double>(invNormB) * rrNew) return true;
    const float beta = static_cast<float>(rrNew / residualNorm);
    for (int i = 0; i < fullSize; ++i) direction[i] = residual[i] + beta * direction[i];
    residualNorm = static_cast<float>(rrNew);
    return false;
}

// Lagged-diffusivity TV weights from the current estimate: a weighted graph
// Laplacian whose couplings are stored once, at the lower index of each pair.
VOREL_DISPATCH_AVX2 void SrFloatMinimization::computeL() {
    static const float invSqrt2 = 1.0f / std::sqrt(2.0f);
    const float* x = estimate;
    const int wf = fullWidth;
    const float eps = epsilon;
    const float invEps = invEpsilon;
    const float axis = negInvWeightTV;
    const float diag = 0.5f * negInvWeightTV;
    auto clamp = [eps, invEps](float v) { return v > eps ? std::min(v, invEps) : eps; };
    // Minus the sum of every coupling that touches pixel i, where the pixel exists.
    auto diagonalAt = [&](int i) {
        float d = 0.0f;
        if (i >= 1) d -= couplingEast[i - 1];
        d -= couplingEast[i];
        d -= couplingSouth[i];
        if (i >= wf) d -= couplingSouth[i - wf];
        d -= couplingSouthEast[i];
        if (i >= wf + 1) d -= couplingSouthEast[i - wf - 1];
        d -= couplingSouthWest[i];
        if (i >= wf - 1) d -= couplingSouthWest[i - wf + 1];
        return d;
    };

    for (int r = 0; r < fullHeight; ++r) {
        const int row = r * wf;
        const bool lastRow = r == fullHeight - 1;
        float* east = couplingEast + row;
        float* south = couplingSouth + row;
        float* southEast = couplingSouthEast + row;
        float* southWest = couplingSouthWest + row;
        const float* xr = x + row;
        for (int c = 0; c + 1 < wf; ++c) east[c] = axis / clamp(std::fabs(xr[c + 1] - xr[c]));
        east[wf - 1] = 0.0f;
        if (lastRow) {
            std::fill(south, south + wf, 0.0f);
            std::fill(southEast, southEast + wf, 0.0f);
            std::fill(southWest, southWest + wf, 0.0f);
        } else {
            const float* below = xr + wf;
            for (int c = 0; c < wf; ++c) south[c] = axis / clamp(std::fabs(below[c] - xr[c]));
            for (int c = 0; c + 1 < wf; ++c) southEast[c] = diag / clamp(std::fabs(below[c + 1] - xr[c]) * invSqrt2);
            southEast[wf - 1] = 0.0f;
            southWest[0] = 0.0f;
            for (int c = 1; c < wf; ++c) southWest[c] = diag / clamp(std::fabs(below[c - 1] - xr[c]) * invSqrt2);
        }
        if (r == 0) {
            // The first pixel takes the couplings computed at its right neighbour.
            east[0] = east[1];
            south[0] = south[1];
            southEast[0] = southEast[1];
        }
        // The row's couplings are complete and those of the row above still in cache.
        const int uniformFrom = r == 0 ? wf : (r == 1 ? 1 : 0);
        for (int c = 0; c < uniformFrom; ++c) diagonal[row + c] = diagonalAt(row + c);
        float* __restrict center = diagonal + row;
        const float* southEastAbove = southEast - wf;
        const float* southWestAbove = southWest - wf;
        const float* southAbove = south - wf;
        for (int c = uniformFrom; c < wf; ++c) {
            center[c] = -east[c - 1] - east[c] - south[c] - southAbove[c] - southEast[c] - southEastAbove[c - 1] -
                        southWest[c] - southWestAbove[c + 1];
        }
    }
}

// out = L x. Only terms whose two indices lie in the image take part; the zero
// couplings at the row ends cancel the wrap-around of the flattened index.
VOREL_DISPATCH_AVX2 void SrFloatMinimization::applyTv(const float* __restrict x, float* __restrict out) const {
    const int wf = fullWidth;
    const int n = fullSize;
    const float* __restrict center = diagonal;
    const float* __restrict east = couplingEast;
    const float* __restrict south = couplingSouth;
    const float* __restrict southEast = couplingSouthEast;
    const float* __restrict southWest = couplingSouthWest;
    auto stencilAt = [&](int i) {
        float sum = center[i] * x[i];
        if (i + 1 < n) sum += east[i] * x[i + 1];
        if (i >= 1) sum += east[i - 1] * x[i - 1];
        if (i + wf < n) sum += south[i] * x[i + wf];
        if (i >= wf) sum += south[i - wf] * x[i - wf];
        if (i + wf + 1 < n) sum += southEast[i] * x[i + wf + 1];
        if (i >= wf + 1) sum += southEast[i - wf - 1] * x[i - wf - 1];
        if (i + wf - 1 < n) sum += southWest[i] * x[i + wf - 1];
        if (i >= wf - 1) sum += southWest[i - wf + 1] * x[i - wf + 1];
        return sum;
    };
    const int first = std::min(n, wf + 1);
    const int last = std::max(first, n - wf - 1);
    for (int i = 0; i < first; ++i) out[i] = stencilAt(i);
    for (int i = first; i < last; ++i) {
        out[i] = center[i] * x[i] + east[i] * x[i + 1] + east[i - 1] * x[i - 1] + south[i] * x[i + wf] +
                 south[i - wf] * x[i - wf] + southEast[i] * x[i + wf + 1] + southEast[i - wf - 1] * x[i - wf - 1] +
                 southWest[i] * x[i + wf - 1] + southWest[i - wf + 1] * x[i - wf + 1];
    }
    for (int i = last; i < n; ++i) out[i] = stencilAt(i);
}

// out = L x + sum_k A_k' M_k A_k x.
void SrFloatMinimization::gradient(float* x, int nFrames, char** masks, float* out) {
    applyTv(x, out);
    for (int k = 0; k < nFrames; ++k) {
        convolution->validCorrToSparse(x, psfX[k], psfY[k], lowResScratch);
        convolution->addFullConvFromSparse(lowResScratch, psfX[k], psfY[k], masks[k], out);
    }
}

}  // namespace vision
}  // namespace vorel
