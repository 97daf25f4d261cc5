// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

// The hot steps are compiled for two targets (vorel/Dispatch.h). In a class
// template only an attribute on the declaration in the class reaches the
// instantiations, so the defining source turns it on here; every other caller
// calls the dispatching symbol, as for any dispatched function.
#ifndef SRFLOAT_MINIMIZATION_DISPATCH
#define SRFLOAT_MINIMIZATION_DISPATCH
#endif

namespace vorel {
namespace vision {

class SrFloatConvolution;
class SrFloatNeonConvolution;
class SrFloatThreadPool;

/// TV-regularised reconstruction of one high-resolution image from a registered
/// window of low-resolution frames, for any pair of sparse-grid operators
/// (`Convolution`) and mask element type (`Mask`, 1 = use a pixel, 0 = ignore
/// it). SrFloatMinimization and SrFloatNeonMinimization are its two faces.
///
/// minimize() solves (sum_k A_k' M_k A_k + L(x)) x = sum_k A_k' M_k y_k by
/// conjugate gradients, where A_k blurs with frame k's shifted Gaussian PSF and
/// samples on the sparse grid, M_k is frame k's mask and L the lagged-diffusivity
/// TV operator, recomputed whenever a CG run converges, until the iteration
/// budget is spent. Images inside are full size: (h*f + K - 1) rows by
/// (w*f + K - 1) columns with K = 3*f taps per kernel.
///
/// All buffers are allocated by the constructor; minimize() allocates nothing.
/// Nothing is validated here (the engine validates its parameters). Assignment
/// is shallow on purpose: afterwards both objects share the source's buffers.
template <class Convolution, typename Mask>
class VRLIB_API SrFloatMinimizationBase {
public:
    /// Reconstructs into `out` ((int)(h*f) rows by (int)(w*f) columns) and returns
    /// the number of CG iterations spent. Normalises `frames` in place by the
    /// reference frame's mean and standard deviation. shifts are the frames'
    /// sub-pixel shifts in input pixels; masks hold 1 for pixels to use.
    SRFLOAT_MINIMIZATION_DISPATCH int minimize(int nFrames, int refIndex, float** frames, cv::Point_<float>* shifts,
                                               Mask** masks, float* out);

    float getEpsilon() const { return epsilon; }
    void setEpsilon(float value);
    int getMaxIter() const { return maxIter; }
    void setMaxIter(int value) { maxIter = value; }
    float getPsfSigma() const { return psfSigma; }
    /// Stores sigma (high-resolution pixels) and rebuilds the base kernel.
    void setPsfSigma(float sigma);
    /// The base kernel of setPsfSigma: `kernelSize` taps (3 * factor for the
    /// minimiser) of a Gaussian of `sigma` high-resolution pixels integrated over
    /// each pixel, centred between taps kernelSize/2 - 1 and kernelSize/2, as
    /// many taps on each side as the factor spans, normalised to sum 1. For
    /// hosts that model the sensor as the minimiser does.
    static void psfKernel(float sigma, float factor, int kernelSize, float* kernel);
    float getRelRes() const { return relRes; }
    void setRelRes(float value) { relRes = value; }
    float getWeightTV() const { return weightTV; }
    void setWeightTV(float value);

    /// Runs the operator passes on `pool`'s workers (not owned; nullptr or one
    /// thread: on the caller alone). Every pixel sums its terms in the same order
    /// whatever the thread count, so the results do not change.
    void setThreadPool(SrFloatThreadPool* pool);

protected:
    /// width, height: frame size; frameCount: largest window; factor: up-scaling.
    /// Every image buffer gets `spare` zeroed floats beyond its end.
    SrFloatMinimizationBase(int width, int height, int frameCount, float factor, int spare);
    ~SrFloatMinimizationBase();
    SrFloatMinimizationBase(const SrFloatMinimizationBase&) = delete;
    SrFloatMinimizationBase& operator=(const SrFloatMinimizationBase& other);

    void generatePsfs(int nFrames, cv::Point_<float>* shifts);
    SRFLOAT_MINIMIZATION_DISPATCH int conjugateGradients(int nFrames, Mask** masks, int budget);
    SRFLOAT_MINIMIZATION_DISPATCH void computeL();
    SRFLOAT_MINIMIZATION_DISPATCH void computeLRows(int firstRow, int endRow);
    void diagonalRow(int r);
    void diagonalAt(int r, int c);
    void gradient(float* x, int nFrames, Mask** masks, float* out);
    /// out = L x on the full-size rows [firstRow, endRow).
    SRFLOAT_MINIMIZATION_DISPATCH void applyTv(const float* x, float* out, int firstRow, int endRow) const;
    /// out += sum_k A_k' M_k in[k], in row bands across the pool.
    void addBackProjections(int nFrames, float* const* in, Mask** masks, float* out);
    Convolution& convolutionOf(int worker);
    /// Index of a full-size pixel in the order the operators keep full-size images in.
    int fullIndex(int row, int column) const;
    SRFLOAT_MINIMIZATION_DISPATCH bool iteration(int k, int nFrames, Mask** masks);
    double sumOfRows() const;
    double dotByRows(const float* a, const float* b);
    SRFLOAT_MINIMIZATION_DISPATCH void dotRows(const float* a, const float* b, int firstRow, int endRow);
    SRFLOAT_MINIMIZATION_DISPATCH void startResidualRows(int firstRow, int endRow);
    SRFLOAT_MINIMIZATION_DISPATCH void updateRows(float alpha, int firstRow, int endRow);
    SRFLOAT_MINIMIZATION_DISPATCH void directionRows(float beta, int firstRow, int endRow);

    int width;
    int height;
    int kernelSize;
    int fullWidth;
    int fullHeight;
    int fullSize;
    int frameCount;
    int spare;
    float factor;
    float psfSigma;
    float weightTV;
    float relRes;
    int maxIter;
    float* baseKernel;
    float** psfX;
    float** psfY;
    Convolution* convolution;
    float* lowResScratch;
    float* fullScratch;
    float* rhs;
    float* estimate;
    float* couplingEast;
    float* couplingSouth;
    float* couplingSouthWest;
    float* couplingSouthEast;
    float* diagonal;
    float* residual;
    float* direction;
    float* product;
    double* rowSums;  ///< one partial sum per full-size row
    float negInvWeightTV;
    float epsilon;
    float invEpsilon;
    float residualNorm;
    float invNormB;
    SrFloatThreadPool* pool = nullptr;
    /// Operators of the pool's workers but the first, which uses `convolution`.
    std::vector<std::shared_ptr<Convolution>> workerConvolutions;
    /// One sparse-grid image per frame for the correlations that run side by side.
    std::vector<float> frameScratch;
    std::vector<float*> frameScratchRows;
};

extern template class SrFloatMinimizationBase<SrFloatConvolution, char>;
extern template class SrFloatMinimizationBase<SrFloatNeonConvolution, float>;

}  // namespace vision
}  // namespace vorel
