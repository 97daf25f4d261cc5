// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"
#include "vision/superresolution/reference/PointF.h"

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

namespace vorel {
namespace vision {

class SrFloatMinimization;

/// TV-regularised conjugate-gradient reconstruction of the reference engine. It
/// is the float engine's minimiser (SrFloatMinimization): the same PSFs,
/// lagged-diffusivity operator with its first-pixel rule, and shared CG budget
/// (a restart with no budget left cannot move the estimate, so the result is
/// that of a restart that stops at once). Defaults: PSF sigma 0.683, TV weight
/// 400, relative residue 0.007, 8 iterations, epsilon 0.1. Assignment and copies
/// are shallow: they share the source's buffers.
class VRLIB_API SuperResolutionMinimization {
public:
    /// width, height: frame size; frameCount: largest window; factor: up-scaling.
    SuperResolutionMinimization(int width, int height, int frameCount, float factor);
    ~SuperResolutionMinimization();
    SuperResolutionMinimization(const SuperResolutionMinimization&);
    SuperResolutionMinimization& operator=(const SuperResolutionMinimization&);

    /// Reconstructs the (int)(height * factor) x (int)(width * factor) image into
    /// `out` and returns the CG iterations done. Normalises `frames` in place by
    /// the mean and standard deviation of frames[ref]; shifts are the residual
    /// sub-pixel shifts, masks 1 where a pixel is used.
    int minimize(int n, int ref, float** frames, PointF* shifts, char** masks, float* out);

    int getMaxIter() const;
    void setMaxIter(int n);
    float getPsfSigma() const;
    /// Stores sigma (high-resolution pixels) and rebuilds the PSF.
    void setPsfSigma(float sigma);
    float getRelRes() const;
    void setRelRes(float r);
    float getWeightTV() const;
    void setWeightTV(float w);
    float getEpsilon() const;
    void setEpsilon(float e);

private:
    std::shared_ptr<SrFloatMinimization> minimizer;
    std::vector<cv::Point_<float>> shiftScratch;
};

}  // namespace vision
}  // namespace vorel
