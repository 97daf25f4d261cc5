// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatRegistration2.h"

#include "vision/superresolution/SrFloatSubPixelFlow.h"
#include "vision/superresolution/SrFloatThreadPool.h"
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
      regError(0.0001f),
      blurRadius(5),
      regErrBlurRadius(3),
      flowWinSize(21),
      blurredFrames(numFrames),
      pyramids(numFrames),
      slots(numFrames),
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
      errBlurred(new float[size]()),
      tracks(numFrames),
      found(numFrames),
      results(numFrames) {}

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
    slots = other.slots;
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
    pool = other.pool;
    workerScratch = other.workerScratch;
    // Scratch only: a copy gets its own, never a share of the source's matrices.
    tracks.assign(static_cast<std::size_t>(numFrames), Track());
    found.assign(static_cast<std::size_t>(numFrames), cv::Point_<float>());
    results.assign(static_cast<std::size_t>(numFrames), 0);
}

void SrFloatRegistration2::setThreadPool(SrFloatThreadPool* threadPool) {
    pool = threadPool;
    const int extra = pool ? pool->getThreadCount() - 1 : 0;
    workerScratch.assign(static_cast<std::size_t>(extra), std::vector<float>(2 * static_cast<std::size_t>(size)));
}

int SrFloatRegistration2::nextSlot_() {
    return slots.next([this] {
        // The evicted oldest slot moves to the end and its matrices take the new frame.
        std::rotate(blurredFrames.begin(), blurredFrames.begin() + 1, blurredFrames.end());
        std::rotate(pyramids.begin(), pyramids.begin() + 1, pyramids.end());
    });
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
    slots.markPrepared(slot);
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

    Track& track = tracks[frame];
    cv::calcOpticalFlowPyrLK(pyramids[ref], pyramids[frame], refCorners, track.points, track.status, track.err,
                             cv::Size(flowWinSize, flowWinSize), 3,
                             cv::TermCriteria(cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 30, 0.01), 0, 0.0001);

    std::vector<cv::Point_<float>>& moves = track.moves;
    moves.clear();
    const uchar* tracked = track.status.ptr<uchar>();
    for (std::size_t i = 0; i < refCorners.size(); ++i)
        if (tracked[i]) moves.push_back(track.points[i] - refCorners[i]);
    if (moves.empty()) return -9;
    shift = medianGatedShift_(moves, track.xs, track.ys);
    return 0;
}

cv::Point_<int> SrFloatRegistration2::medianGatedShift_(const std::vector<cv::Point_<float>>& moves) {
    std::vector<float> xs, ys;
    return medianGatedShift_(moves, xs, ys);
}

cv::Point_<int> SrFloatRegistration2::medianGatedShift_(const std::vector<cv::Point_<float>>& moves,
                                                        std::vector<float>& xs, std::vector<float>& ys) {
    const std::size_t middle = moves.size() / 2;  // upper middle for an even count
    xs.resize(moves.size());
    ys.resize(moves.size());
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

    // Each frame is tracked and refined on its own, into its own mask; the first
    // failure in frame order wins, and the frames after it keep empty masks as
    // when the loop stops there.
    found.assign(static_cast<std::size_t>(n), cv::Point_<float>(0.0f, 0.0f));
    results.assign(static_cast<std::size_t>(n), 0);
    auto registerOne = [&](int k, int worker) {
        if (k == ref) return;
        cv::Point_<int> coarse(0, 0);
        results[k] = registerWithCorners(ref, k, coarse);
        if (results[k] == 0)
            found[k] = workerFlow_(worker).opticalFlow(blurredFrames[ref][0], blurredFrames[k][0], coarse,
                                                       cv::Vec3f(sumGxx, sumGxy, sumGyy), regError,
                                                       regErrBlurRadius, masks[k]);
    };
    if (pool) {
        pool->run(n, registerOne);
    } else {
        for (int k = 0; k < n; ++k) {
            registerOne(k, 0);
            if (results[k] != 0) break;
        }
    }
    for (int k = 0; k < n; ++k) {
        if (results[k] == 0) continue;
        for (int later = k + 1; later < n; ++later)
            if (later != ref) std::memset(masks[later], 0, static_cast<std::size_t>(size));
        if (ref < k) shifts[ref] = cv::Point_<float>(0.0f, 0.0f);
        return results[k];
    }
    std::copy(found.begin(), found.begin() + n, shifts);
    flowShifts = found;
    return 0;
}

void SrFloatRegistration2::initialize(char** masks, int ref) {
    for (int k = 0; k < numFrames; ++k) std::memset(masks[k], k == ref ? 1 : 0, static_cast<std::size_t>(size));
    const cv::Vec3f sums = flow_().initialize(blurredFrames[ref][0]);
    sumGxx = sums[0];
    sumGxy = sums[1];
    sumGyy = sums[2];
}

cv::Point_<float> SrFloatRegistration2::opticalFlow(unsigned int ref, unsigned int frame, cv::Point_<int> coarse,
                                                    char* mask) {
    return flow_().opticalFlow(blurredFrames[ref][0], blurredFrames[frame][0], coarse,
                               cv::Vec3f(sumGxx, sumGxy, sumGyy), regError, regErrBlurRadius, mask);
}

void SrFloatRegistration2::shiftFrame(float* const in, cv::Point_<float>& shift, float* out) {
    flow_().shiftFrame(in, shift, out);
}

SrFloatSubPixelFlow SrFloatRegistration2::flow_() const {
    return SrFloatSubPixelFlow(width, height, gradX, gradY, errImage, errBlurred);
}

SrFloatSubPixelFlow SrFloatRegistration2::workerFlow_(int worker) {
    if (worker == 0) return flow_();
    float* scratch = workerScratch[static_cast<std::size_t>(worker - 1)].data();
    return SrFloatSubPixelFlow(width, height, gradX, gradY, scratch, scratch + size);
}

int SrFloatRegistration2::doRegistration(int n, int ref, float** const frames, cv::Point_<float>* shifts, char** masks,
                                         float** shifted) {
    // An unprepared slot has no pyramid to track in, or holds an older frame's.
    if (!slots.ready(n, ref)) return -10;
    const int result = registerFrames(n, ref, frames, shifts, masks);
    if (result != 0) return result;
    if (flow_().moveFrames(n, frames, shifts, shifted, completeShifts) < n)
        throw vorel::Exception("Too large displacement", VOREL_PLACE);
    return 0;
}

}  // namespace vision
}  // namespace vorel
