// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace vorel {
namespace bench {

/// OpenCV's multi-frame super-resolution (Bilateral-TV-L1), fed a burst
/// through a frame source of ours.
///
/// OpenCV's implementation treats the frames as a video and returns one 8-bit
/// result per frame, without a border of the bilateral kernel's size. The
/// frames are mapped linearly from the burst's value range to 0..255 on the
/// way in and back on the way out, and the missing border is filled by
/// replication, so the result has the frames' units and twice their size.
class BtvL1 {
public:
    /// `blurSigma` is the sensor blur in output pixels; `iterations` those of its steepest descent.
    BtvL1(float blurSigma, int iterations);

    /// One result per frame of the burst, as the method works through it like
    /// a video; its temporal window spans half the burst on either side.
    std::vector<cv::Mat_<float>> reconstruct(const std::vector<cv::Mat_<float>>& burst) const;

private:
    float blurSigma_;
    int iterations_;
};

}  // namespace bench
}  // namespace vorel
