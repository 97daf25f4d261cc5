// SPDX-License-Identifier: Proprietary
#include "ProgressBar.h"

#include <unistd.h>

#include <cstdio>

namespace vorel {
namespace tools {

ProgressBar::ProgressBar(int total, bool wanted) : total_(total), enabled_(wanted && isatty(STDERR_FILENO)) {}

ProgressBar::~ProgressBar() {
    if (enabled_ && done_ > 0) std::fputc('\n', stderr);
}

void ProgressBar::advance() {
    ++done_;
    if (enabled_) draw();
}

void ProgressBar::print(const std::string& line) const {
    if (enabled_ && done_ > 0) {
        std::fprintf(stderr, "\r\033[K%s\n", line.c_str());  // clear the bar's line first
        draw();
    } else {
        std::fprintf(stderr, "%s\n", line.c_str());
    }
}

void ProgressBar::draw() const {
    if (total_ <= 0) {
        std::fprintf(stderr, "\r%d frames", done_);
    } else {
        const int width = 40;
        const int filled = done_ >= total_ ? width : done_ * width / total_;
        std::fprintf(stderr, "\r[%s%s] %d/%d frames", std::string(filled, '#').c_str(),
                     std::string(width - filled, ' ').c_str(), done_, total_);
    }
    std::fflush(stderr);
}

}  // namespace tools
}  // namespace vorel
