// SPDX-License-Identifier: Proprietary
#pragma once

namespace vorel {
namespace tools {

/// While alive (and enabled), sends everything written to the process's
/// standard output to /dev/null: the library prints its timing lines there,
/// which would mix with the host's own output. Silencers may overlap, also
/// across threads (the Python binding runs engines without the GIL): standard
/// output comes back when the last one ends.
class StdoutSilencer {
public:
    explicit StdoutSilencer(bool enabled);
    ~StdoutSilencer();
    StdoutSilencer(const StdoutSilencer&) = delete;
    StdoutSilencer& operator=(const StdoutSilencer&) = delete;

private:
    bool active_ = false;
};

}  // namespace tools
}  // namespace vorel
