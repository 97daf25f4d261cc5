// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatRegistration2.h"

#include "vision/superresolution/SrFloatConvolution.h"
#include "vorel/Dispatch.h"
#include "vorel/Exception.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/video/tracking.hpp>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>

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

// A pyramid level built with a border is a view into a padded matrix. The tracker
// reads that padding, so the copy keeps it and takes the same view again.
cv::Mat cloneWithBorder(const cv::Mat& level) {
    if (level.empty()) return cv::Mat();
    cv::Size whole;
    cv::Point offset;
    level.locateROI(whole, offset);
    cv::Mat parent = level;
    parent.adjustROI(offset.y, whole.height - level.rows - offset.y, offset.x, whole.width - level.cols - offset.x);
    return parent.clone()(cv::Rect(offset, level.size()));
}

}  // namespace

SrFloatRegistration2::SrFloatRegistration2(int width, int height, int numFrames)
    : width(width),
      height(height),
      size(width * height),
      numFrames(numFrames),
      numPrepared(0),
      regError(0.0001f),
      blurRadius(5),
      regErrBlurRadius(3),
      flowWinSize(21),
      blurredFrames(numFrames),
      pyramids(numFrames),
      prepared(numFrames, 0),
      gradX(new float[size]()),
      gradY(new float[size]()),
      errImage(new float[size]()),
      rangeMax(-FLT_MAX),
      rangeMin(FLT_MAX),
      scale(0.0f),
      offset(0.0f),
      sumGxx(0.0f),
      sumGxy(0.0f),
      sumGyy(0.0f),
      errBlurred(new float[size]()) {}

SrFloatRegistration2::SrFloatRegistration2(const SrFloatRegistration2& other)
    : SrFloatRegistration2(other.width, other.height, other.numFrames) {
    copyFrom_(other);
}

SrFloatRegistration2& SrFloatRegistration2::operator=(const SrFloatRegistration2& other) {
    if (this == &other) return *this;
    if (size != other.size) {
        float** buffers[] = {&gradX, &gradY, &errImage, &errBlurred};
        std::unique_ptr<float[]> fresh[4];
        for (auto& buffer : fresh) buffer.reset(new float[other.size]);
        for (int i = 0; i < 4; ++i) {
            delete[] * buffers[i];
            *buffers[i] = fresh[i].release();
        }
    }
    copyFrom_(other);
    return *this;
}

SrFloatRegistration2::~SrFloatRegistration2() {
    delete[] gradX;
    delete[] gradY;
    delete[] errImage;
    delete[] errBlurred;
}

void SrFloatRegistration2::copyFrom_(const SrFloatRegistration2& other) {
    width = other.width;
    height = other.height;
    size = other.size;
    numFrames = other.numFrames;
    numPrepared = other.numPrepared;
    regError = other.regError;
    blurRadius = other.blurRadius;
    regErrBlurRadius = other.regErrBlurRadius;
    flowWinSize = other.flowWinSize;
    blurredFrames.resize(other.blurredFrames.size());
    for (std::size_t i = 0; i < blurredFrames.size(); ++i) blurredFrames[i] = other.blurredFrames[i].clone();
    pyramids.resize(other.pyramids.size());
    for (std::size_t i = 0; i < pyramids.size(); ++i) {
        pyramids[i].resize(other.pyramids[i].size());
        for (std::size_t level = 0; level < pyramids[i].size(); ++level)
            pyramids[i][level] = cloneWithBorder(other.pyramids[i][level]);
    }
    prepared = other.prepared;
    const std::size_t bytes = static_cast<std::size_t>(size) * sizeof(float);
    std::memcpy(gradX, other.gradX, bytes);
    std::memcpy(gradY, other.gradY, bytes);
    std::memcpy(errImage, other.errImage, bytes);
    std::memcpy(errBlurred, other.errBlurred, bytes);
    refCorners = other.refCorners;
    image8 = other.image8.clone();
    rangeMax = other.rangeMax;
    rangeMin = other.rangeMin;
    scale = other.scale;
    offset = other.offset;
    sumGxx = other.sumGxx;
    sumGxy = other.sumGxy;
    sumGyy = other.sumGyy;
    completeShifts = other.completeShifts;
    flowShifts = other.flowShifts;
}

int SrFloatRegistration2::nextSlot_() {
    if (numPrepared < numFrames) {
        ++numPrepared;
    } else {
        // The evicted oldest slot moves to the end and its matrices take the new frame.
        std::rotate(blurredFrames.begin(), blurredFrames.begin() + 1, blurredFrames.end());
        std::rotate(pyramids.begin(), pyramids.begin() + 1, pyramids.end());
        std::rotate(prepared.begin(), prepared.begin() + 1, prepared.end());
    }
    const int slot = numPrepared - 1;
    prepared[slot] = 0;  // prepareFrame sets it once the frame is through
    return slot;
}

void SrFloatRegistration2::skipFrame() { nextSlot_(); }

void SrFloatRegistration2::prepareFrame(float* frame) {
    const int slot = nextSlot_();
    cv::Mat_<float>& blurred = blurredFrames[slot];

    const cv::Mat_<float> source(height, width, frame);
    const float variance = blurRadius * 3.0f * blurRadius / 25.0f;
    const float sigma = static_cast<float>(std::sqrt(static_cast<double>(variance)));
    const int kernel = 2 * blurRadius + 1;
    cv::GaussianBlur(source, blurred, cv::Size(kernel, kernel), sigma, 0, cv::BORDER_REFLECT_101);

    double minVal, maxVal;
    cv::minMaxIdx(blurred, &minVal, &maxVal);
    // A frame leaving the mapping replaces it by its own range plus a tenth on each
    // side; the side it did not cross may move inwards.
    if (rangeMin > minVal || maxVal > rangeMax) {
        const float margin = static_cast<float>(static_cast<float>(maxVal - minVal) * 0.1);
        rangeMin = static_cast<float>(minVal) - margin;
        rangeMax = static_cast<float>(maxVal) + margin;
        offset = -rangeMin;
        scale = 255.0f / (rangeMax - rangeMin);
    }

    // errBlurred is scratch of opticalFlow only; between registrations it holds the mapped frame.
    cv::Mat_<float> mapped(height, width, errBlurred);
    mapped = (blurred + offset) * scale;
    mapped.convertTo(image8, CV_8U, 1.0, 0.0);
    // image8 serves every frame: it is no view with a border, so the pyramid copies it
    // into the slot's padded base level instead of keeping it.
    cv::buildOpticalFlowPyramid(image8, pyramids[slot], cv::Size(flowWinSize, flowWinSize), 3, true,
                                cv::BORDER_REFLECT_101, cv::BORDER_CONSTANT, true);
    prepared[slot] = 1;
}

void SrFloatRegistration2::getCompleteShifts(std::vector<cv::Point_<float>>& out) {
    if (&out != &completeShifts) out = completeShifts;
}

void SrFloatRegistration2::extractCornersRefImage(cv::Mat_<float>& image) {
    cv::goodFeaturesToTrack(image, refCorners, 100, 0.1, 2.0, cv::noArray(), 3, false, 0.04);
}

int SrFloatRegistration2::registerWithCorners(unsigned int ref, unsigned int frame, cv::Point_<int>& shift) {
    shift = cv::Point_<int>(0, 0);
    // The tracker rejects an empty point list; a reference without corners tracks nothing.
    if (refCorners.empty()) return -9;

    std::vector<cv::Point_<float>> nextPts;
    cv::Mat status, err;
    cv::calcOpticalFlowPyrLK(pyramids[ref], pyramids[frame], refCorners, nextPts, status, err,
                             cv::Size(flowWinSize, flowWinSize), 3,
                             cv::TermCriteria(cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 30, 0.01), 0, 0.0001);

    std::vector<cv::Point_<float>> moves;
    moves.reserve(refCorners.size());
    const uchar* tracked = status.ptr<uchar>();
    for (std::size_t i = 0; i < refCorners.size(); ++i)
        if (tracked[i]) moves.push_back(nextPts[i] - refCorners[i]);
    if (moves.empty()) return -9;
    shift = medianGatedShift_(moves);
    return 0;
}

cv::Point_<int> SrFloatRegistration2::medianGatedShift_(const std::vector<cv::Point_<float>>& moves) {
    const std::size_t middle = moves.size() / 2;  // upper middle for an even count
    std::vector<float> xs(moves.size()), ys(moves.size());
    for (std::size_t i = 0; i < moves.size(); ++i) {
        xs[i] = moves[i].x;
        ys[i] = moves[i].y;
    }
    std::nth_element(xs.begin(), xs.begin() + middle, xs.end());
    std::nth_element(ys.begin(), ys.begin() + middle, ys.end());
    const float medX = xs[middle];
    const float medY = ys[middle];

    float sumX = 0.0f, sumY = 0.0f;
    int count = 0;
    for (const cv::Point_<float>& move : moves) {
        if (std::fabs(move.x - medX) < 2.0f && std::fabs(move.y - medY) < 2.0f) {
            sumX += move.x;
            sumY += move.y;
            ++count;
        }
    }
    if (count > 0) {
        const float inverse = 1.0f / static_cast<float>(count);
        sumX *= inverse;
        sumY *= inverse;
    }
    return cv::Point_<int>(static_cast<int>(std::floor(sumX + 0.5)), static_cast<int>(std::floor(sumY + 0.5)));
}

int SrFloatRegistration2::registerFrames(int n, int ref, float** const /*frames*/, cv::Point_<float>* shifts,
                                         char** masks) {
    initialize(masks, ref);
    extractCornersRefImage(blurredFrames[ref]);
    if (flowShifts.empty()) flowShifts.resize(n);

    std::vector<cv::Point_<float>> found(n, cv::Point_<float>(0.0f, 0.0f));
    for (int k = 0; k < n; ++k) {
        if (k == ref) {
            shifts[k] = cv::Point_<float>(0.0f, 0.0f);
            continue;
        }
        cv::Point_<int> coarse(0, 0);
        const int result = registerWithCorners(ref, k, coarse);
        if (result != 0) return result;
        found[k] = opticalFlow(ref, k, coarse, masks[k]);
    }
    std::copy(found.begin(), found.end(), shifts);
    flowShifts = found;
    return 0;
}

VOREL_DISPATCH_AVX2 void SrFloatRegistration2::initialize(char** masks, int ref) {
    for (int k = 0; k < numFrames; ++k) std::memset(masks[k], k == ref ? 1 : 0, static_cast<std::size_t>(size));

    // One-sided differences on the first and last row and column, half central ones inside.
    const cv::Mat_<float>& image = blurredFrames[ref];
    double xx[kLanes] = {}, xy[kLanes] = {}, yy[kLanes] = {};
    for (int y = 0; y < height; ++y) {
        const float* row = image[y];
        const float* above = image[std::max(y - 1, 0)];
        const float* below = image[std::min(y + 1, height - 1)];
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
    sumGxx = static_cast<float>(laneTotal(xx));
    sumGxy = static_cast<float>(laneTotal(xy));
    sumGyy = static_cast<float>(laneTotal(yy));
}

VOREL_DISPATCH_AVX2 cv::Point_<float> SrFloatRegistration2::opticalFlow(unsigned int ref, unsigned int frame,
                                                                        cv::Point_<int> coarse, char* mask) {
    const cv::Mat_<float>& reference = blurredFrames[ref];
    const cv::Mat_<float>& moved = blurredFrames[frame];
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
    const double a = sumGxx - bandXX;
    const double b = sumGxy - bandXY;
    const double c = sumGyy - bandYY;

    // Row y of the overlap: reference, moved frame, gradients, and its offset in the reference grid.
    struct OverlapRow {
        const float *r, *f, *gx, *gy;
        std::size_t start;
    };
    auto overlapRow = [&](int y) {
        const std::size_t start = static_cast<std::size_t>(overlap.refY + y) * width + overlap.refX;
        return OverlapRow{reference[overlap.refY + y] + overlap.refX, moved[overlap.frameY + y] + overlap.frameX,
                          gradX + start, gradY + start, start};
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

void SrFloatRegistration2::shiftFrame(float* const in, cv::Point_<float>& shift, float* out) {
    const int ry = static_cast<int>(std::floor(shift.y + 0.5));
    const int rx = static_cast<int>(std::floor(shift.x + 0.5));
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

int SrFloatRegistration2::doRegistration(int n, int ref, float** const frames, cv::Point_<float>* shifts, char** masks,
                                         float** shifted) {
    // An unprepared slot has no pyramid to track in, or holds an older frame's.
    if (n < 1 || n > numFrames || ref < 0 || ref >= n || std::count(prepared.begin(), prepared.begin() + n, 0) > 0)
        return -10;
    const int result = registerFrames(n, ref, frames, shifts, masks);
    if (result != 0) return result;
    if (static_cast<int>(completeShifts.size()) < n) completeShifts.resize(n);

    const float limit = static_cast<float>(height / 2);
    for (int k = 0; k < n; ++k) {
        completeShifts[k] = shifts[k];
        const cv::Point_<float>& s = shifts[k];
        if (!(s.x > -limit && s.x < limit && s.y > -limit && s.y < limit)) {
            // Frames from k on leave as plain copies; shiftFrame overwrites the others anyway.
            for (int j = k; j < n; ++j) std::copy(frames[j], frames[j] + size, shifted[j]);
            throw vorel::Exception("Too large displacement", VOREL_PLACE);
        }
        shiftFrame(frames[k], shifts[k], shifted[k]);
    }
    return 0;
}

}  // namespace vision
}  // namespace vorel
