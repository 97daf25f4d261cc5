// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatFft2d.h"

#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <vector>

namespace vorel {
namespace vision {
namespace {

using Complex = std::complex<double>;
using Spectrum = std::vector<std::array<float, 2>>;

float (*pairs(Spectrum& spectrum))[2] { return reinterpret_cast<float(*)[2]>(spectrum.data()); }

std::vector<float> randomImage(int width, int height, std::uint64_t seed) {
    std::vector<float> image(static_cast<std::size_t>(width) * height);
    cv::RNG rng(seed);
    for (float& value : image) value = rng.uniform(20.0f, 40.0f);
    return image;
}

// The 1-D DFT in double precision, sign -1.
std::vector<Complex> dft(const std::vector<Complex>& x) {
    const std::size_t n = x.size();
    std::vector<Complex> out(n);
    for (std::size_t k = 0; k < n; ++k)
        for (std::size_t j = 0; j < n; ++j) out[k] += x[j] * std::polar(1.0, -2.0 * CV_PI * ((j * k) % n) / n);
    return out;
}

struct Size {
    int width, height;
};
// Even and odd widths and heights, and a factor 7 for the general passes.
const Size kSizes[] = {{16, 12}, {15, 10}, {14, 9}, {1, 6}, {2, 1}};

TEST(SrFloatFft2d, ForwardIsTheDftOfTheRowsUnpackedThenOfTheColumns) {
    for (const Size size : kSizes) {
        const int w = size.width, h = size.height, columns = w / 2 + 1;
        SCOPED_TRACE(testing::Message() << w << "x" << h);
        const std::vector<float> image = randomImage(w, h, w * 100 + h);
        // Row transforms as forward unpacks them: the last place takes the last
        // element of the half-complex row, for an odd width the imaginary part of
        // the last coefficient.
        std::vector<std::vector<Complex>> unpacked(h, std::vector<Complex>(columns));
        for (int y = 0; y < h; ++y) {
            const std::vector<Complex> row =
                dft(std::vector<Complex>(image.begin() + y * w, image.begin() + (y + 1) * w));
            for (int k = 0; k < columns; ++k) unpacked[y][k] = row[k];
            unpacked[y][0] = row[0].real();
            unpacked[y][w / 2] = w % 2 == 0 || w == 1 ? row[w / 2].real() : row[w / 2].imag();
        }
        Spectrum spectrum(static_cast<std::size_t>(columns) * h);
        SrFloatFft2d fft(w, h);
        fft.forward(image.data(), pairs(spectrum));
        double worst = 0.0, scale = 0.0;
        for (int k = 0; k < columns; ++k) {
            std::vector<Complex> column(h);
            for (int y = 0; y < h; ++y) column[y] = unpacked[y][k];
            const std::vector<Complex> expected = dft(column);
            for (int y = 0; y < h; ++y) {
                const Complex actual(spectrum[y * columns + k][0], spectrum[y * columns + k][1]);
                worst = std::max(worst, std::abs(actual - expected[y]));
                scale = std::max(scale, std::abs(expected[y]));
            }
        }
        EXPECT_LT(worst / scale, 1e-6);
    }
}

TEST(SrFloatFft2d, BackwardUndoesForwardTimesTheSizeAndKeepsTheSpectrum) {
    for (const Size size : kSizes) {
        const int w = size.width, h = size.height, columns = w / 2 + 1;
        SCOPED_TRACE(testing::Message() << w << "x" << h);
        const std::vector<float> image = randomImage(w, h, w * 7 + h);
        SrFloatFft2d fft(w, h);
        Spectrum spectrum(static_cast<std::size_t>(columns) * h);
        fft.forward(image.data(), pairs(spectrum));
        const Spectrum before = spectrum;
        std::vector<float> back(image.size(), -1.0f);
        fft.backward(pairs(spectrum), back.data());
        EXPECT_EQ(std::memcmp(before.data(), spectrum.data(), spectrum.size() * sizeof spectrum[0]), 0);

        // w h x, less for an odd width the cosine of the dropped real part.
        const int last = (w - 1) / 2;
        double worst = 0.0;
        for (int y = 0; y < h; ++y) {
            const std::vector<Complex> row =
                dft(std::vector<Complex>(image.begin() + y * w, image.begin() + (y + 1) * w));
            for (int x = 0; x < w; ++x) {
                double expected = static_cast<double>(w) * image[y * w + x];
                if (w % 2 == 1 && last > 0) expected -= 2.0 * row[last].real() * std::cos(2.0 * CV_PI * x * last / w);
                worst = std::max(worst, std::abs(back[y * w + x] / h - expected) / (w * 40.0));
            }
        }
        EXPECT_LT(worst, 1e-6);
    }
}

// The smoothing the phase correlation applies: times the conjugate response, backward.
std::vector<float> smoothInFrequency(SrFloatFft2d& fft, const std::vector<float>& image, Spectrum& response) {
    const int columns = fft.getWidth() / 2 + 1;
    Spectrum spectrum(static_cast<std::size_t>(columns) * fft.getHeight());
    fft.forward(image.data(), pairs(spectrum));
    for (std::size_t i = 0; i < spectrum.size(); ++i) {
        const float re = spectrum[i][0], im = spectrum[i][1], gr = response[i][0], gi = response[i][1];
        spectrum[i] = {re * gr + im * gi, im * gr - re * gi};
    }
    std::vector<float> out(image.size());
    fft.backward(pairs(spectrum), out.data());
    return out;
}

TEST(SrFloatFft2d, GaussFftGivesThePixelIntegratedGaussianAndItsResponse) {
    const int w = 24, h = 20, radius = 5, cx = 11, cy = 8;
    const float sigma = std::sqrt(3.0f);
    SrFloatFft2d fft(w, h);
    Spectrum response(static_cast<std::size_t>(w / 2 + 1) * h);
    std::vector<float> kernel(radius + 1);
    fft.gaussFft(radius, sigma, pairs(response), kernel.data());

    double symmetric = -kernel[0];
    for (int i = 0; i <= radius; ++i) {
        SCOPED_TRACE(i);
        symmetric += 2.0 * kernel[i];
        // The mass over pixel i, by the exact error function, normalised over the taps.
        const auto mass = [&](int t) {
            const double s = sigma * std::sqrt(2.0);
            return 0.5 * (std::erf((t + 0.5) / s) - std::erf((t - 0.5) / s));
        };
        double total = mass(0);
        for (int t = 1; t <= radius; ++t) total += 2.0 * mass(t);
        EXPECT_NEAR(kernel[i], mass(i) / total, 2e-3 * kernel[0]);
        if (i > 0) {
            EXPECT_LT(kernel[i], kernel[i - 1]);
        }
    }
    EXPECT_NEAR(symmetric, 1.0, 1e-6);
    EXPECT_NEAR(response[0][0], 1.0 / (w * h), 1e-6 / (w * h));
    EXPECT_EQ(response[0][1], 0.0f);

    // An impulse comes back as the separable kernel around it.
    std::vector<float> impulse(static_cast<std::size_t>(w) * h, 0.0f);
    impulse[cy * w + cx] = 1.0f;
    const std::vector<float> smoothed = smoothInFrequency(fft, impulse, response);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const int dx = std::abs(x - cx), dy = std::abs(y - cy);
            const float expected = dx <= radius && dy <= radius ? kernel[dx] * kernel[dy] : 0.0f;
            ASSERT_NEAR(smoothed[y * w + x], expected, 1e-7) << x << "," << y;
        }
    }
}

// Smoothing with the kernel cut at the border, divided by the weight of the taps inside.
std::vector<double> cutSmoothing(const std::vector<float>& image, int w, int h, const std::vector<float>& kernel) {
    const int r = static_cast<int>(kernel.size()) - 1;
    std::vector<double> out(image.size());
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            double sum = 0.0, weight = 0.0;
            for (int dy = -r; dy <= r; ++dy) {
                for (int dx = -r; dx <= r; ++dx) {
                    if (y + dy < 0 || y + dy >= h || x + dx < 0 || x + dx >= w) continue;
                    const double k = static_cast<double>(kernel[std::abs(dx)]) * kernel[std::abs(dy)];
                    sum += k * image[(y + dy) * w + x + dx];
                    weight += k;
                }
            }
            out[y * w + x] = sum / weight;
        }
    }
    return out;
}

TEST(SrFloatFft2d, RepairedSmoothingIsTheCutRenormalisedSmoothingUpToTheCorners) {
    struct Row {
        const char* name;
        int width, height, radius;
        bool constant;
    };
    const Row rows[] = {
        {"constant 30", 40, 30, 5, true},  // steps along whole rows and columns alone leave ~42 at (0, 0)
        {"texture", 40, 30, 5, false},
        {"odd height, radius 3", 32, 17, 3, false},
        {"smaller than the kernel", 10, 7, 5, false},
        {"radius 0", 16, 12, 0, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const int w = row.width, h = row.height;
        std::vector<float> image = randomImage(w, h, 5);
        if (row.constant) std::fill(image.begin(), image.end(), 30.0f);
        SrFloatFft2d fft(w, h);
        Spectrum response(static_cast<std::size_t>(w / 2 + 1) * h);
        std::vector<float> kernel(row.radius + 1);
        fft.gaussFft(row.radius, std::sqrt(row.radius * 3.0f * row.radius / 25.0f), pairs(response), kernel.data());
        std::vector<float> smoothed = smoothInFrequency(fft, image, response);
        fft.repairGaussBlur(image.data(), smoothed.data(), row.radius, kernel.data());
        const std::vector<double> expected = cutSmoothing(image, w, h, kernel);
        for (int i = 0; i < w * h; ++i) ASSERT_NEAR(smoothed[i], expected[i], 1e-4) << i % w << "," << i / w;
    }
}

}  // namespace
}  // namespace vision
}  // namespace vorel
