// SPDX-License-Identifier: Proprietary
#pragma once

#include <chrono>
#include <string>

namespace vorel {
namespace tools {

/// A one-line progress bar on standard error: frames done, frames per second
/// and the time left. Drawn only when standard error is a terminal and the run
/// is long enough to be worth one.
class ProgressBar {
public:
    /// `total` 0 means unknown; the bar then shows a count alone.
    ProgressBar(int total, bool wanted);
    ~ProgressBar();

    void advance();
    /// Writes a line to standard error above the bar.
    void print(const std::string& line) const;

private:
    void draw() const;

    int total_;
    int done_ = 0;
    bool enabled_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace tools
}  // namespace vorel
