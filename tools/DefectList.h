// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace vorel {
namespace tools {

/// Reads a list of defective sensor pixels (x the column, y the row, from 0),
/// in the format its extension names. For now .csv: one pixel per line as
/// "x,y" or "index,x,y" (the bad_pixels.csv that vsr simulate writes), with an
/// optional header line that names the columns x and y; whole numbers, written
/// as integers or as decimals with a zero fraction. Failures throw
/// ToolError(UnreadableInput) naming the file and the line.
std::vector<cv::Point> readDefectList(const std::string& path);

/// Throws ToolError(UnreadableInput) naming the first pixel outside the frame.
void requireInside(const std::vector<cv::Point>& pixels, cv::Size frame, const std::string& path);

}  // namespace tools
}  // namespace vorel
