// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include <opencv2/core.hpp>

#include <vector>

namespace vorel {
namespace vision {

/// The two sparse-grid operators that tie a high-resolution estimate to the
/// low-resolution frames, and a box filter used by registration.
///
/// Low-resolution pixel (i, j) sits at high-resolution row 2*i (rows are spaced
/// by 2 whatever the factor) and column s*j with s = (int)factor. Full-size
/// images are (H + kh - 1) rows by (W + kw - 1) columns, H x W being the
/// high-resolution size given to the constructor. Nothing is checked: buffers
/// must match the constructor's sizes. One object must not serve two threads.
class VRLIB_API SrFloatConvolution {
public:
    /// width, height: high-resolution size; kernel sizes in taps; factor f.
    SrFloatConvolution(int width, int height, int kernelWidth, int kernelHeight, float factor);
    ~SrFloatConvolution();
    SrFloatConvolution(const SrFloatConvolution&) = delete;
    SrFloatConvolution& operator=(const SrFloatConvolution&) = delete;

    /// Back-projection: places the masked low-resolution frame `in` (h x w) on
    /// the sparse grid and writes its full convolution with kernelY (vertical)
    /// and kernelX (horizontal) into `out` (full size, overwritten).
    void fullConvFromSparse(float* in, float* kernelX, float* kernelY, char* mask, float* out);

    /// As fullConvFromSparse, but adds the result to `out` instead of overwriting it.
    void addFullConvFromSparse(float* in, float* kernelX, float* kernelY, char* mask, float* out);

    /// Adjoint of the unmasked back-projection: correlates the full-size `in`
    /// with the kernels ("valid" part) and keeps the sparse-grid samples in
    /// `out` (h x w, overwritten).
    void validCorrToSparse(float* in, float* kernelX, float* kernelY, float* out);

    /// Column-phase order of full-size rows: for the column step s, a row holds the
    /// columns c with c % s == 0, then those with c % s == 1, and so on, each group
    /// in ascending order. In this order both operators read and write contiguous
    /// memory; the minimiser keeps its full-size images so.
    void toColumnPhases(const float* row, float* phased) const;
    void fromColumnPhases(const float* phased, float* row) const;
    /// Position of a column within a row in column-phase order.
    int columnPhaseIndex(int column) const {
        const int step = static_cast<int>(factor);
        return phaseOffsets[column % step] + column / step;
    }

    /// addFullConvFromSparse for a full-size `out` in column-phase order.
    void phasedAddFullConvFromSparse(const float* in, const float* kernelX, const float* kernelY, const char* mask,
                                     float* out);
    /// The same for the full-size rows [firstRow, endRow) only; each row gets
    /// exactly the sums of the whole-image call, so bands may run on separate objects.
    void phasedAddFullConvFromSparseRows(const float* in, const float* kernelX, const float* kernelY,
                                         const char* mask, float* out, int firstRow, int endRow);
    /// validCorrToSparse for a full-size `in` in column-phase order.
    void phasedValidCorrToSparse(const float* in, const float* kernelX, const float* kernelY, float* out);

    /// Mean of the (2r+1) x (2r+1) window, cut at the image edges (the divisor is
    /// the number of samples inside), O(1) per pixel with running sums. `dst` is
    /// reallocated only if it is not a float image of src's size.
    /// The low-resolution rows [*first, *end) of a frame of `lowHeight` rows that
    /// reach full-size rows [firstRow, endRow) through `kernelHeight` vertical taps.
    static void lowRowsReaching(int firstRow, int endRow, int kernelHeight, int lowHeight, int* first, int* end);
    static void blurImageMeanFilter(cv::Mat_<float>& src, int radius, cv::Mat_<float>& dst);

private:
    template <bool Accumulate, bool Phased>
    void backProject(const float* in, const float* kernelX, const float* kernelY, const char* mask, float* out,
                     int firstRow, int endRow);
    template <bool Phased>
    void correlate(const float* in, const float* kernelX, const float* kernelY, float* out);
    void correlateRow(const float* phasedRow, const float* kernelX, float* out);
    template <typename PhasedRowOf>
    void correlateGridRow(int i, const float* kernelX, const float* kernelY, PhasedRowOf phasedRowOf, float* ring,
                          int& nextRow, float* out);
    template <bool Accumulate, bool Phased, typename MaskedRowOf>
    void backProjectRow(int r, const float* kernelX, const float* kernelY, MaskedRowOf maskedRowOf, float* spread,
                        float* phases, float* outRow);
    float* paddedRow(float* buffer) const;

    int width;
    int height;
    int kernelWidth;
    int kernelHeight;
    int fullWidth;
    int fullHeight;
    float factor;
    cv::Mat_<float> workMatrix;
    float* workData;
    // Rows and weights of one sum of kernel taps.
    std::vector<const float*> termRows;
    std::vector<float> termWeights;
    // Start of each column phase within a row, and the row length last.
    std::vector<int> phaseOffsets;
};

}  // namespace vision
}  // namespace vorel
