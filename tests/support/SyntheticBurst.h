// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <cstdint>

namespace vorel {
namespace test {

/// A thermal-like scene (20 to 40 degrees: smooth warm regions, a fine texture,
/// sharp-edged objects and small hot spots) and low-resolution frames of it, for
/// tests against a known ground truth.
///
/// The scene is drawn on a fine grid of oversampling x oversampling samples per
/// frame pixel, with a margin of `margin` frame pixels around the view. A frame
/// shifted by d sees the scene moved by d (rounded to 1 / oversampling pixel),
/// blurred by a Gaussian, averaged over each frame pixel's area (so frame pixel i
/// covers ground-truth pixels 2i and 2i + 1) and with Gaussian noise added.
class SyntheticBurst {
public:
    static constexpr int margin = 8;

    /// oversampling must be even; blurSigma is in ground-truth (output) pixels.
    SyntheticBurst(int width, int height, int oversampling, float blurSigma, std::uint64_t seed);

    /// The unblurred scene at twice the frame size, in the geometry of the unshifted frame.
    cv::Mat_<float> groundTruth() const;

    /// A width x height frame with the scene moved by `shift` frame pixels (|shift| < margin).
    cv::Mat_<float> frame(cv::Point2f shift, float noiseSigma);

private:
    int width;
    int height;
    int oversampling;
    cv::Mat_<float> fine;
    cv::Mat_<float> blurredFine;
    cv::RNG rng;
};

/// Peak signal-to-noise ratio in dB of `image` against `truth` over the interior
/// that leaves out `border` pixels on every side; the peak is truth's value range.
double psnr(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, int border);

}  // namespace test
}  // namespace vorel
