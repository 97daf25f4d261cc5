// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace vorel {
namespace tools {

/// Bad-pixel lists on disk: N x 10 matrices of 16-bit values (x, y of the
/// pixel, then x, y of its four replacements), in the format the extension names:
///   .csv               the header line "x,y,x1,y1,x2,y2,x3,y3,x4,y4", then one
///                      line of ten whole numbers from 0 to 65535 per pixel;
///   .yml .yaml .json   OpenCV FileStorage, the matrix under "badPixels".

/// Throws ToolError(UnreadableInput) for an unknown extension, a damaged file or
/// anything but an N x 10 list, naming the file (and, in CSV, the line).
cv::Mat_<unsigned short> readBadPixelList(const std::string& path);

/// Writes through a temporary renamed at the end; throws ToolError(UnwritableOutput).
void writeBadPixelList(const std::string& path, const cv::Mat_<unsigned short>& list);

/// Throws ToolError(UnwritableOutput) unless the extension names a list format:
/// for checking an output before the work that leads to it.
void requireListFormat(const std::string& path);

}  // namespace tools
}  // namespace vorel
