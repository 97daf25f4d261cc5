// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>
#include <opencv2/videoio.hpp>

#include <string>

namespace vorel {
namespace tools {

/// Frames of a video file, converted to single-channel float.
class VideoReader {
public:
    /// Throws ToolError(UnreadableInput) if the file is missing or no backend can decode it.
    explicit VideoReader(const std::string& path);

    /// The next frame, or false at the end of the video.
    bool next(cv::Mat_<float>& frame);
    /// The frame count the container announces (0 when unknown).
    int announcedFrames() const;
    /// Frames per second, 25 when the container does not tell.
    double fps() const;

private:
    cv::VideoCapture capture_;
    cv::Mat first_;  ///< read ahead to tell a video from any other file
};

}  // namespace tools
}  // namespace vorel
