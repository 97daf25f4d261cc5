// SPDX-License-Identifier: Proprietary
#include "SequenceWriter.h"
#include "ImageFiles.h"
#include "Preview.h"
#include "ToolError.h"

#include <cstdio>
#include <filesystem>

namespace vorel {
namespace tools {

namespace fs = std::filesystem;

bool SequenceWriter::isVideoPath(const std::string& path) {
    const std::string extension = fs::path(path).extension().string();
    return extension == ".avi" || extension == ".mp4" || extension == ".mkv";
}

SequenceWriter::SequenceWriter(const std::string& path, double fps) : path_(path), fps_(fps) {
    if (isVideoPath(path)) {
        video_ = std::make_unique<PendingFile>(path);
        return;
    }
    std::error_code error;
    fs::create_directories(path, error);
    if (!fs::is_directory(path))
        throw ToolError(ExitCode::UnwritableOutput, cannotWrite(path, "cannot create the folder"));
}

void SequenceWriter::write(const cv::Mat_<float>& result, int frameNumber) {
    if (!video_) {
        char name[32];
        std::snprintf(name, sizeof name, "frame_%06d.tif", frameNumber);
        writeImage((fs::path(path_) / name).string(), result);
        return;
    }
    if (!writer_.isOpened()) {
        range_ = displayRange(result);
        const bool mp4 = fs::path(path_).extension() == ".mp4";
        const int fourcc =
            mp4 ? cv::VideoWriter::fourcc('m', 'p', '4', 'v') : cv::VideoWriter::fourcc('M', 'J', 'P', 'G');
        try {
            writer_.open(video_->temporary(), fourcc, fps_, result.size(), true);
        } catch (const cv::Exception&) {
            // reported below, as for a writer that did not open
        }
        if (!writer_.isOpened())
            throw ToolError(ExitCode::UnwritableOutput, cannotWrite(path_, "no video encoder for this format"));
    }
    writer_.write(colourize(result, range_[0], range_[1]));
}

void SequenceWriter::close() {
    if (!video_) return;
    writer_.release();
    video_->commit();
}

}  // namespace tools
}  // namespace vorel
