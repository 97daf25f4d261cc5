// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/PsfSigmaEstimator.h"

#include "vorel/Exception.h"

#include <algorithm>
#include <cmath>

namespace vorel {
namespace vision {

namespace {

constexpr float kFactor = 2.0f;
constexpr float kDefaultSigma = 0.683f;
constexpr int kMaxEdges = 500;
constexpr int kMinKept = 5;      // edges the median must rest on
constexpr int kReach = 3;        // input pixels searched around an edge in each frame
constexpr float kAcross = 2.5f;  // input pixels sampled across an edge
constexpr float kAlong = 0.7f;   // and along it
constexpr float kEngineBias = 0.06f;  // high-resolution pixels
constexpr float kMinWidth = 0.3f;  // narrower gives the engine almost the same kernel

// The engine's settings as the C interface sets them, for the registration.
void useInterfaceDefaults(SrFloat<SrFloatRegistration2>& engine, int referenceIndex) {
    engine.setReferenceIndex(referenceIndex);
    engine.setRegError(0.0001f);
    engine.setRelativeResidue(0.007f);
    engine.setWeightTV(400.0f);
}

// RMS error of the least-squares fit a + b Phi((d - centre) / spread) to the
// samples, and b; a and b solve a 2 x 2 system for each centre and spread.
template <class Sample>
double stepError(const Sample* samples, int count, double centre, double spread, double& contrast) {
    const double scale = -1.0 / (spread * std::sqrt(2.0));
    double sumP = 0.0, sumPP = 0.0, sumV = 0.0, sumPV = 0.0, sumVV = 0.0;
    for (int i = 0; i < count; ++i) {
        const double p = 0.5 * std::erfc((samples[i].distance - centre) * scale);
        const double v = samples[i].value;
        sumP += p;
        sumPP += p * p;
        sumV += v;
        sumPV += p * v;
        sumVV += v * v;
    }
    const double n = count;
    const double determinant = n * sumPP - sumP * sumP;
    contrast = 0.0;
    if (!(determinant > 1e-9 * n * n)) return HUGE_VAL;
    contrast = (n * sumPV - sumP * sumV) / determinant;
    const double offset = (sumV - contrast * sumP) / n;
    // Residual sum of squares of a linear least-squares fit: |v|^2 - (fit . v).
    const double residual = sumVV - offset * sumV - contrast * sumPV;
    return std::sqrt(std::max(residual, 0.0) / n);
}

}  // namespace

PsfSigmaEstimator::PsfSigmaEstimator(int width, int height, int frames)
    : width(width), height(height), frames(frames), sigma(kDefaultSigma), edgeCount(0) {
    if (frames < 1) throw "Invalid frame count for blur estimation.";
    if (frames < getMinFrames()) return;
    whole = std::make_unique<Engine>(width, height, frames, kFactor);
    shifts.reserve(frames);
    reconstruction.create(static_cast<int>(height * kFactor), static_cast<int>(width * kFactor));
    gradientX.create(height, width);
    gradientY.create(height, width);
    edges.reserve(static_cast<size_t>(width) * height);
    samples.resize(static_cast<size_t>(frames) * (2 * kReach + 2) * (2 * kReach + 2));
    fits.reserve(kMaxEdges);
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
    edgeCount = 0;
    if (frames < getMinFrames()) return Status::TooFewFrames;
    // One registration gives every frame's shift against the reference; an
    // iteration is enough, the reconstruction is not used.
    useInterfaceDefaults(*whole, referenceIndex);  // throws before any work if out of range
    whole->setMaxCGIters(1);
    try {
        for (int k = 0; k < frames; ++k) whole->addFrame(burst[k]);
        if (whole->computeSR(reconstruction) == -998.0f) return Status::TooFlat;
    } catch (const vorel::Exception&) {
        return Status::TooFlat;  // a displacement too large to register, or frames beyond repair
    }
    whole->getCompleteShifts(shifts);

    findEdges_(burst[frames - 1 - referenceIndex]);
    fits.clear();
    for (const Edge& edge : edges) {
        float spread = 0.0f, error = 0.0f;
        if (fitStep_(sampleAcross_(burst, edge), spread, error)) fits.emplace_back(error, spread);
    }
    const int kept = static_cast<int>(fits.size()) / 4;
    if (kept < kMinKept) return Status::TooFlat;
    std::nth_element(fits.begin(), fits.begin() + kept, fits.end());
    const auto middle = fits.begin() + kept / 2;
    using Fit = std::pair<float, float>;
    std::nth_element(fits.begin(), middle, fits.begin() + kept,
                     [](const Fit& a, const Fit& b) { return a.second < b.second; });
    // A sharp edge seen through the engine's kernel for width w spreads with
    // variance w^2 + 1/12: the kernel integrates over one output pixel.
    const float spread = kFactor * middle->second;
    sigma = std::max(kMinWidth, std::sqrt(std::max(spread * spread - 1.0f / 12.0f, 0.0f)) - kEngineBias);
    edgeCount = kept;
    return Status::Estimated;
}

// The strongest local maxima of the reference frame's gradient magnitude along
// the gradient (Sobel), at most kMaxEdges, with their unit normals.
void PsfSigmaEstimator::findEdges_(const float* reference) {
    gradientX = 0.0f;
    gradientY = 0.0f;
    const auto at = [&](int x, int y) { return reference[y * width + x]; };
    for (int y = 1; y < height - 1; ++y)
        for (int x = 1; x < width - 1; ++x) {
            gradientX(y, x) = 0.125f * (at(x + 1, y - 1) + 2.0f * at(x + 1, y) + at(x + 1, y + 1) - at(x - 1, y - 1) -
                                        2.0f * at(x - 1, y) - at(x - 1, y + 1));
            gradientY(y, x) = 0.125f * (at(x - 1, y + 1) + 2.0f * at(x, y + 1) + at(x + 1, y + 1) - at(x - 1, y - 1) -
                                        2.0f * at(x, y - 1) - at(x + 1, y - 1));
        }
    const auto magnitude = [&](int x, int y) { return std::hypot(gradientX(y, x), gradientY(y, x)); };
    edges.clear();
    for (int y = 2; y < height - 2; ++y)
        for (int x = 2; x < width - 2; ++x) {
            const float strength = magnitude(x, y);
            if (!(strength > 0.0f) || !std::isfinite(strength)) continue;  // flat, or NaN or infinity nearby
            const float normalX = gradientX(y, x) / strength, normalY = gradientY(y, x) / strength;
            const int stepX = static_cast<int>(std::lround(normalX)), stepY = static_cast<int>(std::lround(normalY));
            if (strength >= magnitude(x + stepX, y + stepY) && strength > magnitude(x - stepX, y - stepY))
                edges.push_back({strength, x, y, normalX, normalY});
        }
    if (static_cast<int>(edges.size()) > kMaxEdges) {
        std::nth_element(edges.begin(), edges.begin() + kMaxEdges, edges.end(),
                         [](const Edge& a, const Edge& b) { return a.strength > b.strength; });
        edges.resize(kMaxEdges);
    }
}

// Gathers the samples of every frame near `edge`: input pixel q of frame k shows
// the reference geometry's point q - shift_k. Returns their number.
int PsfSigmaEstimator::sampleAcross_(const float* const* burst, const Edge& edge) {
    int count = 0;
    for (int k = 0; k < frames; ++k) {
        const float centreX = static_cast<float>(edge.x) + shifts[k].x;
        const float centreY = static_cast<float>(edge.y) + shifts[k].y;
        const int left = std::max(0, static_cast<int>(std::floor(centreX)) - kReach);
        const int right = std::min(width - 1, static_cast<int>(std::ceil(centreX)) + kReach);
        const int top = std::max(0, static_cast<int>(std::floor(centreY)) - kReach);
        const int bottom = std::min(height - 1, static_cast<int>(std::ceil(centreY)) + kReach);
        for (int qy = top; qy <= bottom; ++qy)
            for (int qx = left; qx <= right; ++qx) {
                const float value = burst[k][qy * width + qx];
                const float px = static_cast<float>(qx) - centreX, py = static_cast<float>(qy) - centreY;
                const float across = px * edge.normalX + py * edge.normalY;
                const float along = py * edge.normalX - px * edge.normalY;
                if (std::isfinite(value) && std::fabs(across) <= kAcross && std::fabs(along) <= kAlong)
                    samples[count++] = {across, value};
            }
    }
    return count;
}

// Fits a blurred step across the samples: a coarse grid of centres and spreads
// (input pixels), refined three times around the best; false without a usable fit.
bool PsfSigmaEstimator::fitStep_(int count, float& spread, float& relativeError) const {
    if (count < 20) return false;
    double bestCentre = 0.0, bestSpread = 0.55, bestError = HUGE_VAL, contrast = 0.0;
    double centreStep = 0.15, spreadStep = 0.1;
    int reach = 4;  // the coarse grid: centres -0.6..0.6, spreads 0.15..0.95
    for (int pass = 0; pass < 4; ++pass) {
        const double centre0 = bestCentre, spread0 = bestSpread;
        for (int i = -reach; i <= reach; ++i)
            for (int j = -reach; j <= reach; ++j) {
                const double centre = centre0 + i * centreStep, width = spread0 + j * spreadStep;
                if (width < 0.05) continue;
                double b = 0.0;
                const double error = stepError(samples.data(), count, centre, width, b);
                if (error < bestError) {
                    bestError = error;
                    bestCentre = centre;
                    bestSpread = width;
                }
            }
        centreStep /= 3.0;
        spreadStep /= 3.0;
        reach = 2;
    }
    stepError(samples.data(), count, bestCentre, bestSpread, contrast);
    if (!(std::fabs(contrast) > 0.0) || !std::isfinite(bestError)) return false;
    spread = static_cast<float>(bestSpread);
    relativeError = static_cast<float>(bestError / std::fabs(contrast));
    return true;
}

}  // namespace vision
}  // namespace vorel
