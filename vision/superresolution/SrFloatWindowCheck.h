// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <cmath>

namespace vorel {
namespace vision {

/// The verdicts both engines give on a registered window: the warning status
/// and the effective super-resolution factor.
class SrFloatWindowCheck {
public:
    /// -6 when a complete shift exceeds height / 10 in either component, else -3
    /// when half or more of a frame's mask is 0, else 0. Mask: char or float.
    template <class Point, typename Mask>
    static int status(int n, const Point* completeShifts, Mask** masks, int width, int height) {
        bool largeDisplacement = false;
        bool tooManyMasked = false;
        const float limit = static_cast<float>(height / 10);
        for (int i = 0; i < n; ++i) {
            if (std::fabs(completeShifts[i].x) > limit || std::fabs(completeShifts[i].y) > limit)
                largeDisplacement = true;
            if (unusedShare(masks[i], height, width) >= 0.5f) tooManyMasked = true;
        }
        return largeDisplacement ? -6 : (tooManyMasked ? -3 : 0);
    }

    /// Share of a frame's pixels that its mask leaves out: the sum of the signed
    /// bytes, or the count of non-zero floats, against the pixel count.
    static float unusedShare(char* mask, int rows, int cols) {
        const cv::Mat_<signed char> bytes(rows, cols, reinterpret_cast<signed char*>(mask));
        const float count = static_cast<float>(rows * cols);
        return (count - static_cast<float>(cv::sum(bytes)[0])) / count;
    }
    static float unusedShare(float* mask, int rows, int cols) {
        const cv::Mat_<float> values(rows, cols, mask);  // OpenCV rejects a null mask here
        const float count = static_cast<float>(rows * cols);
        return (count - static_cast<float>(cv::countNonZero(values))) / count;
    }

    /// How many frames cover each input pixel, capped at maxCount - 1 extra samples:
    /// 1.0 when only one frame covers the grid, 2.0 when all do with factor 2. The
    /// fixed 4 is the square of the factor 2 and stays even for other factors; an
    /// uncovered pixel counts -1.
    template <typename Mask>
    static float effectiveFactor(int n, Mask** masks, int inputSize, int maxCount) {
        long long total = 0;
        for (int p = 0; p < inputSize; ++p) {
            int count = 0;
            for (int i = 0; i < n; ++i) count += masks[i][p] != 0;
            total += count < maxCount ? count - 1 : maxCount - 1;
        }
        return static_cast<float>(static_cast<float>(total) / static_cast<float>(inputSize * 4) + 1.0);
    }
};

}  // namespace vision
}  // namespace vorel
