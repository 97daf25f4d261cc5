// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/PsfSigmaEstimator.h"

#include "vorel/Exception.h"

#include <algorithm>
#include <cmath>

namespace vorel {
namespace vision {

namespace {

constexpr float kFactor = 2.0f;
constexpr int kTaps = 6;  // the minimiser's kernel size for factor 2
constexpr float kDefaultSigma = 0.683f;
constexpr float kFirstWidth = 0.4f;
constexpr float kWidthStep = 0.2f;
constexpr int kWidths = 6;
constexpr int kBorder = 4;

// The engine's settings as the C interface sets them, for the registration.
void useInterfaceDefaults(SrFloat<SrFloatRegistration2>& engine, int referenceIndex) {
    engine.setReferenceIndex(referenceIndex);
    engine.setRegError(0.0001f);
    engine.setRelativeResidue(0.007f);
    engine.setWeightTV(400.0f);
}

// Taps of `kernel` moved by the fraction `f` of a pixel towards higher indices,
// by linear interpolation as the minimiser moves its kernels: kTaps + 1 taps.
void moveKernel(const float* kernel, float f, float* moved) {
    std::fill(moved, moved + kTaps + 1, 0.0f);
    for (int t = 0; t < kTaps; ++t) {
        moved[t] += kernel[t] * (1.0f - f);
        moved[t + 1] += kernel[t] * f;
    }
}

}  // namespace

PsfSigmaEstimator::PsfSigmaEstimator(int width, int height, int frames)
    : width(width), height(height), frames(frames), sigma(kDefaultSigma), kernel{} {
    if (frames < 1) throw "Invalid frame count for blur estimation.";
    for (int i = 0; i < kWidths; ++i) candidates.push_back(kFirstWidth + kWidthStep * static_cast<float>(i));
    errors.assign(kWidths, 0.0);
    if (frames < getMinFrames()) return;
    whole = std::make_unique<Engine>(width, height, frames, kFactor);
    heldOut = std::make_unique<Engine>(width, height, frames - 1, kFactor);
    shifts.reserve(frames);
    reconstruction.create(static_cast<int>(height * kFactor), static_cast<int>(width * kFactor));
}

PsfSigmaEstimator::~PsfSigmaEstimator() = default;

PsfSigmaEstimator::Status PsfSigmaEstimator::estimate(const std::vector<cv::Mat_<float>>& burst, int referenceIndex) {
    if (static_cast<int>(burst.size()) != frames) throw "Invalid frame count for blur estimation.";
    std::vector<const float*> pointers;
    for (const cv::Mat_<float>& frame : burst) {
        if (frame.rows != height || frame.cols != width || !frame.isContinuous())
            throw "Invalid frame size for blur estimation.";
        pointers.push_back(frame[0]);
    }
    return estimate(pointers.data(), referenceIndex);
}

PsfSigmaEstimator::Status PsfSigmaEstimator::estimate(const float* const* burst, int referenceIndex) {
    sigma = kDefaultSigma;
    std::fill(errors.begin(), errors.end(), 0.0);
    if (frames < getMinFrames()) return Status::TooFewFrames;
    whole->setReferenceIndex(referenceIndex);  // throws before any work if out of range
    try {
        if (!crossValidate_(burst, referenceIndex)) return Status::TooFlat;
    } catch (const vorel::Exception&) {
        // A displacement too large to register, or frames beyond repair: no estimate.
        std::fill(errors.begin(), errors.end(), 0.0);
        return Status::TooFlat;
    }
    const int best = static_cast<int>(std::min_element(errors.begin(), errors.end()) - errors.begin());
    sigma = candidates[best];
    if (best > 0 && best + 1 < kWidths) {
        const double a = errors[best - 1], b = errors[best], c = errors[best + 1];
        const double curvature = a - 2.0 * b + c;
        if (curvature > 0.0) sigma += kWidthStep * static_cast<float>(std::clamp(0.5 * (a - c) / curvature, -0.5, 0.5));
    }
    return Status::Estimated;
}

// Fills `errors`; false when a window could not be registered.
bool PsfSigmaEstimator::crossValidate_(const float* const* burst, int referenceIndex) {
    // One registration of the whole burst gives every frame's shift against the
    // reference; an iteration is enough, the reconstruction is not used.
    useInterfaceDefaults(*whole, referenceIndex);
    whole->setMaxCGIters(1);
    for (int k = 0; k < frames; ++k) whole->addFrame(burst[k]);
    if (whole->computeSR(reconstruction) == -998.0f) return false;
    whole->getCompleteShifts(shifts);

    const int reference = frames - 1 - referenceIndex;
    const int oldest = reference == 0 ? 1 : 0;
    const int newest = reference == frames - 1 ? frames - 2 : frames - 1;
    for (const int out : {oldest, newest}) {
        // The window slides by whole bursts, so every slot of the engine holds this round's frames.
        const int referenceSlot = out < reference ? reference - 1 : reference;
        useInterfaceDefaults(*heldOut, frames - 2 - referenceSlot);
        heldOut->setWeightTV(40000.0f);
        heldOut->setRelativeResidue(1e-5f);
        heldOut->setMaxCGIters(60);
        for (int k = 0; k < frames; ++k)
            if (k != out) heldOut->addFrame(burst[k]);
        for (int i = 0; i < kWidths; ++i) {
            heldOut->setPsfSigma(candidates[i]);
            if (heldOut->computeSR(reconstruction) == -998.0f) return false;
            errors[i] += 0.5 * predictionError_(reconstruction, burst[out], shifts[out], candidates[i]);
        }
    }
    return true;
}

// RMS difference between `frame` and its prediction from `estimate`: input pixel
// (i, j) of a frame with complete shift s sits at output position
// 2 (i - s.y, j - s.x) + 0.5, and the engine's kernel for `psfWidth` spreads over
// the output pixels around it, moved by the fraction of a pixel that remains.
double PsfSigmaEstimator::predictionError_(const cv::Mat_<float>& estimate, const float* frame, cv::Point2f shift,
                                           float psfWidth) {
    SrFloatMinimization::psfKernel(psfWidth, kFactor, kTaps, kernel);
    float rows[kTaps + 1], columns[kTaps + 1];
    // The first tap lies kTaps / 2 - 0.5 output pixels before the sample position.
    const float firstRow = -kFactor * shift.y + 0.5f - 0.5f * (kTaps - 1);
    const float firstColumn = -kFactor * shift.x + 0.5f - 0.5f * (kTaps - 1);
    const int rowOffset = static_cast<int>(std::floor(firstRow));
    const int columnOffset = static_cast<int>(std::floor(firstColumn));
    moveKernel(kernel, firstRow - static_cast<float>(rowOffset), rows);
    moveKernel(kernel, firstColumn - static_cast<float>(columnOffset), columns);

    double sum = 0.0;
    long used = 0;
    for (int i = kBorder; i < height - kBorder; ++i) {
        const int top = static_cast<int>(kFactor) * i + rowOffset;
        if (top < 0 || top + kTaps >= estimate.rows) continue;
        for (int j = kBorder; j < width - kBorder; ++j) {
            const int left = static_cast<int>(kFactor) * j + columnOffset;
            const float value = frame[i * width + j];
            if (left < 0 || left + kTaps >= estimate.cols || !std::isfinite(value)) continue;
            double predicted = 0.0;
            for (int t = 0; t <= kTaps; ++t) {
                const float* row = estimate[top + t] + left;
                double across = 0.0;
                for (int u = 0; u <= kTaps; ++u) across += static_cast<double>(columns[u]) * row[u];
                predicted += rows[t] * across;
            }
            sum += (predicted - value) * (predicted - value);
            ++used;
        }
    }
    return used > 0 ? std::sqrt(sum / static_cast<double>(used)) : 0.0;
}

}  // namespace vision
}  // namespace vorel
