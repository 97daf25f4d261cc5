// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace vorel {
namespace tools {

// What `vsr badpixels` does to frames and lists in memory, shared by the tool
// and the Python package. Bad-pixel lists are N x 10 (x, y of the pixel, then x,
// y of its four replacements). Failures throw ToolError: Usage for a search
// value out of range (naming the tool's option), UnreadableInput for an input
// that cannot be used (the reason alone: callers add the file), Reconstruction
// when the search cannot give a complete list.

/// How defective pixels are searched in a flat-field or dark frame of counts.
struct BadPixelSearch {
    int minValue = 0;  ///< counts at or below are outliers
    int maxValue = 16383;
    int threshold = 5;  ///< a value is isolated when fewer pixels than this lie near it
    int span = 16;      ///< how many values "near" reaches
    int capacity = 4096;
    int radius = 3;  ///< of the search for replacement pixels
};

struct BadPixelCounts {
    int outliers = 0;  ///< pixels at or beyond the limits
    int isolated = 0;  ///< pixels of values that hardly any other pixel has
};

/// Throws ToolError(Usage) "OPTION must be between MIN and MAX, got VALUE".
void requireBetween(const std::string& option, int value, int min, int max);

void requireValidSearch(const BadPixelSearch& search);

/// The defective pixels of `frame` with their replacements, for a search that
/// passed requireValidSearch; `counts` tells why they were listed.
cv::Mat_<unsigned short> findBadPixelList(const cv::Mat_<short>& frame, const BadPixelSearch& search,
                                          BadPixelCounts& counts);

/// Computes the replacements of listed pixels (x, y in columns 0 and 1) within
/// `radius`; throws unless every pixel got four good ones.
void completeBadPixelList(cv::Mat_<unsigned short>& list, cv::Size size, int radius);

/// Throws unless every replacement lies in the frame and is not itself listed.
void requireResolved(const cv::Mat_<unsigned short>& list, cv::Size size, int radius);

/// Signed counts of an image of 16-bit counts (CV_16U up to 32767, or CV_16S).
cv::Mat_<short> signedCounts(const cv::Mat& image);

/// Throws unless every listed pixel, and with `replacements` every replacement, lies in a frame of `size`.
void requireListInside(const cv::Mat_<unsigned short>& list, cv::Size size, bool replacements);

/// The image in the thermal palette, each listed pixel boxed by a `box` x `box`
/// square (1 to 255, checked by the caller as "--box"); pixels inside the image.
cv::Mat_<cv::Vec3b> drawBadPixelOverlay(const cv::Mat_<float>& image, const cv::Mat_<unsigned short>& list, int box,
                                        bool randomColours);

/// Each listed pixel := the mean of its four replacements, which must lie in the frame.
void repairBadPixelsOf(cv::Mat_<short>& counts, const cv::Mat_<unsigned short>& list);

}  // namespace tools
}  // namespace vorel
