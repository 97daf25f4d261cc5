// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vorel {
namespace python {

/// How an Engine is built; an empty optional keeps the default.
struct EngineOptions {
    int width = 0;
    int height = 0;
    int window = 5;
    std::string registration = "corners";
    std::optional<std::string> camera;  ///< camera and lens, e.g. "k425 FOV 25"; picks the PSF sigma
    std::optional<int> reference;       ///< counted back from the newest frame; 3, or window - 1 if smaller
    std::optional<float> tvWeight;      ///< 400, as the C interface
    std::optional<int> iterations;      ///< 8
    std::optional<float> psfSigma;      ///< 0.683 high-resolution pixels
    bool verbose = false;               ///< let the engine's timing lines through to stdout
    int threads = 1;                    ///< threads per reconstruction, the caller's included
};

/// What one added frame led to.
struct Outcome {
    bool computed = false;         ///< the frame completed a window and a new result exists
    int code = 0;                  ///< 0, or the warning code -2, -3, -4 or -6
    std::string warning;           ///< the warning in words; empty for code 0
    std::optional<float> quality;  ///< the engine's quality figure (1 to 2), when known
};

/// The options with the camera turned into psfSigma and the default reference
/// filled in; throws std::invalid_argument for a size, window or camera it rejects.
EngineOptions resolvedOptions(const EngineOptions& requested);

/// Records in `outcome` what an engine's computeSR returned: a warning code
/// (-2, -3, -6) or the quality. Throws std::runtime_error for a failure.
void recordComputation(float value, Outcome& outcome);

/// Runs an engine's setters: their C-string texts become std::invalid_argument.
template <class Step>
void settingUp(Step step) {
    try {
        step();
    } catch (const char* message) {
        throw std::invalid_argument(message);
    }
}

/// The float engine behind vsr.Engine, with the registration chosen by name,
/// set up with the C interface's defaults. One call runs at a time; calls from
/// other threads wait.
class Engine {
public:
    /// Throws std::invalid_argument, with the library's text where the library
    /// rejects a value.
    static std::unique_ptr<Engine> create(const EngineOptions& options);
    /// The registration names create() accepts.
    static std::vector<std::string> registrations();
    virtual ~Engine() = default;
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    /// Copies a frame (height x width floats, row after row) into the window;
    /// once the window is full, reconstructs. Throws std::runtime_error or the
    /// library's exception when the reconstruction fails.
    Outcome add(const float* frame);

    /// False until the first reconstruction.
    bool hasResult() const;
    /// The last result, 2 * height x 2 * width floats.
    void copyResult(float* out) const;
    /// Per frame of the window, oldest first: the scene's shift against the
    /// reference frame, in input pixels, as of the last reconstruction.
    std::vector<cv::Point2f> shifts();
    /// Per frame of the window: 1 where the pixel entered the reconstruction.
    std::vector<cv::Mat_<unsigned char>> masks() const;

    int width() const { return width_; }
    int height() const { return height_; }
    int window() const { return window_; }
    int reference() const { return reference_; }
    const std::string& registration() const { return registration_; }
    /// Frames added since construction.
    long long frameCount() const;

protected:
    Engine(const EngineOptions& options, int reference);

private:
    virtual int addFrame_(const float* frame) = 0;
    virtual float computeSR_(float* out) = 0;
    virtual void getCompleteShifts_(std::vector<cv::Point2f>& out) = 0;
    virtual void getMasks_(std::vector<cv::Mat_<unsigned char>>& out) const = 0;
    virtual float minStructureThreshold_() const = 0;

    int width_;
    int height_;
    int window_;
    int reference_;
    std::string registration_;
    bool verbose_;
    mutable std::mutex busy_;
    long long frameCount_ = 0;
    bool hasResult_ = false;
    std::vector<float> result_;
};

}  // namespace python
}  // namespace vorel
