// SPDX-License-Identifier: Proprietary
#include "PendingFile.h"
#include "ToolError.h"

#include <unistd.h>

#include <climits>
#include <csignal>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace vorel {
namespace tools {

namespace fs = std::filesystem;

namespace {

// Temporaries a signal handler may remove: fixed storage, no allocation, no locks.
constexpr int kSlots = 16;
char pendingPaths[kSlots][PATH_MAX];
volatile std::sig_atomic_t pendingUsed[kSlots];

int remember(const std::string& path) {
    if (path.size() >= PATH_MAX) return -1;
    for (int slot = 0; slot < kSlots; ++slot) {
        if (pendingUsed[slot]) continue;
        std::memcpy(pendingPaths[slot], path.c_str(), path.size() + 1);
        pendingUsed[slot] = 1;
        return slot;
    }
    return -1;
}

}  // namespace

std::string cannotWrite(const std::string& path, const std::string& reason) {
    return "cannot write '" + path + "': " + reason;
}

void requireWritable(const std::string& path) {
    const fs::path target(path);
    const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    std::error_code error;
    if (!fs::is_directory(folder, error))
        throw ToolError(ExitCode::UnwritableOutput,
                        cannotWrite(path, "folder '" + folder.string() + "' does not exist"));
    if (fs::is_directory(target, error))
        throw ToolError(ExitCode::UnwritableOutput, cannotWrite(path, "it is a folder"));
    if (access(folder.c_str(), W_OK) != 0)
        throw ToolError(ExitCode::UnwritableOutput,
                        cannotWrite(path, "folder '" + folder.string() + "' is not writable"));
}

PendingFile::PendingFile(const std::string& path) : path_(path) {
    requireWritable(path);
    const fs::path target(path);
    const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    // The pid keeps two runs writing the same output from sharing a temporary.
    temporary_ = (folder / ("." + target.filename().string() + "." + std::to_string(getpid()) + ".part" +
                            target.extension().string()))
                     .string();
    slot_ = remember(temporary_);
}

PendingFile::~PendingFile() {
    if (!committed_) std::remove(temporary_.c_str());
    forget();
}

void PendingFile::commit() {
    if (std::rename(temporary_.c_str(), path_.c_str()) != 0)
        throw ToolError(ExitCode::UnwritableOutput, cannotWrite(path_, std::strerror(errno)));
    committed_ = true;
    forget();
}

void PendingFile::forget() {
    if (slot_ >= 0) pendingUsed[slot_] = 0;
    slot_ = -1;
}

void PendingFile::removeAllPending() {
    for (int slot = 0; slot < kSlots; ++slot)
        if (pendingUsed[slot]) unlink(pendingPaths[slot]);
}

}  // namespace tools
}  // namespace vorel
