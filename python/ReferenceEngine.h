// SPDX-License-Identifier: Proprietary
#pragma once

#include "Engine.h"

#include <opencv2/core.hpp>

#include <memory>
#include <mutex>
#include <vector>

namespace vorel {
namespace vision {
class SuperResolution;
}

namespace python {

/// The first-generation engine behind vsr.ReferenceEngine. Frames are floats or
/// 16-bit counts; a calibrated engine takes counts only and converts them with
/// the two-point calibration before reconstructing, every frame. One call runs
/// at a time; calls from other threads wait.
class ReferenceEngine {
public:
    /// options.registration is not used. Throws std::invalid_argument, with the
    /// library's text where the library rejects a value.
    ReferenceEngine(const EngineOptions& options, bool calibrated);
    ~ReferenceEngine();
    ReferenceEngine(const ReferenceEngine&) = delete;
    ReferenceEngine& operator=(const ReferenceEngine&) = delete;

    /// Adds a frame (height x width, row after row); once the window is full,
    /// reconstructs into a float result. Not for a calibrated engine.
    Outcome add(const float* frame);
    /// Counts: an uncalibrated engine reconstructs them into a 16-bit result once
    /// the window is full; a calibrated one converts them and reconstructs into a
    /// float result in the calibration's units from the frames so far. Throws
    /// std::runtime_error when a calibrated engine has no calibration yet.
    Outcome add(const short* counts);

    /// Per pixel, the counts and values of two scenes (height x width each).
    void setCalibration(const cv::Mat_<short>& countsLow, const cv::Mat_<float>& valueLow,
                        const cv::Mat_<short>& countsHigh, const cv::Mat_<float>& valueHigh);

    enum class Result { None, Values, Counts };
    /// What the last reconstruction wrote.
    Result result() const;
    /// The last result, 2 * height x 2 * width values of the type result() names.
    void copyResult(float* out) const;
    void copyResult(short* out) const;
    std::vector<cv::Point2f> shifts();
    std::vector<cv::Mat_<unsigned char>> masks();

    int width() const { return width_; }
    int height() const { return height_; }
    int window() const { return window_; }
    int reference() const { return reference_; }
    bool calibrated() const { return calibrated_; }
    long long frameCount() const;

private:
    template <class T>
    Outcome add_(const T* frame, std::vector<T>& result);

    int width_;
    int height_;
    int window_;
    int reference_;
    bool calibrated_;
    bool verbose_;
    bool calibrationSet_ = false;
    mutable std::mutex busy_;
    std::unique_ptr<vision::SuperResolution> engine_;
    long long frameCount_ = 0;
    Result result_ = Result::None;
    std::vector<float> values_;
    std::vector<short> counts_;
};

}  // namespace python
}  // namespace vorel
