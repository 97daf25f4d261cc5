// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

namespace vorel {
namespace vision {

class SrFloatConvolution;
class SrFloatThreadPool;

/// TV-regularised reconstruction of one high-resolution image from a registered
/// window of low-resolution frames.
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
class VRLIB_API SrFloatMinimization {
public:
    /// width, height: frame size; frameCount: largest window; factor: up-scaling.
    SrFloatMinimization(int width, int height, int frameCount, float factor);
    ~SrFloatMinimization();
    SrFloatMinimization(const SrFloatMinimization&) = delete;
    SrFloatMinimization& operator=(const SrFloatMinimization& other);

    /// Reconstructs into `out` ((int)(h*f) rows by (int)(w*f) columns) and returns
    /// the number of CG iterations spent. Normalises `frames` in place by the
    /// reference frame's mean and standard deviation. shifts are the frames'
    /// sub-pixel shifts in input pixels; masks hold 1 for pixels to use.
    int minimize(int nFrames, int refIndex, float** frames, cv::Point_<float>* shifts, char** masks, float* out);

    float getEpsilon() const { return epsilon; }
    void setEpsilon(float value);
    int getMaxIter() const { return maxIter; }
    void setMaxIter(int value) { maxIter = value; }
    float getPsfSigma() const { return psfSigma; }
    /// Stores sigma (high-resolution pixels) and rebuilds the base kernel.
    void setPsfSigma(float sigma);
    float getRelRes() const { return relRes; }
    void setRelRes(float value) { relRes = value; }
    float getWeightTV() const { return weightTV; }
    void setWeightTV(float value);

    /// Runs the operator passes on `pool`'s workers (not owned; nullptr or one
    /// thread: on the caller alone). Each pixel sums its terms in the same order
    /// whatever the thread count, so the results do not change.
    void setThreadPool(SrFloatThreadPool* pool);

private:
    friend class SrFloatMinimizationInspector;  // test access to the steps

    void generatePsfs(int nFrames, cv::Point_<float>* shifts);
    int conjugateGradients(int nFrames, char** masks, int budget);
    void computeL();
    void gradient(float* x, int nFrames, char** masks, float* out);
    void applyTv(const float* x, float* out) const;
    /// Index of a full-size pixel; full-size images are kept in column-phase order.
    int fullIndex(int row, int column) const;
    bool iteration(int k, int nFrames, char** masks);
    /// out += sum_k A_k' M_k in[k], the rows split into bands across the pool.
    void addBackProjections_(int nFrames, const float* const* in, char** masks, float* out);
    SrFloatConvolution& workerConvolution_(int worker);

    int width;
    int height;
    int kernelSize;
    int fullWidth;
    int fullHeight;
    int fullSize;
    int frameCount;
    float factor;
    float psfSigma;
    float weightTV;
    float relRes;
    int maxIter;
    float* baseKernel;
    float** psfX;
    float** psfY;
    SrFloatConvolution* convolution;
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
    float negInvWeightTV;
    float epsilon;
    float invEpsilon;
    float residualNorm;
    float invNormB;
    SrFloatThreadPool* pool = nullptr;
    /// Convolutions of the pool workers but the first (which uses `convolution`).
    std::vector<std::shared_ptr<SrFloatConvolution>> workerConvolutions;
    /// One sparse-grid image per frame for the correlations that run side by side.
    std::vector<float> frameScratch;
    std::vector<const float*> frameScratchRows;
};

}  // namespace vision
}  // namespace vorel
