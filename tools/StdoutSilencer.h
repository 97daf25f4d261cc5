// SPDX-License-Identifier: Proprietary
#pragma once

namespace vorel {
namespace tools {

/// While alive (and enabled), sends everything written to the process's
/// standard output to /dev/null: the library prints its timing lines there,
/// which would mix with the tool's own output.
class StdoutSilencer {
public:
    explicit StdoutSilencer(bool enabled);
    ~StdoutSilencer();
    StdoutSilencer(const StdoutSilencer&) = delete;
    StdoutSilencer& operator=(const StdoutSilencer&) = delete;

private:
    int saved_ = -1;
};

}  // namespace tools
}  // namespace vorel
