// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include <opencv2/core.hpp>

#include <string>

namespace vorel {
namespace exp {

/// Debug dump of images into a folder, one file per image.
///
/// A writer is closed until open() names an existing folder. While open, every
/// image streamed in is written as a Portable Float Map (single-channel 32-bit
/// float, readable by common image tools) named "stream<S>_<NNNNNN>.pfm", where
/// S is the stream number given to the constructor (so that several writers can
/// share a folder) and NNNNNN counts the images of this writer from 0. Images of
/// other depths are converted to float; multi-channel images are not written.
/// Write failures are ignored: a debug dump never disturbs processing.
class VRLIB_API ImageIO {
public:
    explicit ImageIO(int stream);

    /// Opens the dump into an existing folder; returns false (and stays closed) if it is missing.
    bool open(const std::string& folder);
    bool isOpen() const;
    void close();

    ImageIO& operator<<(const cv::Mat& image);

    /// Number of images written since the last open().
    int count() const { return count_; }

private:
    int stream_;
    std::string folder_;
    int count_ = 0;
};

}  // namespace exp
}  // namespace vorel
