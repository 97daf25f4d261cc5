// SPDX-License-Identifier: Proprietary
#include "ProgressBar.h"

#include <unistd.h>

#include <algorithm>
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
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    const double rate = seconds > 0.0 ? done_ / seconds : 0.0;
    if (total_ <= 0) {
        std::fprintf(stderr, "\r%d frames  %.1f fps", done_, rate);
    } else {
        const int width = 30;
        const int filled = done_ >= total_ ? width : done_ * width / total_;
        const int left = rate > 0.0 ? static_cast<int>((total_ - std::min(done_, total_)) / rate + 0.5) : 0;
        std::fprintf(stderr, "\r[%s%s] %d/%d frames  %.1f fps  %d:%02d left", std::string(filled, '#').c_str(),
                     std::string(width - filled, ' ').c_str(), done_, total_, rate, left / 60, left % 60);
    }
    std::fflush(stderr);
}

}  // namespace tools
}  // namespace vorel
