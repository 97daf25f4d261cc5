// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatSubPixelFlow.h"

#include "vision/superresolution/SrFloatConvolution.h"
#include "vorel/Dispatch.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace vorel {
namespace vision {

namespace {

// The part of the reference grid that a frame moved by (dx, dy) covers, in
// reference coordinates (refX, refY) and frame coordinates (frameX, frameY).
// Moves of a whole frame or more leave an empty overlap.
struct Overlap {
    int refX, refY, frameX, frameY, cols, rows;
};

Overlap overlapOf(int dx, int dy, int width, int height) {
    const int ax = std::min(std::abs(dx), width);
    const int ay = std::min(std::abs(dy), height);
    return {dx < 0 ? ax : 0, dy < 0 ? ay : 0, dx > 0 ? ax : 0, dy > 0 ? ay : 0, width - ax, height - ay};
}

// Double sums over a row run in eight interleaved lanes (sample x goes to lane x mod 8):
// each lane's additions depend only on each other, so they pipeline and vectorise,
// and the total, added up lane by lane at the end, is the same on every target.
constexpr int kLanes = 8;

double laneTotal(const double (&lanes)[kLanes]) {
    double total = 0.0;
    for (const double lane : lanes) total += lane;
    return total;
}

}  // namespace

VOREL_DISPATCH_AVX2 cv::Vec3f SrFloatSubPixelFlow::initialize(const float* reference) const {
    double xx[kLanes] = {}, xy[kLanes] = {}, yy[kLanes] = {};
    for (int y = 0; y < height; ++y) {
        const float* row = reference + static_cast<std::size_t>(y) * width;
        const float* above = reference + static_cast<std::size_t>(std::max(y - 1, 0)) * width;
        const float* below = reference + static_cast<std::size_t>(std::min(y + 1, height - 1)) * width;
        const float factorY = (y == 0 || y == height - 1) ? 1.0f : 0.5f;
        float* gx = gradX + static_cast<std::size_t>(y) * width;
        float* gy = gradY + static_cast<std::size_t>(y) * width;
        gx[0] = row[1] - row[0];
        for (int x = 1; x < width - 1; ++x) gx[x] = (row[x + 1] - row[x - 1]) * 0.5f;
        gx[width - 1] = row[width - 1] - row[width - 2];
        for (int x = 0; x < width; ++x) gy[x] = (below[x] - above[x]) * factorY;
        int x = 0;
        for (; x + kLanes <= width; x += kLanes) {
            for (int lane = 0; lane < kLanes; ++lane) {
                const double dx = gx[x + lane], dy = gy[x + lane];
                xx[lane] += dx * dx;
                xy[lane] += dx * dy;
                yy[lane] += dy * dy;
            }
        }
        for (; x < width; ++x) {
            const double dx = gx[x], dy = gy[x];
            xx[x % kLanes] += dx * dx;
            xy[x % kLanes] += dx * dy;
            yy[x % kLanes] += dy * dy;
        }
    }
    return cv::Vec3f(static_cast<float>(laneTotal(xx)), static_cast<float>(laneTotal(xy)),
                     static_cast<float>(laneTotal(yy)));
}

VOREL_DISPATCH_AVX2 cv::Point_<float> SrFloatSubPixelFlow::opticalFlow(const float* reference, const float* frame,
                                                                       cv::Point_<int> coarse, const cv::Vec3f& sums,
                                                                       float regError, int regErrBlurRadius,
                                                                       char* mask) const {
    const Overlap overlap = overlapOf(coarse.x, coarse.y, width, height);

    // The overlap's structure sums are the whole frame's minus those of the two
    // uncovered bands, which are marked as badly registered on the way.
    double bandXX = 0.0, bandXY = 0.0, bandYY = 0.0;
    auto band = [&](int top, int rows, int left, int cols) {
        for (int y = top; y < top + rows; ++y) {
            const std::size_t start = static_cast<std::size_t>(y) * width + left;
            for (std::size_t i = start; i < start + cols; ++i) {
                bandXX += static_cast<double>(gradX[i]) * gradX[i];
                bandXY += static_cast<double>(gradX[i]) * gradY[i];
                bandYY += static_cast<double>(gradY[i]) * gradY[i];
                errImage[i] = regError;
            }
        }
    };
    const int bandRows = height - overlap.rows;
    const int bandCols = width - overlap.cols;
    band(coarse.y >= 0 ? overlap.rows : 0, bandRows, 0, width);
    band(overlap.refY, overlap.rows, coarse.x >= 0 ? overlap.cols : 0, bandCols);
    const double a = sums[0] - bandXX;
    const double b = sums[1] - bandXY;
    const double c = sums[2] - bandYY;

    // Row y of the overlap: reference, moved frame, gradients, and its offset in the reference grid.
    struct OverlapRow {
        const float *r, *f, *gx, *gy;
        std::size_t start;
    };
    auto overlapRow = [&](int y) {
        const std::size_t start = static_cast<std::size_t>(overlap.refY + y) * width + overlap.refX;
        const std::size_t moved = static_cast<std::size_t>(overlap.frameY + y) * width + overlap.frameX;
        return OverlapRow{reference + start, frame + moved, gradX + start, gradY + start, start};
    };

    double pLanes[kLanes] = {}, qLanes[kLanes] = {};
    for (int y = 0; y < overlap.rows; ++y) {
        const auto [r, f, gx, gy, start] = overlapRow(y);
        int x = 0;
        for (; x + kLanes <= overlap.cols; x += kLanes) {
            for (int lane = 0; lane < kLanes; ++lane) {
                const double d = f[x + lane] - r[x + lane];
                pLanes[lane] += gx[x + lane] * d;
                qLanes[lane] += gy[x + lane] * d;
            }
        }
        for (; x < overlap.cols; ++x) {
            const double d = f[x] - r[x];
            pLanes[x % kLanes] += gx[x] * d;
            qLanes[x % kLanes] += gy[x] * d;
        }
    }
    const double p = laneTotal(pLanes);
    const double q = laneTotal(qLanes);

    // One linearised least-squares step around the whole-pixel shift; a degenerate
    // overlap gives infinities or NaN, which the displacement limit rejects.
    const double det = c * a - b * b;
    const double u = (b * q - c * p) / det;
    const double v = (b * p - a * q) / det;
    const float uf = static_cast<float>(u);
    const float vf = static_cast<float>(v);
    const float norm = static_cast<float>(1.0 / (a + c));
    for (int y = 0; y < overlap.rows; ++y) {
        const auto [r, f, gx, gy, start] = overlapRow(y);
        float* e = errImage + start;
        for (int x = 0; x < overlap.cols; ++x) {
            const float residual = gx[x] * uf + gy[x] * vf + (f[x] - r[x]);
            e[x] = residual * residual * norm;
        }
    }
    cv::Mat_<float> error(height, width, errImage);
    cv::Mat_<float> smoothed(height, width, errBlurred);
    SrFloatConvolution::blurImageMeanFilter(error, regErrBlurRadius, smoothed);

    const cv::Point_<float> shift(static_cast<float>(coarse.x + u), static_cast<float>(coarse.y + v));
    const double roundedX = std::floor(shift.x + 0.5);
    const double roundedY = std::floor(shift.y + 0.5);
    if (std::fabs(roundedX) < width && std::fabs(roundedY) < height) {  // false for NaN
        const Overlap valid = overlapOf(static_cast<int>(roundedX), static_cast<int>(roundedY), width, height);
        // Locals, since a char store may alias the members. The mask bytes are 0 or 1
        // here, so or-ing in the test only ever sets them.
        const float limit = regError;
        const float* blurredError = errBlurred;
        for (int y = valid.refY; y < valid.refY + valid.rows; ++y) {
            const std::size_t start = static_cast<std::size_t>(y) * width + valid.refX;
            for (std::size_t i = start; i < start + valid.cols; ++i)
                mask[i] |= static_cast<char>(limit > blurredError[i]);
        }
    }
    return shift;
}

void SrFloatSubPixelFlow::shiftFrame(const float* in, cv::Point_<float>& shift, float* out) const {
    const int ry = static_cast<int>(std::floor(shift.y + 0.5));
    const int rx = static_cast<int>(std::floor(shift.x + 0.5));
    const long size = static_cast<long>(width) * height;
    // One linear copy: a horizontal move lets a row run on into the next one.
    const long move = static_cast<long>(width) * ry + rx;
    const long begin = std::min<long>(std::max<long>(-move, 0), size);
    const long end = std::max<long>(size - std::max<long>(move, 0), begin);
    std::fill(out, out + begin, 0.0f);
    if (end > begin) std::copy(in + begin + move, in + end + move, out + begin);
    std::fill(out + end, out + size, 0.0f);
    shift.y -= static_cast<float>(ry);
    shift.x -= static_cast<float>(rx);
}

int SrFloatSubPixelFlow::moveFrames(int n, float** const frames, cv::Point_<float>* shifts, float** shifted,
                                    std::vector<cv::Point_<float>>& completeShifts) const {
    if (static_cast<int>(completeShifts.size()) < n) completeShifts.resize(n);
    const std::size_t size = static_cast<std::size_t>(width) * height;
    const float limit = static_cast<float>(height / 2);
    for (int k = 0; k < n; ++k) {
        completeShifts[k] = shifts[k];
        const cv::Point_<float>& s = shifts[k];
        if (!(s.x > -limit && s.x < limit && s.y > -limit && s.y < limit)) {
            // Frames from k on leave as plain copies; shiftFrame overwrites the others anyway.
            for (int j = k; j < n; ++j) std::copy(frames[j], frames[j] + size, shifted[j]);
            return k;
        }
        shiftFrame(frames[k], shifts[k], shifted[k]);
    }
    return n;
}

}  // namespace vision
}  // namespace vorel
