// SPDX-License-Identifier: Proprietary
#pragma once

namespace vorel {
namespace tools {

/// While alive (and enabled), sends everything written to the process's
/// standard output or standard error to /dev/null: the library prints its
/// timing lines to standard output, and image decoders print their own
/// complaints to standard error, either of which would mix with the host's own
/// output. Silencers of one stream may overlap, also across threads (the
/// Python binding runs engines without the GIL): the stream comes back when
/// the last one ends.
class StreamSilencer {
public:
    /// `descriptor` is STDOUT_FILENO or STDERR_FILENO.
    StreamSilencer(int descriptor, bool enabled);
    ~StreamSilencer();
    StreamSilencer(const StreamSilencer&) = delete;
    StreamSilencer& operator=(const StreamSilencer&) = delete;

private:
    int descriptor_;
    bool active_ = false;
};

}  // namespace tools
}  // namespace vorel
