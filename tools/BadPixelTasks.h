// SPDX-License-Identifier: Proprietary
#pragma once

#include "BadPixelMaps.h"

#include <opencv2/core.hpp>

#include <ostream>
#include <string>
#include <vector>

namespace vorel {
namespace tools {

// The work of `vsr badpixels`: finding a sensor's defective pixels, merging,
// drawing and applying bad-pixel lists (see BadPixelLists.h for the files).
// Each task checks its options first, reports one line on `report` and throws
// ToolError on failure: Usage for a bad option, UnreadableInput for an input
// that cannot be used (a list that does not fit the frames included),
// UnwritableOutput, and Reconstruction when the search cannot give a complete
// list. A failed task leaves no output behind.

/// Frames of counts are 16-bit PNG or TIFF images, or int16 .raw files with rawSize.
struct BadPixelFindOptions {
    std::string frame;   ///< a flat-field or dark frame
    std::string output;  ///< the list to write
    cv::Size rawSize;    ///< for a .raw frame
    BadPixelSearch search;
};

BadPixelCounts findBadPixels(const BadPixelFindOptions& options, std::ostream& report);

struct BadPixelMergeOptions {
    std::string oldList;
    std::string newList;
    std::string output;
    cv::Size size;  ///< the sensor's frame size
    int radius = 3;
};

/// Appends the pixels of newList not yet in oldList, recomputing the replacements the merge concerns.
void mergeBadPixels(const BadPixelMergeOptions& options, std::ostream& report);

struct BadPixelDrawOptions {
    std::string list;
    std::string image;   ///< any single-channel image or frame
    std::string output;  ///< an 8-bit colour image
    cv::Size rawSize;
    int box = 7;  ///< side of the square drawn around each pixel
    bool randomColours = false;
};

/// The image in the thermal palette, each listed pixel boxed.
void drawBadPixelList(const BadPixelDrawOptions& options, std::ostream& report);

struct BadPixelRepairOptions {
    std::string list;
    std::vector<std::string> frames;
    std::string outputFolder;  ///< created if missing; the frames keep their names and formats
    cv::Size rawSize;
};

/// Every listed pixel := the mean of its four replacements, in each frame.
void repairBadPixels(const BadPixelRepairOptions& options, std::ostream& report);

}  // namespace tools
}  // namespace vorel
