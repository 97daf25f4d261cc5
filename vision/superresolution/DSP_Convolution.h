// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include <vector>

namespace vorel {
namespace vision {

/// The sparse-grid operators of SrFloatConvolution in Q15 fixed point, for
/// processors without fast floating point; T is short or int.
///
/// Kernels hold value * 32768. Low-resolution images are w x h with
/// w = (int)(W / f), h = (int)(H / f); full-size images have rows of 2w + 5
/// values (W + kw - 1 for factor 2 and 6 taps), Hf = H + kh - 1 rows. Masks are
/// signed bytes, 0 or 1. Only factor 2 with 6-tap kernels is meaningful for
/// fullConvFromSparse. Nothing is checked. Assignment copies every field as it
/// is, so that afterwards both objects share the source's work array.
template <typename T>
class VRLIB_API DSP_Convolution {
public:
    /// width, height: high-resolution size; kernel sizes in taps; factor f.
    DSP_Convolution(T width, T height, T kernelWidth, T kernelHeight, float factor);
    ~DSP_Convolution();
    DSP_Convolution(const DSP_Convolution&) = delete;
    DSP_Convolution& operator=(const DSP_Convolution& other) = default;

    /// Divisor of every product in validCorrToSparse; 1 until set. A divisor of
    /// 0 makes validCorrToSparse raise the processor's division fault.
    void setFilterScale(short scale) { filterScale = scale; }

    /// Back-projection of the masked frame `in` (w x h) onto the sparse grid,
    /// fully convolved with the kernels, in four phases of 3 x 3 Q15 kernels
    /// whose results interleave into `out`. Row 2h + 4 and column 2w + 4 of
    /// `out` are not written. Prints the 36 phase coefficients, two lines each.
    /// With T = short the nine products of a phase output are added modulo
    /// 2^16 before the shift by 15, so every output is 0 or -1; with T = int
    /// they are added in 32 bits and the shifted sum saturates to 16 bits.
    void fullConvFromSparse(T* in, T* kernelX, T* kernelY, char* mask, T* out);

    /// The correlation with the kernels, sampled on the grid: each product is
    /// divided by the filter scale (truncating), the sums kept in T. Rows of
    /// `in` are taken factor rows apart.
    void validCorrToSparse(T* in, T* kernelX, T* kernelY, T* out);

private:
    /// out[k] = (sum over a, b of coeffs[3a + b] * in[k + a * pitch + b]) >> shift,
    /// for `count` consecutive positions.
    void ImgConv3x3I16sC16s(const T* in, T* out, short count, short pitch, const T* coeffs, T shift);

    T width;
    T height;
    T kernelWidth;
    T kernelHeight;
    T fullWidth;
    T fullHeight;
    float factor;
    T* work;
    T filterScale;
    // The zero-bordered masked frame and the four phase images of fullConvFromSparse.
    std::vector<T> padded;
    std::vector<T> phases;
};

extern template class DSP_Convolution<short>;
extern template class DSP_Convolution<int>;

}  // namespace vision
}  // namespace vorel
