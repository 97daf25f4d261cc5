// SPDX-License-Identifier: Proprietary
#pragma once

#include <string>

namespace vorel {
namespace tools {

/// An output written under a temporary name beside its final path and renamed
/// on commit(), so that a failure never leaves a half-written file. The
/// temporary keeps the final extension, which codecs use to pick a format.
class PendingFile {
public:
    /// Throws ToolError(UnwritableOutput) if the folder of `path` is missing or not writable.
    explicit PendingFile(const std::string& path);
    /// Removes the temporary unless committed.
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    const std::string& temporary() const { return temporary_; }
    const std::string& path() const { return path_; }
    /// Renames the temporary to the final path; throws ToolError(UnwritableOutput) on failure.
    void commit();

    /// Removes the temporaries of every live PendingFile. Async-signal-safe, for
    /// an interrupted run that exits from its signal handler.
    static void removeAllPending();

private:
    void forget();

    int slot_ = -1;  ///< where removeAllPending finds the temporary; -1 when it has no room
    std::string path_;
    std::string temporary_;
    bool committed_ = false;
};

/// Throws ToolError(UnwritableOutput) unless a file can be created at `path`:
/// its folder exists and is writable, and `path` is no folder.
void requireWritable(const std::string& path);

/// The message for an output that could not be written.
std::string cannotWrite(const std::string& path, const std::string& reason);

}  // namespace tools
}  // namespace vorel
