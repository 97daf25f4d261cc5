// SPDX-License-Identifier: Proprietary
// Linked into the test programs of cross builds only: under qemu-user the
// worker threads of OpenCV's TBB back end make no progress, so OpenCV works on
// the calling thread there. The library itself starts no threads either way.
#include <opencv2/core/utility.hpp>

namespace {

const bool serialOpenCv = (cv::setNumThreads(0), true);

}  // namespace
