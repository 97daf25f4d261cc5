// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace vorel {
namespace bench {

/// Quality against time per frame: one mark per method and frame size, time on
/// a logarithmic axis, so that methods thousands of times apart share a chart.
class ComparisonPlot {
public:
    struct Mark {
        std::string method;
        std::string size;       ///< e.g. "320x240"
        double milliseconds;    ///< per output frame, > 0
        double psnr;            ///< dB
    };

    explicit ComparisonPlot(std::vector<Mark> marks);
    /// An 8-bit colour chart with axes, a legend of the methods and the sizes written beside the marks.
    cv::Mat render() const;

private:
    std::vector<Mark> marks_;
};

}  // namespace bench
}  // namespace vorel
