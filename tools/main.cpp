// SPDX-License-Identifier: Proprietary
#include "Commands.h"
#include "ToolError.h"

#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

namespace {

const char* const kHelp = R"(Usage: vsr COMMAND [options]

Multi-frame super-resolution of thermal images: a burst of frames of one scene
becomes one image of twice the width and height.

Commands:
  run        super-resolve a burst of frames or a video
  simulate   write a synthetic burst with its ground truth
  demo       simulate, super-resolve and score a burst in one go
Run 'vsr COMMAND --help' for the options of each.

Exit codes:
  0  success
  1  unexpected internal error
  2  bad command line (unknown command or option, missing or malformed value)
  3  an input cannot be read: missing or unreadable file, unsupported
     format, raw file whose length does not match --size
  4  the frames cannot form a burst: different sizes, too few frames
  5  an output cannot be written
  6  the library could not compute a result
)";

}  // namespace

int main(int argc, char** argv) {
    using namespace vorel::tools;
    // Errors reach the user as one line of ours, not as OpenCV's or FFmpeg's log.
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    setenv("OPENCV_FFMPEG_LOGLEVEL", "-8", 0);

    const std::vector<std::string> args(argv + 1, argv + argc);
    const std::string command = args.empty() ? "" : args.front();
    if (command == "-h" || command == "--help" || command == "help") {
        std::cout << kHelp;
        return 0;
    }
    const std::vector<std::string> rest(args.begin() + (args.empty() ? 0 : 1), args.end());
    try {
        if (command == "run") return runCommand(rest);
        if (command == "simulate") return simulateCommand(rest);
        if (command == "demo") return demoCommand(rest);
        throw ToolError(ExitCode::Usage, command.empty() ? "no command given" : "unknown command '" + command + "'");
    } catch (const ToolError& error) {
        const std::string name =
            command == "run" || command == "simulate" || command == "demo" ? "vsr " + command : "vsr";
        std::cerr << name << ": " << error.what();
        if (error.code() == ExitCode::Usage) std::cerr << " (see '" << name << " --help')";
        std::cerr << '\n';
        return static_cast<int>(error.code());
    } catch (const cv::Exception& error) {
        std::cerr << "vsr: unexpected OpenCV error: " << error.err << '\n';
    } catch (const std::exception& error) {
        std::cerr << "vsr: unexpected error: " << error.what() << '\n';
    }
    return static_cast<int>(ExitCode::Internal);
}
