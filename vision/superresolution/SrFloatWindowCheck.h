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
    /// when half or more of a frame's mask is 0, else 0.
    template <class Point>
    static int status(int n, const Point* completeShifts, char** masks, int width, int height) {
        bool largeDisplacement = false;
        bool tooManyMasked = false;
        const float limit = static_cast<float>(height / 10);
        for (int i = 0; i < n; ++i) {
            if (std::fabs(completeShifts[i].x) > limit || std::fabs(completeShifts[i].y) > limit)
                largeDisplacement = true;
            const cv::Mat_<signed char> mask(height, width, reinterpret_cast<signed char*>(masks[i]));
            const float count = static_cast<float>(mask.rows * mask.cols);
            if ((count - static_cast<float>(cv::sum(mask)[0])) / count >= 0.5f) tooManyMasked = true;
        }
        return largeDisplacement ? -6 : (tooManyMasked ? -3 : 0);
    }

    /// How many frames cover each input pixel, capped at maxCount - 1 extra samples:
    /// 1.0 when only one frame covers the grid, 2.0 when all do with factor 2. The
    /// fixed 4 is the square of the factor 2 and stays even for other factors; an
    /// uncovered pixel counts -1.
    static float effectiveFactor(int n, char** masks, int inputSize, int maxCount) {
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
