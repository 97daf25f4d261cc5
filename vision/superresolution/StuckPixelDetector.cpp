// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/StuckPixelDetector.h"

#include <algorithm>
#include <cmath>

namespace vorel {
namespace vision {

namespace {

// Median of values[0..count-1] (count > 0), reordering them; the mean of the
// two middle values for an even count.
float medianOf(float* values, int count) {
    const int middle = count / 2;
    std::nth_element(values, values + middle, values + count);
    if (count % 2 == 1) return values[middle];
    return 0.5f * (values[middle] + *std::max_element(values, values + middle));
}

// Rounded half up, as whole-pixel shifts are everywhere in the library.
int roundHalfUp(float value) { return static_cast<int>(std::floor(value + 0.5f)); }

// Largest motion measured, in pixels per axis.
constexpr int kMaxRange = 12;
// Largest median distance of a defect's residuals from their median, relative to it.
constexpr float kMaxSpread = 0.25f;
// How far a defect must stand out beyond the typical deviation of its neighbours.
constexpr float kIsolation = 4.0f;
// Farthest a stuck pixel's reading may lie from its median over the frames, in noise units.
constexpr float kMaxReadingChange = 4.0f;

// Offset of the vertex of the parabola through (-1, a), (0, b), (1, c), within +-0.5.
float vertex(double a, double b, double c) {
    const double curvature = a - 2.0 * b + c;
    return curvature > 0.0 ? static_cast<float>(std::clamp(0.5 * (a - c) / curvature, -0.5, 0.5)) : 0.0f;
}

// The shift d within +-range that makes `moved`(p + d) most like `still`(p),
// by the mean squared difference over the overlap, refined to sub-pixel by a
// parabola per axis. A plain search: phase correlation picks a wrong period on
// scenes with repeating structure, such as a facade's windows.
cv::Point2f bestShift(const cv::Mat_<float>& still, const cv::Mat_<float>& moved, int range) {
    double cost[2 * kMaxRange + 1][2 * kMaxRange + 1];
    int bestX = -range, bestY = -range;
    for (int dy = -range; dy <= range; ++dy)
        for (int dx = -range; dx <= range; ++dx) {
            double sum = 0.0;
            const int x0 = std::max(0, -dx), x1 = std::min(still.cols, still.cols - dx);
            for (int y = std::max(0, -dy); y < std::min(still.rows, still.rows - dy); ++y) {
                const float* a = still[y];
                const float* b = moved[y + dy] + dx;
                for (int x = x0; x < x1; ++x) sum += static_cast<double>(b[x] - a[x]) * (b[x] - a[x]);
            }
            const double overlap = static_cast<double>(x1 - x0) * (still.rows - std::abs(dy));
            cost[dy + range][dx + range] = sum / overlap;
            if (cost[dy + range][dx + range] < cost[bestY + range][bestX + range]) {
                bestX = dx;
                bestY = dy;
            }
        }
    const auto at = [&](int dx, int dy) { return cost[dy + range][dx + range]; };
    cv::Point2f shift(static_cast<float>(bestX), static_cast<float>(bestY));
    if (std::abs(bestX) < range) shift.x += vertex(at(bestX - 1, bestY), at(bestX, bestY), at(bestX + 1, bestY));
    if (std::abs(bestY) < range) shift.y += vertex(at(bestX, bestY - 1), at(bestX, bestY), at(bestX, bestY + 1));
    return shift;
}

}  // namespace

StuckPixelDetector::StuckPixelDetector(int width, int height, int maxFrames)
    : width(width), height(height), size(width * height), maxFrames(maxFrames), threshold(8.0f), minFraction(0.8f),
      noise(0.0f) {
    if (width < 3 || height < 3) throw "Invalid frame size for stuck-pixel detection.";
    if (maxFrames < 1) throw "Invalid frame count for stuck-pixel detection.";
    frameList.resize(maxFrames);
    medians.resize(static_cast<size_t>(maxFrames) * size);
    scratch.resize(static_cast<size_t>(maxFrames) * size);
    samples.resize(std::max(8, maxFrames));
    candidates.resize(size);
    typical.resize(size);
    level.resize(size);
    stuckMask.resize(size);
    shifts.resize(maxFrames);
    stuck.reserve(size / 100 + 1);
    stillImage.create(height, width);
    movedImage.create(height, width);
}

void StuckPixelDetector::setStuckPixels(const std::vector<cv::Point>& pixels) {
    for (const cv::Point& pixel : pixels)
        if (pixel.x < 0 || pixel.y < 0 || pixel.x >= width || pixel.y >= height) throw "Stuck pixel outside the frame.";
    storeStuck_(pixels);
}

void StuckPixelDetector::storeStuck_(const std::vector<cv::Point>& pixels) {
    for (const cv::Point& pixel : stuck) stuckMask[pixel.y * width + pixel.x] = 0;
    if (&pixels != &stuck) stuck = pixels;
    for (const cv::Point& pixel : stuck) stuckMask[pixel.y * width + pixel.x] = 1;
}

// Finite neighbours only, and none that `skip` marks.
float StuckPixelDetector::neighbourMedian_(const float* frame, int x, int y, const unsigned char* skip) const {
    int count = 0;
    for (int dy = -1; dy <= 1; ++dy) {
        const int ny = y + dy;
        if (ny < 0 || ny >= height) continue;
        for (int dx = -1; dx <= 1; ++dx) {
            const int nx = x + dx;
            if ((dx == 0 && dy == 0) || nx < 0 || nx >= width) continue;
            const int index = ny * width + nx;
            const float value = frame[index];
            if (std::isfinite(value) && !(skip && skip[index])) samples[count++] = value;
        }
    }
    return count > 0 ? medianOf(samples.data(), count) : NAN;
}

StuckPixelDetector::Status StuckPixelDetector::detect(const std::vector<cv::Mat_<float>>& frames) {
    std::vector<const float*> pointers;
    pointers.reserve(frames.size());
    for (const cv::Mat_<float>& frame : frames) {
        if (frame.rows != height || frame.cols != width || !frame.isContinuous())
            throw "Invalid frame size for stuck-pixel detection.";
        pointers.push_back(frame[0]);
    }
    return detect(pointers.data(), static_cast<int>(pointers.size()));
}

// Statistics of one pixel over the frames; returns whether it is a candidate:
// its median residual beyond `limit`, with that sign and size in `required`
// frames, and steady: a defect stands out by about the same amount in every
// frame, while scene detail that merely has the same sign comes and goes as the
// scene moves. Needs `noise`.
bool StuckPixelDetector::evaluate_(int index, int n, float limit, int required) {
    float* values = samples.data();
    int count = 0;
    for (int k = 0; k < n; ++k) {
        const float r = residual_(k, index);
        if (std::isfinite(r)) values[count++] = r;
    }
    candidates[index] = 0;
    typical[index] = 0.0f;
    level[index] = 0.0f;
    if (count == 0) return false;
    const float median = medianOf(values, count);
    typical[index] = median;
    for (int i = 0; i < count; ++i) values[i] = std::fabs(values[i]);
    level[index] = medianOf(values, count);
    if (!(std::fabs(median) > limit)) return false;
    const float sign = median > 0.0f ? 1.0f : -1.0f;
    int agreeing = 0;
    count = 0;
    for (int k = 0; k < n; ++k) {
        const float r = residual_(k, index);
        if (!std::isfinite(r)) continue;
        values[count++] = std::fabs(r - median);
        agreeing += r * sign > limit;
    }
    if (agreeing < required || medianOf(values, count) > kMaxSpread * std::fabs(median)) return false;
    // And the reading itself stays: scene detail that stands out as steadily (a
    // small warm blob, a spoke lying along the motion) changes its reading as it moves.
    count = 0;
    for (int k = 0; k < n; ++k)
        if (std::isfinite(frameList[k][index])) values[count++] = frameList[k][index];
    const float reading = medianOf(values, count);
    float largest = 0.0f;
    for (int i = 0; i < count; ++i) largest = std::max(largest, std::fabs(values[i] - reading));
    candidates[index] = largest <= kMaxReadingChange * noise;
    return candidates[index] != 0;
}

StuckPixelDetector::Status StuckPixelDetector::detect(const float* const* frames, int n) {
    if (n > maxFrames) throw "Invalid frame count for stuck-pixel detection.";
    storeStuck_({});
    noise = 0.0f;
    if (n < getMinFrames()) return Status::TooFewFrames;

    int valid = 0;
    double absoluteSum = 0.0;
    for (int k = 0; k < n; ++k) {
        frameList[k] = frames[k];
        float* median = medians.data() + static_cast<size_t>(k) * size;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                const int index = y * width + x;
                median[index] = neighbourMedian_(frames[k], x, y, nullptr);
                const float deviation = std::fabs(residual_(k, index));
                if (!std::isfinite(deviation)) continue;
                scratch[valid++] = deviation;
                absoluteSum += deviation;
            }
    }
    if (valid == 0) return Status::TooFlat;
    // Gaussian noise: median |r| = 0.6745 sigma, mean |r| = 0.7979 sigma.
    noise = 1.4826f * medianOf(scratch.data(), valid);
    if (noise == 0.0f) noise = static_cast<float>(1.2533 * absoluteSum / valid);
    if (noise == 0.0f) return Status::TooFlat;

    const float limit = threshold * noise;
    const int required = std::max(1, static_cast<int>(std::ceil(minFraction * static_cast<float>(n) - 1e-4f)));
    bool any = false;
    for (int index = 0; index < size; ++index) any |= evaluate_(index, n, limit, required);
    if (!any) return Status::Found;

    // A defect shifts its neighbours' local medians by one rank, which near an
    // edge can make them stand out steadily too: a candidate next to a stronger
    // one is judged again without it.
    std::copy(candidates.begin(), candidates.end(), stuckMask.begin());
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const int index = y * width + x;
            if (stuckMask[index] == 0) continue;
            bool nextToStronger = false;
            for (int ny = std::max(y - 1, 0); ny <= std::min(y + 1, height - 1); ++ny)
                for (int nx = std::max(x - 1, 0); nx <= std::min(x + 1, width - 1); ++nx) {
                    const int other = ny * width + nx;
                    nextToStronger |= stuckMask[other] != 0 && std::fabs(typical[other]) > std::fabs(typical[index]);
                }
            if (!nextToStronger) continue;
            for (int k = 0; k < n; ++k)
                medians[static_cast<size_t>(k) * size + index] = neighbourMedian_(frames[k], x, y, stuckMask.data());
            evaluate_(index, n, limit, required);
        }
    std::fill(stuckMask.begin(), stuckMask.end(), 0);

    // Lines, corners and fine texture stand out from the local median too, but
    // so do their neighbours; a defect stands out from its neighbours' own deviations.
    int candidateCount = 0;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const int index = y * width + x;
            if (candidates[index] == 0) continue;
            const float around = std::max(neighbourMedian_(level.data(), x, y, nullptr), noise);
            if (!(std::fabs(typical[index]) > kIsolation * around)) candidates[index] = 0;
            candidateCount += candidates[index] != 0;
        }
    if (candidateCount == 0) return Status::Found;

    if (measureMotion_(n) < 2) return Status::TooStill;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const bool mark = candidates[y * width + x] != 0;
            if (mark && !followsScene_(x, y, typical[y * width + x], n)) stuck.emplace_back(x, y);
        }
    storeStuck_(stuck);
    return Status::Found;
}

// The frame with candidates and unusable pixels replaced by their local median,
// so that a fixed pattern of defects does not pull the correlation to zero shift.
void StuckPixelDetector::cleanFrame_(int frame, cv::Mat_<float>& out) const {
    const float* values = frameList[frame];
    const float* median = medians.data() + static_cast<size_t>(frame) * size;
    float* target = out[0];
    for (int index = 0; index < size; ++index) {
        float value = values[index];
        if (candidates[index] != 0 || !std::isfinite(value)) value = median[index];
        target[index] = std::isfinite(value) ? value : 0.0f;
    }
}

// Returns the largest number of frames in which the scene moved by at least
// half a pixel against one frame.
int StuckPixelDetector::measureMotion_(int n) {
    cleanFrame_(0, stillImage);
    shifts[0] = cv::Point2f();
    // Hand-shake moves up to a tenth of the frame; more is large displacement to the engine.
    const int range = std::clamp(std::min(width, height) / 10, 1, kMaxRange);
    for (int k = 1; k < n; ++k) {
        cleanFrame_(k, movedImage);
        shifts[k] = bestShift(stillImage, movedImage, range);
    }
    int best = 0;
    for (int j = 0; j < n; ++j) {
        int moved = 0;
        for (int k = 0; k < n; ++k)
            moved += roundHalfUp(shifts[k].x - shifts[j].x) != 0 || roundHalfUp(shifts[k].y - shifts[j].y) != 0;
        best = std::max(best, moved);
    }
    return best;
}

// Whether the deviation `typical` at (x, y) travels with the scene. Every frame
// in which it shows serves in turn as the origin, and one at least half as
// large is looked for where the scene went in each other frame. A frame follows
// when most of its looks find it; true when more than a quarter of the frames
// that moved follow, or when too few moved to tell.
bool StuckPixelDetector::followsScene_(int x, int y, float deviation, int n) const {
    const float sign = deviation > 0.0f ? 1.0f : -1.0f;
    const float limit = std::max(threshold * noise, 0.5f * std::fabs(deviation));
    const int index = y * width + x;
    int moved = 0, following = 0;
    for (int k = 0; k < n; ++k) {
        int looks = 0, found = 0;
        for (int j = 0; j < n; ++j) {
            if (!(residual_(j, index) * sign > limit)) continue;
            const int qx = x + roundHalfUp(shifts[k].x - shifts[j].x);
            const int qy = y + roundHalfUp(shifts[k].y - shifts[j].y);
            if ((qx == x && qy == y) || qx < 0 || qy < 0 || qx >= width || qy >= height) continue;
            ++looks;
            // Anywhere next to where the scene went: shifts are measured, and
            // detail finer than a pixel straddles two. Another candidate with no
            // candidate next to it but this one is more likely a second defect.
            bool seen = false;
            for (int ny = std::max(qy - 1, 0); ny <= std::min(qy + 1, height - 1); ++ny)
                for (int nx = std::max(qx - 1, 0); nx <= std::min(qx + 1, width - 1); ++nx)
                    seen |= (nx != x || ny != y) && !loneCandidate_(nx, ny, x, y) &&
                            residual_(k, ny * width + nx) * sign > limit;
            found += seen;
        }
        moved += looks > 0;
        following += looks > 0 && 2 * found > looks;
    }
    return moved < 2 || 4 * following > moved;
}

bool StuckPixelDetector::loneCandidate_(int x, int y, int exceptX, int exceptY) const {
    if (candidates[y * width + x] == 0) return false;
    for (int ny = std::max(y - 1, 0); ny <= std::min(y + 1, height - 1); ++ny)
        for (int nx = std::max(x - 1, 0); nx <= std::min(x + 1, width - 1); ++nx)
            if ((nx != x || ny != y) && (nx != exceptX || ny != exceptY) && candidates[ny * width + nx] != 0)
                return false;
    return true;
}

void StuckPixelDetector::repair(float* frame) const {
    // Only stuck pixels change and none serves as a neighbour: the order does not matter.
    for (const cv::Point& pixel : stuck)
        frame[pixel.y * width + pixel.x] = neighbourMedian_(frame, pixel.x, pixel.y, stuckMask.data());
}

void StuckPixelDetector::markNaN(float* frame) const {
    for (const cv::Point& pixel : stuck) frame[pixel.y * width + pixel.x] = NAN;
}

}  // namespace vision
}  // namespace vorel
