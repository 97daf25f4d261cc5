// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/DSP_Convolution.h"

#include "vorel/Dispatch.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <type_traits>

namespace vorel {
namespace vision {

namespace {

// How the 3 x 3 filter adds its products: short keeps a 16-bit sum that wraps,
// as the 16-bit processors it was written for do; int keeps 32 bits and
// saturates the shifted sum to 16 bits. Unsigned arithmetic makes the wrap
// defined; a product modulo 2^32 is all that either sum keeps of it.
template <typename T>
struct FilterSum;

template <>
struct FilterSum<short> {
    using Sum = std::uint16_t;
    static short finish(Sum sum, short shift) { return static_cast<short>(static_cast<short>(sum) >> shift); }
};

template <>
struct FilterSum<int> {
    using Sum = std::uint32_t;
    static int finish(Sum sum, int shift) { return std::clamp(static_cast<int>(sum) >> shift, -32768, 32767); }
};

template <typename T>
void filterRun(const T* in, T* out, int count, int pitch, const T* coeffs, T shift) {
    using Sum = typename FilterSum<T>::Sum;
    for (int k = 0; k < count; ++k) {
        Sum sum = 0;
        for (int a = 0; a < 3; ++a)
            for (int b = 0; b < 3; ++b)
                sum = static_cast<Sum>(sum + static_cast<std::uint32_t>(coeffs[3 * a + b]) *
                                                 static_cast<std::uint32_t>(in[k + a * pitch + b]));
        out[k] = FilterSum<T>::finish(sum, shift);
    }
}

// Plain functions, so that the loop is also compiled for AVX2 (which multiplies 32-bit lanes).
VOREL_DISPATCH_AVX2 void filter3x3(const short* in, short* out, int count, int pitch, const short* coeffs,
                                   short shift) {
    filterRun(in, out, count, pitch, coeffs, shift);
}

VOREL_DISPATCH_AVX2 void filter3x3(const int* in, int* out, int count, int pitch, const int* coeffs, int shift) {
    filterRun(in, out, count, pitch, coeffs, shift);
}

// Products of two samples: short ones fit an int, int ones need 64 bits.
template <typename T>
using Product = std::conditional_t<sizeof(T) < sizeof(int), int, long long>;

// Q30 to Q15, rounding toward zero.
template <typename T>
T toQ15(long long q30) {
    return static_cast<T>((q30 < 0 ? q30 + 32767 : q30) >> 15);
}

}  // namespace

template <typename T>
DSP_Convolution<T>::DSP_Convolution(T width, T height, T kernelWidth, T kernelHeight, float factor)
    : width(width),
      height(height),
      kernelWidth(kernelWidth),
      kernelHeight(kernelHeight),
      fullWidth(static_cast<T>(width + kernelWidth - 1)),
      fullHeight(static_cast<T>(height + kernelHeight - 1)),
      factor(factor),
      work(new T[static_cast<std::size_t>(fullHeight) * width]),
      filterScale(1) {
    const int w = static_cast<T>(static_cast<int>(width / factor));
    const int h = static_cast<T>(static_cast<int>(height / factor));
    padded.assign(static_cast<std::size_t>(h + 4) * (w + 4), 0);
    phases.assign(4 * padded.size(), 0);
}

template <typename T>
DSP_Convolution<T>::~DSP_Convolution() {
    delete[] work;
}

template <typename T>
void DSP_Convolution<T>::ImgConv3x3I16sC16s(const T* in, T* out, short count, short pitch, const T* coeffs, T shift) {
    filter3x3(in, out, count, pitch, coeffs, shift);
}

// For factor 2 the 6-tap kernel splits into four 3 x 3 kernels, one per output
// phase (row parity py, column parity px), with the taps flipped so that the
// filter's correlation is the convolution: out[2r + py][2c + px] sums
// kernelY[py + 2m] * kernelX[px + 2n] * in[r - m][c - n].
template <typename T>
void DSP_Convolution<T>::fullConvFromSparse(T* in, T* kernelX, T* kernelY, char* mask, T* out) {
    const int w = static_cast<T>(static_cast<int>(width / factor));
    const int h = static_cast<T>(static_cast<int>(height / factor));
    const int pitch = w + 4;
    const int stride = 2 * w + 5;
    const std::size_t phaseSize = static_cast<std::size_t>(h + 4) * pitch;
    // The border of two zero rows and columns stays as the constructor left it.
    for (int i = 0; i < h; ++i)
        for (int j = 0; j < w; ++j)
            padded[(i + 2) * pitch + j + 2] = static_cast<T>(in[i * w + j] * static_cast<signed char>(mask[i * w + j]));

    for (int p = 0; p < 4; ++p) {
        const int px = p & 1, py = (p >> 1) & 1;
        T coeffs[9];
        for (int a = 0; a < 3; ++a) {
            for (int b = 0; b < 3; ++b) {
                const int rowTap = py + 2 * (2 - a), columnTap = px + 2 * (2 - b);
                coeffs[3 * a + b] = toQ15<T>(static_cast<long long>(kernelX[columnTap]) * kernelY[rowTap]);
                std::cout << "H" << p << "(" << a << "," << b << ") :" << coeffs[3 * a + b] << "\n"
                          << " cm: " << rowTap << ", rm: " << columnTap << "\n";
            }
        }
        // Row by row, the w + 2 positions that the interleave reads.
        T* phase = phases.data() + p * phaseSize;
        for (int r = 0; r < h + 2; ++r)
            ImgConv3x3I16sC16s(padded.data() + r * pitch, phase + r * pitch, static_cast<short>(w + 2),
                               static_cast<short>(pitch), coeffs, 15);
    }

    for (int r = 0; r < h + 2; ++r) {
        for (int c = 0; c < w + 2; ++c) {
            const std::size_t at = static_cast<std::size_t>(r) * pitch + c;
            T* even = out + static_cast<std::size_t>(2 * r) * stride + 2 * c;
            T* odd = even + stride;
            even[0] = phases[at];
            even[1] = phases[phaseSize + at];
            odd[0] = phases[2 * phaseSize + at];
            odd[1] = phases[3 * phaseSize + at];
        }
    }
}

// Each product is divided on its own, truncating, and the sums wrap in T. As
// integer sums do not depend on their order, each output is summed in one go.
template <typename T>
void DSP_Convolution<T>::validCorrToSparse(T* in, T* kernelX, T* kernelY, T* out) {
    const int w = static_cast<int>(width / factor);
    const int h = static_cast<int>(height / factor);
    const int step = static_cast<int>(factor);
    const T divisor = filterScale;
    for (int r = 0; r < fullHeight; ++r) {
        const T* row = in + static_cast<std::size_t>(r) * fullWidth;
        for (int j = 0; j < w; ++j) {
            T sum = 0;
            for (int k = 0; k < kernelWidth; ++k)
                sum = static_cast<T>(sum + static_cast<Product<T>>(row[k + step * j]) * kernelX[k] / divisor);
            work[static_cast<std::size_t>(r) * w + j] = sum;
        }
    }
    for (int i = 0; i < h; ++i) {
        for (int j = 0; j < w; ++j) {
            T sum = 0;
            for (int k = 0; k < kernelHeight; ++k)
                sum =
                    static_cast<T>(sum + static_cast<Product<T>>(work[static_cast<std::size_t>(k + step * i) * w + j]) *
                                             kernelY[k] / divisor);
            out[i * w + j] = sum;
        }
    }
}

template class DSP_Convolution<short>;
template class DSP_Convolution<int>;

}  // namespace vision
}  // namespace vorel
