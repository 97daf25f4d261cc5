// SPDX-License-Identifier: Proprietary
#include "CommandLine.h"
#include "Commands.h"
#include "PendingFile.h"
#include "ToolError.h"

#include "vision/superresolution/api/vision_superresolution_version.h"

#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>

namespace {

const char* const kDescription = R"(Usage: vsr COMMAND [options]

Multi-frame super-resolution of thermal images: a burst of frames of one scene
becomes one image of twice the width and height.
Run 'vsr COMMAND --help' for the options of each command.
)";

const char* const kExitCodes = R"(Exit codes:
  0  success
  1  unexpected internal error
  2  bad command line (unknown command or option, missing or malformed value)
  3  an input cannot be read: missing or unreadable file, unsupported
     format, raw file whose length does not match --size
  4  the frames cannot form a burst: different sizes, too few frames,
     calibration frames of another size or without different counts
  5  an output cannot be written
  6  the library could not compute a result
  130  interrupted (SIGINT or SIGTERM); nothing is left half-written)";

// "vsr run" for an error inside a command, "vsr" before one was recognised.
std::string programName(const CLI::App& vsr) {
    std::string name = "vsr";
    for (const CLI::App* command = &vsr; !command->get_subcommands().empty();) {
        command = command->get_subcommands().front();
        name += " " + command->get_name();
    }
    return name;
}

[[noreturn]] void interrupted(int) {
    vorel::tools::PendingFile::removeAllPending();
    std::_Exit(130);
}

}  // namespace

int main(int argc, char** argv) {
    using namespace vorel::tools;
    // Errors reach the user as one line of ours, not as OpenCV's or FFmpeg's log.
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    setenv("OPENCV_FFMPEG_LOGLEVEL", "-8", 0);
    std::signal(SIGINT, interrupted);
    std::signal(SIGTERM, interrupted);

    CLI::App vsr("", "vsr");
    vsr.formatter(std::make_shared<HelpFormatter>(kDescription));
    vsr.footer(kExitCodes);
    vsr.set_version_flag("--version", std::string("vsr ") + VISION_SUPERRESOLUTION_VERSION_STRING);
    vsr.require_subcommand(1);
    addRunCommand(vsr);
    addSimulateCommand(vsr);
    addScoreCommand(vsr);
    addBadPixelsCommand(vsr);
    addDemoCommand(vsr);

    try {
        try {
            vsr.parse(argc, argv);
            return 0;
        } catch (const CLI::Success& helpOrVersion) {
            return vsr.exit(helpOrVersion);  // prints the help of the command it was asked of
        } catch (const CLI::ParseError& error) {
            std::string message = error.what();
            if (vsr.get_subcommands().empty() && argc < 2) message = "no command given";
            else if (vsr.get_subcommands().empty() && argv[1][0] != '-')
                message = std::string("unknown command '") + argv[1] + "'";
            throw ToolError(ExitCode::Usage, message);
        }
    } catch (const ToolError& error) {
        const std::string name = programName(vsr);
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
