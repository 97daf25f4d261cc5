// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

namespace vorel {
namespace vision {

/// One-dimensional single-precision FFT of any length (mixed radix: passes for 2,
/// 3, 4, 5 and one for any other odd factor), after Swarztrauber's FFTPACK.
///
/// A plan belongs to one length n. Its owner allocates the factor record
/// (kFftFactorRecordSize ints: n, the number of factors, the factors in the order
/// the passes apply them) and the work area (fftRealWorkSize or fftComplexWorkSize
/// floats: scratch, then the twiddles); the plan only points at them. Build it
/// once with fftInitReal or fftInitComplex and reuse it: the transforms allocate
/// nothing, and as they use the plan's scratch, one plan serves one call at a time.
///
/// Real data: n floats. The forward result is in half-complex order: R0, then
/// (Rk, Ik) at 2k - 1, 2k for k = 1 ... (n - 1) / 2, and for even n the Nyquist
/// term R(n/2) last. Complex data: n interleaved (real, imaginary) pairs. Forward
/// uses exp(-i...), backward exp(+i...); neither scales, so a forward and a
/// backward transform multiply the data by n. For n = 1 they do nothing.
struct FftPlan {
    int* factors;
    float* work;
};

constexpr int kFftFactorRecordSize = 15;
constexpr int fftRealWorkSize(int n) { return 2 * n; }
constexpr int fftComplexWorkSize(int n) { return 4 * n; }

/// Number of transforms the batch functions run side by side.
constexpr int kFftBatch = 8;

VRLIB_API void fftInitReal(const FftPlan& plan, int n);
VRLIB_API void fftInitComplex(const FftPlan& plan, int n);

VRLIB_API void fftForwardReal(const FftPlan& plan, float* data);
VRLIB_API void fftBackwardReal(const FftPlan& plan, float* data);
VRLIB_API void fftForwardComplex(const FftPlan& plan, float* data);
VRLIB_API void fftBackwardComplex(const FftPlan& plan, float* data);

/// kFftBatch transforms of one plan at once, each with exactly the arithmetic of
/// the single transform. Element e of transform b is data[e * kFftBatch + b]
/// (for complex data, e = 2m for the real and 2m + 1 for the imaginary part of
/// value m); `scratch` holds as many floats as `data`, and the plan's own
/// scratch is not touched.
VRLIB_API void fftForwardRealBatch(const FftPlan& plan, float* data, float* scratch);
VRLIB_API void fftBackwardRealBatch(const FftPlan& plan, float* data, float* scratch);
VRLIB_API void fftForwardComplexBatch(const FftPlan& plan, float* data, float* scratch);
VRLIB_API void fftBackwardComplexBatch(const FftPlan& plan, float* data, float* scratch);

}  // namespace vision
}  // namespace vorel
