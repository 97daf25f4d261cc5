// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace vorel {
namespace tools {

/// Reads one thermal frame as float values. Without `rawSize`: an 8- or
/// 16-bit or float single-channel image that OpenCV decodes (PNG, TIFF, ...).
/// With `rawSize`: a headerless little-endian file of float32 or int16
/// values, told apart by its length. Failures throw ToolError(UnreadableInput)
/// with a one-line message.
cv::Mat_<float> readFrame(const std::string& path, cv::Size rawSize = {});

/// Writes an image in the format its extension names (float data keeps full
/// precision in TIFF), through a temporary file renamed at the end.
/// Failures throw ToolError(UnwritableOutput).
void writeImage(const std::string& path, const cv::Mat& image);

/// Throws ToolError(UnwritableOutput) unless writeImage could write `path`:
/// an image format OpenCV encodes, in a writable folder. Checked before any work.
void requireWritableImage(const std::string& path);

/// Throws ToolError(UnreadableInput) unless `path` names a readable regular file.
void requireReadableFile(const std::string& path);

}  // namespace tools
}  // namespace vorel
