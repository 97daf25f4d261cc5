// SPDX-License-Identifier: Proprietary
// Feeds arbitrary files to the tool's frame reader: as raw frames of a size the
// first bytes choose, or as images for the decoders to recognise. Anything but a
// frame of the right kind or a ToolError(UnreadableInput) is a finding.
//
// The decoders trust the sizes in image headers up to OpenCV's own limits; run
// with OPENCV_IO_MAX_IMAGE_PIXELS set low (./dev.sh fuzz does) so that a header
// announcing a huge image does not pass for an out-of-memory finding.
#include "ImageFiles.h"
#include "ToolError.h"

#include <fuzzer/FuzzedDataProvider.h>
#include <sanitizer/common_interface_defs.h>

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace {

std::string folder;
std::string framePath;

void require(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The reader silences standard error while decoding; a report from in there must still be seen.
    __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<std::intptr_t>(dup(STDERR_FILENO))));
    char pattern[] = "/tmp/vsr_fuzz_XXXXXX";
    require(mkdtemp(pattern) != nullptr);
    folder = pattern;
    framePath = folder + "/frame";
    std::atexit([] {
        unlink(framePath.c_str());
        rmdir(folder.c_str());
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    FuzzedDataProvider data(bytes, size);
    const bool raw = data.ConsumeBool();
    const cv::Size rawSize(data.ConsumeIntegralInRange<int>(1, 64), data.ConsumeIntegralInRange<int>(1, 64));
    const std::vector<std::uint8_t> content = data.ConsumeRemainingBytes<std::uint8_t>();
    // A fresh file rather than a truncated one: ext4 writes a truncated file back at once.
    unlink(framePath.c_str());
    std::ofstream(framePath, std::ios::binary)
        .write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    try {
        const cv::Mat_<float> frame = vorel::tools::readFrame(framePath, raw ? rawSize : cv::Size());
        require(!frame.empty() && frame.channels() == 1);
        if (raw) require(frame.size() == rawSize);
    } catch (const vorel::tools::ToolError& error) {
        require(error.code() == vorel::tools::ExitCode::UnreadableInput);
        require(std::strchr(error.what(), '\n') == nullptr);
    }
    return 0;
}
