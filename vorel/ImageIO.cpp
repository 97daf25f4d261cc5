// SPDX-License-Identifier: Proprietary
#include "vorel/ImageIO.h"

#include <sys/stat.h>

#include <cstdio>
#include <vector>

namespace vorel {
namespace exp {

ImageIO::ImageIO(int stream) : stream_(stream) {}

bool ImageIO::open(const std::string& folder) {
    struct stat info {};
    if (folder.empty() || stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        close();
        return false;
    }
    folder_ = folder;
    count_ = 0;
    return true;
}

bool ImageIO::isOpen() const { return !folder_.empty(); }

void ImageIO::close() { folder_.clear(); }

ImageIO& ImageIO::operator<<(const cv::Mat& image) {
    if (!isOpen() || image.empty() || image.channels() != 1 || image.dims != 2) return *this;
    cv::Mat_<float> pixels;
    image.convertTo(pixels, CV_32F);

    char name[64];
    std::snprintf(name, sizeof name, "/stream%d_%06d.pfm", stream_, count_++);
    std::FILE* file = std::fopen((folder_ + name).c_str(), "wb");
    if (!file) return *this;
    // A negative scale means little-endian samples; rows run bottom to top.
    std::fprintf(file, "Pf\n%d %d\n-1.0\n", pixels.cols, pixels.rows);
    for (int row = pixels.rows - 1; row >= 0; --row) {
        std::fwrite(pixels[row], sizeof(float), static_cast<std::size_t>(pixels.cols), file);
    }
    std::fclose(file);
    return *this;
}

}  // namespace exp
}  // namespace vorel
