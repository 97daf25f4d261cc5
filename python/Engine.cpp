// SPDX-License-Identifier: Proprietary
#include "Engine.h"

#include "EngineWarnings.h"
#include "StreamSilencer.h"

#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/api/CameraAndLens.h"

#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace vorel {
namespace python {
namespace {

template <class Registration>
class EngineWith final : public Engine {
public:
    EngineWith(const EngineOptions& options, int reference)
        : Engine(options, reference), engine_(options.width, options.height, options.window, 2.0f) {
        // The C interface's defaults, so that Python and C hosts get the same results.
        engine_.setReferenceIndex(reference);
        engine_.setWeightTV(options.tvWeight.value_or(400.0f));
        engine_.setRegError(0.0001f);
        engine_.setRelativeResidue(0.007f);
        if (options.iterations) engine_.setMaxCGIters(*options.iterations);
        if (options.psfSigma) engine_.setPsfSigma(*options.psfSigma);
        engine_.setThreadCount(options.threads);
    }

private:
    int addFrame_(const float* frame) override { return engine_.addFrame(frame); }
    float computeSR_(float* out) override { return engine_.computeSR(out); }
    void getCompleteShifts_(std::vector<cv::Point2f>& out) override { engine_.getCompleteShifts(out); }
    void getMasks_(std::vector<cv::Mat_<unsigned char>>& out) const override { engine_.getMasks(out); }
    float minStructureThreshold_() const override { return engine_.getMinStructureThreshold(); }

    vision::SrFloat<Registration> engine_;
};

template <class Registration>
std::unique_ptr<Engine> build(const EngineOptions& options, int reference) {
    return std::make_unique<EngineWith<Registration>>(options, reference);
}

using Builder = std::unique_ptr<Engine> (*)(const EngineOptions&, int);

// A registration class is one row here (and its header above).
const std::pair<const char*, Builder> registrationTable[] = {
    {"corners", build<vision::SrFloatRegistration2>},
    {"phase", build<vision::SrFloatRegistration1>},
};

Builder builderFor(const std::string& name) {
    for (const auto& row : registrationTable) {
        if (name == row.first) return row.second;
    }
    std::string known;
    for (const auto& row : registrationTable) known += std::string(known.empty() ? "" : ", ") + "'" + row.first + "'";
    throw std::invalid_argument("unknown registration '" + name + "'; available: " + known);
}

}  // namespace

std::vector<std::string> Engine::registrations() {
    std::vector<std::string> names;
    for (const auto& row : registrationTable) names.emplace_back(row.first);
    return names;
}

EngineOptions resolvedOptions(const EngineOptions& requested) {
    if (requested.width < 1 || requested.height < 1)
        throw std::invalid_argument("width and height must be positive, got " + std::to_string(requested.width) +
                                    " x " + std::to_string(requested.height));
    // The engine's own check comes after its parts have sized their buffers by the window.
    if (requested.window < 1)
        throw std::invalid_argument("window must be at least 1, got " + std::to_string(requested.window));
    EngineOptions options = requested;
    if (options.camera) {
        if (options.psfSigma) throw std::invalid_argument("give camera or psf_sigma, not both");
        std::string camera;
        int lens = 0;
        if (!vision::parseCameraAndLens(*options.camera, camera, lens))
            throw std::invalid_argument("camera '" + *options.camera +
                                        "' names no known camera model and lens, e.g. 'k425 FOV 25'");
        options.psfSigma = vision::psfSigmaOfCameraAndLens(*options.camera);
    }
    // The default reference follows a small window, as in the vsr tool.
    if (!options.reference) options.reference = std::clamp(options.window - 1, 0, 3);
    return options;
}

void recordComputation(float value, Outcome& outcome) {
    if (value == -998.0f) throw std::runtime_error("the frames could not be registered");
    if (value == -6.0f || value == -3.0f || value == -2.0f) {
        outcome.code = static_cast<int>(value);
    } else if (value < 0.0f) {
        throw std::runtime_error("the minimisation failed (" + std::to_string(static_cast<int>(value)) + ")");
    } else {
        outcome.quality = value;
    }
    outcome.computed = true;
}

std::unique_ptr<Engine> Engine::create(const EngineOptions& requested) {
    const Builder builder = builderFor(requested.registration);
    const EngineOptions options = resolvedOptions(requested);
    std::unique_ptr<Engine> engine;
    settingUp([&] { engine = builder(options, *options.reference); });
    return engine;
}

Engine::Engine(const EngineOptions& options, int reference)
    : width_(options.width),
      height_(options.height),
      window_(options.window),
      reference_(reference),
      registration_(options.registration),
      verbose_(options.verbose),
      result_(static_cast<std::size_t>(options.width) * static_cast<std::size_t>(options.height) * 4) {}

Outcome Engine::add(const float* frame) {
    const std::lock_guard<std::mutex> lock(busy_);
    const tools::StreamSilencer quiet(STDOUT_FILENO, !verbose_);
    Outcome outcome;
    // A flat frame is only flagged, as by the C interface: it is used all the same.
    double low = 0.0;
    double high = 0.0;
    cv::minMaxLoc(cv::Mat_<float>(height_, width_, const_cast<float*>(frame)), &low, &high);
    if (!(high - low >= static_cast<double>(minStructureThreshold_()))) outcome.code = -4;
    const int repair = addFrame_(frame);
    if (repair < 0) outcome.code = repair;
    ++frameCount_;
    if (frameCount_ >= window_) {
        recordComputation(computeSR_(result_.data()), outcome);
        hasResult_ = true;
    }
    if (const char* warning = tools::engineWarning(outcome.code)) outcome.warning = warning;
    return outcome;
}

bool Engine::hasResult() const {
    const std::lock_guard<std::mutex> lock(busy_);
    return hasResult_;
}

void Engine::copyResult(float* out) const {
    const std::lock_guard<std::mutex> lock(busy_);
    std::copy(result_.begin(), result_.end(), out);
}

std::vector<cv::Point2f> Engine::shifts() {
    const std::lock_guard<std::mutex> lock(busy_);
    std::vector<cv::Point2f> shifts;
    getCompleteShifts_(shifts);
    return shifts;
}

std::vector<cv::Mat_<unsigned char>> Engine::masks() const {
    const std::lock_guard<std::mutex> lock(busy_);
    std::vector<cv::Mat_<unsigned char>> masks;
    getMasks_(masks);
    return masks;
}

long long Engine::frameCount() const {
    const std::lock_guard<std::mutex> lock(busy_);
    return frameCount_;
}

}  // namespace python
}  // namespace vorel
