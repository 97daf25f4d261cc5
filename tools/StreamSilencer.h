// SPDX-License-Identifier: Proprietary
#pragma once

namespace vorel {
namespace tools {

/// While alive (and enabled), sends everything written to one of the process's
/// output descriptors to /dev/null: the library prints its timing lines to
/// standard output, and image decoders print their own complaints to standard
/// error, either of which would mix with the tool's own output.
class StreamSilencer {
public:
    StreamSilencer(int descriptor, bool enabled);
    ~StreamSilencer();
    StreamSilencer(const StreamSilencer&) = delete;
    StreamSilencer& operator=(const StreamSilencer&) = delete;

private:
    int descriptor_;
    int saved_ = -1;
};

}  // namespace tools
}  // namespace vorel
