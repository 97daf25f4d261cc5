// SPDX-License-Identifier: Proprietary
#include "ImageFiles.h"
#include "PendingFile.h"
#include "StreamSilencer.h"
#include "ToolError.h"

#include <opencv2/imgcodecs.hpp>

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

namespace vorel {
namespace tools {
namespace {

namespace fs = std::filesystem;

ToolError unreadable(const std::string& path, const std::string& reason) {
    return ToolError(ExitCode::UnreadableInput, "cannot read '" + path + "': " + reason);
}

// Byte order is fixed by the file format, not by the host.
uint32_t littleEndian32(const unsigned char* bytes) {
    return uint32_t(bytes[0]) | uint32_t(bytes[1]) << 8 | uint32_t(bytes[2]) << 16 | uint32_t(bytes[3]) << 24;
}

cv::Mat_<float> readRaw(const std::string& path, cv::Size size) {
    const size_t pixels = size_t(size.width) * size_t(size.height);
    const size_t floatBytes = 4 * pixels;
    const size_t shortBytes = 2 * pixels;
    auto mismatch = [&](const std::string& length) {
        return unreadable(path, "it has " + length + " bytes, but --size " + std::to_string(size.width) + "x" +
                                    std::to_string(size.height) + " needs " + std::to_string(floatBytes) +
                                    " (float32) or " + std::to_string(shortBytes) + " (int16)");
    };
    // A regular file tells its length before anything is allocated for a size that may be absurd.
    std::error_code error;
    const uintmax_t length = fs::file_size(path, error);
    if (!error && length != floatBytes && length != shortBytes) throw mismatch(std::to_string(length));

    // Devices and pipes may never end: one byte past the longer format is enough to tell.
    std::ifstream file(path, std::ios::binary);
    std::vector<unsigned char> bytes;
    if (!error) bytes.reserve(length);
    constexpr size_t chunk = size_t(1) << 20;
    while (file && bytes.size() <= floatBytes) {
        const size_t start = bytes.size();
        bytes.resize(start + std::min(chunk, floatBytes + 1 - start));
        file.read(reinterpret_cast<char*>(bytes.data() + start), std::streamsize(bytes.size() - start));
        bytes.resize(start + size_t(file.gcount()));
    }
    if (bytes.size() > floatBytes) throw mismatch("more than " + std::to_string(floatBytes));
    if (bytes.size() != floatBytes && bytes.size() != shortBytes) throw mismatch(std::to_string(bytes.size()));

    cv::Mat_<float> frame(size);
    if (bytes.size() == floatBytes) {
        for (size_t i = 0; i < pixels; ++i) {
            const uint32_t bits = littleEndian32(&bytes[4 * i]);
            std::memcpy(&frame(int(i)), &bits, sizeof bits);
        }
    } else {
        for (size_t i = 0; i < pixels; ++i)
            frame(int(i)) = static_cast<int16_t>(uint16_t(bytes[2 * i]) | uint16_t(bytes[2 * i + 1]) << 8);
    }
    return frame;
}

}  // namespace

void requireReadableFile(const std::string& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::exists(status)) throw unreadable(path, "no such file");
    if (fs::is_directory(status)) throw unreadable(path, "it is a folder");
    if (access(path.c_str(), R_OK) != 0) throw unreadable(path, "permission denied");
}

cv::Mat_<float> readFrame(const std::string& path, cv::Size rawSize) {
    requireReadableFile(path);
    if (!rawSize.empty()) return readRaw(path, rawSize);
    if (!cv::haveImageReader(path))
        throw unreadable(path, "unsupported format (PNG and TIFF images, raw files with --size, videos with --video)");
    cv::Mat image;
    try {
        // Decoders write their own line about damaged data; the message below is the one the user gets.
        const StreamSilencer quiet(STDERR_FILENO, true);
        image = cv::imread(path, cv::IMREAD_UNCHANGED);
    } catch (const cv::Exception&) {
        // A header announcing an impossible size ends here; reported below like damaged data.
    }
    if (image.empty()) throw unreadable(path, "the image data is damaged or of an unsupported kind");
    if (image.channels() != 1)
        throw unreadable(
            path, "unsupported format: " + std::to_string(image.channels()) + " channels, a thermal frame has one");
    cv::Mat_<float> frame;
    image.convertTo(frame, CV_32F);
    return frame;
}

void writeImage(const std::string& path, const cv::Mat& image) {
    if (!cv::haveImageWriter(path))
        throw ToolError(ExitCode::UnwritableOutput, cannotWrite(path, "unsupported image format"));
    PendingFile file(path);
    bool written = false;
    try {
        written = cv::imwrite(file.temporary(), image);
    } catch (const cv::Exception& error) {
        throw ToolError(ExitCode::UnwritableOutput, cannotWrite(path, error.err));
    }
    if (!written) throw ToolError(ExitCode::UnwritableOutput, cannotWrite(path, "the image encoder failed"));
    file.commit();
}

}  // namespace tools
}  // namespace vorel
