// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <memory>
#include <string>

namespace vorel {
namespace tools {

/// How a burst is reconstructed. Zero for tvWeight, iterations and psfSigma
/// keeps the library's default.
/// How the engine finds the frames' shifts: corner tracking (the C interface's
/// choice) or phase correlation (for scenes with little contrast).
enum class RegistrationMethod { Corners, PhaseCorrelation };

struct ReconstructionSettings {
    std::string camera;  ///< camera and lens description, e.g. "k425 FOV 25"
    int reference = 3;   ///< reference frame, counted back from the newest
    int window = 5;
    float tvWeight = 0.0f;
    int iterations = 0;
    float psfSigma = 0.0f;
    RegistrationMethod registration = RegistrationMethod::Corners;
    bool referenceEngine = false;  ///< the first-generation engine, with its own registration
    bool verbose = false;  ///< let the library's timing lines through
    int threads = 1;       ///< threads per reconstruction, the caller's included; the same result for any count
    /// The four-lane vector engine (SrFloatNeon) instead of the float engine; it
    /// neither masks nor refills result pixels near defective frame pixels.
    bool vectorEngine = false;

    /// True when only a C++ engine can honour the settings; the C interface has a
    /// fixed window of 5, corner tracking, no setters for these parameters and
    /// neither the vector nor the first-generation engine.
    bool needsEngine() const {
        return vectorEngine || referenceEngine || window != 5 || tvWeight > 0.0f || iterations > 0 ||
               psfSigma > 0.0f || registration != RegistrationMethod::Corners;
    }
};

/// What one added frame led to.
struct Outcome {
    bool computed = false;  ///< a new result is available
    int code = 0;           ///< 0 or a warning code (-2, -3, -4, -6)
    float quality = -1.0f;  ///< the engine's quality figure, when known (>= 0)

    /// The outcome in words: a warning, or the quality figure; empty when
    /// there is neither (the C interface passes no quality figure out).
    std::string describe() const;
};

/// Super-resolves a stream of frames through the library: the C interface,
/// or the C++ engine when the settings need it. Failures of the library throw
/// ToolError(Reconstruction).
class Reconstructor {
public:
    /// Throws ToolError(Usage) for settings the chosen path cannot honour.
    static std::unique_ptr<Reconstructor> create(cv::Size frameSize, const ReconstructionSettings& settings);
    virtual ~Reconstructor() = default;

    /// Adds a frame of the given size; once the window is full, recomputes the result.
    virtual Outcome add(const cv::Mat_<float>& frame) = 0;
    /// The last result, twice the frame's width and height.
    virtual cv::Mat_<float> result() const = 0;
    virtual int window() const = 0;
};

}  // namespace tools
}  // namespace vorel
