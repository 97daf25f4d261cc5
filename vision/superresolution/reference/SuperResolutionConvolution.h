// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include <memory>

namespace vorel {
namespace vision {

class SrFloatConvolution;

/// Sparse-grid operators of the reference engine and a box filter, on the float
/// engine's implementation (SrFloatConvolution, same grid and arithmetic).
/// gridWidth x gridHeight is the high-resolution size without padding; padded
/// images are (gridHeight + ky - 1) x (gridWidth + kx - 1). Nothing is checked.
/// Assignment and copies are shallow: they share the source's scratch.
class VRLIB_API SuperResolutionConvolution {
public:
    SuperResolutionConvolution(int gridWidth, int gridHeight, int kernelWidth, int kernelHeight, float factor);
    ~SuperResolutionConvolution();
    SuperResolutionConvolution(const SuperResolutionConvolution&);
    SuperResolutionConvolution& operator=(const SuperResolutionConvolution&);

    /// Transposed operator: the masked low-resolution image placed on the sparse
    /// grid and fully convolved with psfY (down the columns) and psfX (along the
    /// rows) into the padded `out`, overwritten.
    void fullConvFromSparse(float* lowRes, float* psfX, float* psfY, char* mask, float* out);
    /// Forward operator: valid correlation of the padded grid with the kernels,
    /// sampled on the sparse grid, into the low-resolution `out`.
    void validCorrToSparse(float* grid, float* psfX, float* psfY, float* out);
    /// Mean over the (2r + 1) x (2r + 1) window of a gridWidth x gridHeight image,
    /// cut at the border (divided by the samples inside there).
    void sameConvOnes(float* in, int radius, float* out);

private:
    int gridWidth;
    int gridHeight;
    std::shared_ptr<SrFloatConvolution> operators;
};

}  // namespace vision
}  // namespace vorel
