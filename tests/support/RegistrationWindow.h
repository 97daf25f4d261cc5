// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <utility>
#include <vector>

namespace vorel {
namespace test {

/// The buffers of one registration call, in window slot order, for either registration class.
struct RegistrationWindow {
    int width, height, n;
    std::vector<std::vector<float>> frames, shifted;
    std::vector<std::vector<char>> masks;
    std::vector<float*> framePtrs, shiftedPtrs;
    std::vector<char*> maskPtrs;
    std::vector<cv::Point_<float>> shifts;

    RegistrationWindow(int width, int height, int n)
        : width(width),
          height(height),
          n(n),
          frames(n),
          shifted(n, std::vector<float>(width * height, -7.0f)),
          masks(n, std::vector<char>(width * height, 5)),
          shifts(n, cv::Point_<float>(-7.0f, -7.0f)) {
        for (int k = 0; k < n; ++k) {
            shiftedPtrs.push_back(shifted[k].data());
            maskPtrs.push_back(masks[k].data());
        }
    }
    RegistrationWindow(RegistrationWindow&&) = default;  // the pointer lists stay valid: moving keeps the buffers
    RegistrationWindow(const RegistrationWindow&) = delete;

    // Takes frames that the registration has already prepared.
    void use(std::vector<std::vector<float>> given) {
        frames = std::move(given);
        framePtrs.clear();
        for (auto& frame : frames) framePtrs.push_back(frame.data());
    }

    // Hands frame k to the registration as the newest arrival.
    template <class Registration>
    void add(Registration& registration, int k, std::vector<float> pixels) {
        frames[k] = std::move(pixels);
        framePtrs.resize(n);
        framePtrs[k] = frames[k].data();
        registration.prepareFrame(frames[k].data());
    }

    template <class Registration>
    int run(Registration& registration, int ref) {
        return registration.doRegistration(n, ref, framePtrs.data(), shifts.data(), maskPtrs.data(),
                                           shiftedPtrs.data());
    }
};

}  // namespace test
}  // namespace vorel
