// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace vorel {
namespace tools {

class PendingFile;

/// Reads one thermal frame as float values. Without `rawSize`: an 8- or
/// 16-bit or float single-channel image that OpenCV decodes (PNG, TIFF, ...).
/// With `rawSize`: a headerless little-endian file of float32 or int16
/// values, told apart by its length. Failures throw ToolError(UnreadableInput)
/// with a one-line message.
cv::Mat_<float> readFrame(const std::string& path, cv::Size rawSize = {});

/// As readFrame, but the single-channel image keeps the depth it has in the
/// file (a raw file gives CV_32F or CV_16S), so that it can be written back alike.
cv::Mat readImage(const std::string& path, cv::Size rawSize = {});

/// Writes an image in the format its extension names (float data keeps full
/// precision in TIFF; .raw: headerless little-endian int16 or float32), through
/// a temporary file renamed at the end. Failures throw ToolError(UnwritableOutput).
void writeImage(const std::string& path, const cv::Mat& image);

/// Throws ToolError(UnwritableOutput) unless writeImage could write `path`:
/// a format it encodes, in a writable folder. Checked before any work.
void requireWritableImage(const std::string& path);

/// The same into the temporary of `file`, for outputs that appear together:
/// the caller commits them once all are written.
void writeImage(PendingFile& file, const cv::Mat& image);

/// Throws ToolError(UnreadableInput) unless `path` names a readable regular file.
void requireReadableFile(const std::string& path);

/// The message for an input that cannot be used.
std::string cannotRead(const std::string& path, const std::string& reason);

}  // namespace tools
}  // namespace vorel
