// SPDX-License-Identifier: Proprietary
#include "VideoReader.h"
#include "ImageFiles.h"
#include "ToolError.h"

#include <opencv2/imgproc.hpp>

#include <utility>

namespace vorel {
namespace tools {

VideoReader::VideoReader(const std::string& path) {
    requireReadableFile(path);
    try {
        capture_.open(path);
    } catch (const cv::Exception&) {
        capture_.release();  // reported below, as for a file that did not open
    }
    // Some backends open any file; only a decoded frame proves it is a video.
    if (!capture_.isOpened() || !capture_.read(first_) || first_.empty())
        throw ToolError(ExitCode::UnreadableInput,
                        "cannot read '" + path + "': unsupported format (not a video that OpenCV can decode)");
}

bool VideoReader::next(cv::Mat_<float>& frame) {
    cv::Mat image;
    std::swap(image, first_);
    if (image.empty() && (!capture_.read(image) || image.empty())) return false;
    if (image.channels() == 3) cv::cvtColor(image, image, cv::COLOR_BGR2GRAY);
    if (image.channels() == 4) cv::cvtColor(image, image, cv::COLOR_BGRA2GRAY);
    image.convertTo(frame, CV_32F);
    return true;
}

int VideoReader::announcedFrames() const {
    return std::max(0, static_cast<int>(capture_.get(cv::CAP_PROP_FRAME_COUNT)));
}

double VideoReader::fps() const {
    const double rate = capture_.get(cv::CAP_PROP_FPS);
    return rate > 0.0 ? rate : 25.0;
}

}  // namespace tools
}  // namespace vorel
