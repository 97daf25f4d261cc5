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
    return ToolError(ExitCode::UnreadableInput, cannotRead(path, reason));
}

// Byte order is fixed by the file format, not by the host.
uint32_t littleEndian32(const unsigned char* bytes) {
    return uint32_t(bytes[0]) | uint32_t(bytes[1]) << 8 | uint32_t(bytes[2]) << 16 | uint32_t(bytes[3]) << 24;
}

cv::Mat readRaw(const std::string& path, cv::Size size) {
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

    if (bytes.size() == floatBytes) {
        cv::Mat_<float> frame(size);
        for (size_t i = 0; i < pixels; ++i) {
            const uint32_t bits = littleEndian32(&bytes[4 * i]);
            std::memcpy(&frame(int(i)), &bits, sizeof bits);
        }
        return frame;
    }
    cv::Mat_<int16_t> frame(size);
    for (size_t i = 0; i < pixels; ++i)
        frame(int(i)) = static_cast<int16_t>(uint16_t(bytes[2 * i]) | uint16_t(bytes[2 * i + 1]) << 8);
    return frame;
}

// Little-endian whatever the host, as readRaw expects.
void writeRaw(const std::string& path, const std::string& temporary, const cv::Mat& image) {
    if (image.type() != CV_16SC1 && image.type() != CV_32FC1)
        throw ToolError(ExitCode::UnwritableOutput, cannotWrite(path, "raw files hold int16 or float32 values"));
    const size_t bytesPerValue = image.elemSize();
    std::vector<unsigned char> bytes;
    bytes.reserve(image.total() * bytesPerValue);
    for (int row = 0; row < image.rows; ++row) {
        const unsigned char* values = image.ptr(row);
        for (int col = 0; col < image.cols; ++col) {
            const unsigned char* value = values + col * bytesPerValue;
            uint32_t bits = 0;
            if (bytesPerValue == 2) {
                uint16_t half;
                std::memcpy(&half, value, sizeof half);
                bits = half;
            } else {
                std::memcpy(&bits, value, sizeof bits);
            }
            for (size_t k = 0; k < bytesPerValue; ++k) bytes.push_back(static_cast<unsigned char>(bits >> (8 * k)));
        }
    }
    std::ofstream out(temporary, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!out.flush()) throw ToolError(ExitCode::UnwritableOutput, cannotWrite(path, "write failed"));
}

bool isRawPath(const std::string& path) { return fs::path(path).extension() == ".raw"; }

void requireImageWriter(const std::string& path) {
    if (!isRawPath(path) && !cv::haveImageWriter(path))
        throw ToolError(ExitCode::UnwritableOutput, cannotWrite(path, "unsupported image format"));
}

}  // namespace

std::string cannotRead(const std::string& path, const std::string& reason) {
    return "cannot read '" + path + "': " + reason;
}

void requireReadableFile(const std::string& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::exists(status)) throw unreadable(path, "no such file");
    if (fs::is_directory(status)) throw unreadable(path, "it is a folder");
    if (access(path.c_str(), R_OK) != 0) throw unreadable(path, "permission denied");
}

cv::Mat readImage(const std::string& path, cv::Size rawSize) {
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
    return image;
}

cv::Mat_<float> readFrame(const std::string& path, cv::Size rawSize) {
    cv::Mat_<float> frame;
    readImage(path, rawSize).convertTo(frame, CV_32F);
    return frame;
}

void writeImage(PendingFile& file, const cv::Mat& image) {
    const std::string& path = file.path();
    requireImageWriter(path);
    if (isRawPath(path)) return writeRaw(path, file.temporary(), image);
    bool written = false;
    try {
        written = cv::imwrite(file.temporary(), image);
    } catch (const cv::Exception& error) {
        throw ToolError(ExitCode::UnwritableOutput, cannotWrite(path, error.err));
    }
    if (!written) throw ToolError(ExitCode::UnwritableOutput, cannotWrite(path, "the image encoder failed"));
}

void requireWritableImage(const std::string& path) {
    requireImageWriter(path);  // before the folder, as a usage mistake
    requireWritable(path);
}

void writeImage(const std::string& path, const cv::Mat& image) {
    requireImageWriter(path);
    PendingFile file(path);
    writeImage(file, image);
    file.commit();
}

}  // namespace tools
}  // namespace vorel
