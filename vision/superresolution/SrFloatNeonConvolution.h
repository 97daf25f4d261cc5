// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include <opencv2/core.hpp>

namespace vorel {
namespace vision {

/// The sparse-grid operators of SrFloatConvolution on four-lane float vectors,
/// with float masks (1.0 keeps a sample, 0.0 drops it).
///
/// Same grid, sizes and results as SrFloatConvolution: low-resolution pixel
/// (i, j) sits at high-resolution row 2*i and column 2*j, full-size images are
/// (H + kh - 1) rows by (W + kw - 1) columns. The vector passes assume factor 2
/// and kernels of at most 16 taps; odd frame widths end in scalar loops, so no
/// operator reads or writes beyond the caller's buffers. Nothing is
/// checked. One object must not serve two threads. Copies share the work matrix.
class VRLIB_API SrFloatNeonConvolution {
public:
    /// width, height: high-resolution size; kernel sizes in taps; factor f.
    SrFloatNeonConvolution(int width, int height, int kernelWidth, int kernelHeight, float factor);

    /// Back-projection: the masked low-resolution frame `in` (h x w) on the
    /// sparse grid, fully convolved with kernelY (vertical) and kernelX
    /// (horizontal) into `out` (full size, overwritten).
    void fullConvFromSparse(float* in, float* kernelX, float* kernelY, float* mask, float* out);

    /// As fullConvFromSparse, but adds the result to `out`.
    void addFullConvFromSparse(float* in, float* kernelX, float* kernelY, float* mask, float* out);
    /// The same for the full-size rows [firstRow, endRow) only; each row gets
    /// exactly the sums of the whole-image call, so bands may run on separate objects.
    void addFullConvFromSparseRows(const float* in, const float* kernelX, const float* kernelY, const float* mask,
                                   float* out, int firstRow, int endRow);

    /// Adjoint of the unmasked back-projection: the "valid" correlation of the
    /// full-size `in` with the kernels, sampled on the sparse grid into `out`
    /// (h x w, overwritten).
    void validCorrToSparse(float* in, float* kernelX, float* kernelY, float* out);

private:
    template <bool Accumulate>
    void backProject(const float* in, const float* kernelX, const float* kernelY, const float* mask, float* out,
                     int firstRow, int endRow);

    int width;
    int height;
    int kernelWidth;
    int kernelHeight;
    int fullWidth;
    int fullHeight;
    float factor;
    int lowWidth;
    int lowHeight;
    int columnStep;
    cv::Mat_<float> workMatrix;
    float* workData;
};

}  // namespace vision
}  // namespace vorel
