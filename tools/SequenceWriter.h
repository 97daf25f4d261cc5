// SPDX-License-Identifier: Proprietary
#pragma once

#include "PendingFile.h"

#include <opencv2/core.hpp>
#include <opencv2/videoio.hpp>

#include <memory>
#include <string>

namespace vorel {
namespace tools {

/// The results of a video run: float TIFFs "frame_NNNNNN.tif" into a folder
/// (numbered by the input frame they end on), or, for a path ending in .avi,
/// .mp4 or .mkv, a video in the thermal palette whose range is fixed by the
/// first result. A video appears under its name only when close() succeeds.
class SequenceWriter {
public:
    /// Throws ToolError(UnwritableOutput) if the folder or the video cannot be created.
    SequenceWriter(const std::string& path, double fps);

    void write(const cv::Mat_<float>& result, int frameNumber);
    void close();

    static bool isVideoPath(const std::string& path);

private:
    std::string path_;
    double fps_;
    std::unique_ptr<PendingFile> video_;
    cv::VideoWriter writer_;
    cv::Vec2f range_;
};

}  // namespace tools
}  // namespace vorel
