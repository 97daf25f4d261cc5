// SPDX-License-Identifier: Proprietary
#pragma once

#include "Reconstructor.h"

namespace vorel {
namespace tools {

/// Reconstruction through the library's C interface, as a host would use it.
class CInterfaceReconstructor : public Reconstructor {
public:
    CInterfaceReconstructor(cv::Size frameSize, const ReconstructionSettings& settings);
    ~CInterfaceReconstructor() override;

    Outcome add(const cv::Mat_<float>& frame) override;
    cv::Mat_<float> result() const override { return result_; }
    int window() const override { return 5; }

private:
    int context_;
    bool verbose_;
    int frames_ = 0;
    cv::Mat_<float> result_;
};

}  // namespace tools
}  // namespace vorel
