// SPDX-License-Identifier: Proprietary
#pragma once

#include <stdexcept>
#include <string>

namespace vorel {
namespace tools {

/// Exit codes of vsr, listed in `vsr --help` and the README.
enum class ExitCode : int {
    Success = 0,
    Internal = 1,         ///< unexpected failure inside the tool
    Usage = 2,            ///< unknown command or option, missing or malformed value
    UnreadableInput = 3,  ///< missing or unreadable file, unsupported format, raw size mismatch
    UnusableBurst = 4,    ///< frames of different sizes, too few frames
    UnwritableOutput = 5,
    Reconstruction = 6  ///< the library could not compute a result
};

/// A failure reported to the user as one line, with the exit code it ends the program with.
class ToolError : public std::runtime_error {
public:
    ToolError(ExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}
    ExitCode code() const { return code_; }

private:
    ExitCode code_;
};

}  // namespace tools
}  // namespace vorel
