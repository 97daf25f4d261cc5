// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloat.h"

#include "vision/superresolution/SrFloatNeonMinimization.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"

#include "vision/superresolution/SrFloatWindowCheck.h"
#include "vorel/StopWatch.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iostream>
#include <type_traits>

namespace vorel {
namespace vision {

namespace {

// The srfactor's sample cap: fixed once per process by the first engine that
// reconstructs, whatever its registration; later factors do not change it.
int maxCountOnce(float factor) {
    static const int maxCount = static_cast<int>(factor * factor + 1.0);
    return maxCount;
}

}  // namespace

template <class Registration, class Minimization, typename Mask>
SrFloat<Registration, Minimization, Mask>::SrFloat(int width, int height, int numFrames, float factor)
    : width(width),
      height(height),
      inputSize(width * height),
      outputWidth(static_cast<int>(static_cast<float>(width) * factor)),
      outputHeight(static_cast<int>(static_cast<float>(height) * factor)),
      outputSize(outputWidth * outputHeight),
      spectrumSize((width / 2 + 1) * height),
      numFrames(numFrames),
      factor(factor),
      registration(width, height, numFrames),
      minimization(width, height, numFrames, factor),
      badPixelHandling(static_cast<unsigned int>(numFrames)),
      frameCount(0) {
    // The frame count is rejected with the reference-index text on purpose. Checked
    // before the raw blocks exist, so that the throw leaks nothing.
    if (numFrames < 1) throw "Invalid reference index specified.";
    frames = new float*[numFrames];
    shiftedFrames = new float*[numFrames];
    masks = new Mask*[numFrames];
    for (int i = 0; i < numFrames; ++i) {
        frames[i] = new float[inputSize];
        shiftedFrames[i] = new float[inputSize];
        masks[i] = new Mask[inputSize];
    }
    estimate = new float[outputSize];
    shifts = new cv::Point2f[numFrames]();
    referenceIndex = 0;
    minStructureThreshold = 2.0f;
}

template <class Registration, class Minimization, typename Mask>
SrFloat<Registration, Minimization, Mask>::~SrFloat() {
    for (int i = 0; i < numFrames; ++i) {
        delete[] frames[i];
        delete[] shiftedFrames[i];
        delete[] masks[i];
    }
    delete[] estimate;
    delete[] shifts;
    delete[] frames;
    delete[] shiftedFrames;
    delete[] masks;
}

template <class Registration, class Minimization, typename Mask>
SrFloat<Registration, Minimization, Mask>& SrFloat<Registration, Minimization, Mask>::operator=(const SrFloat& other) {
    if (this == &other) return *this;
    width = other.width;
    height = other.height;
    inputSize = other.inputSize;
    outputWidth = other.outputWidth;
    outputHeight = other.outputHeight;
    outputSize = other.outputSize;
    spectrumSize = other.spectrumSize;
    numFrames = other.numFrames;
    factor = other.factor;
    referenceIndex = other.referenceIndex;
    minStructureThreshold = other.minStructureThreshold;
    registration = other.registration;
    minimization = other.minimization;
    badPixelHandling = other.badPixelHandling;
    frames = other.frames;
    shiftedFrames = other.shiftedFrames;
    estimate = other.estimate;
    shifts = other.shifts;
    masks = other.masks;
    frameCount = other.frameCount;
    threadPool = other.threadPool;
    completeShifts = other.completeShifts;
    frameList.clear();
    return *this;
}

template <class Registration, class Minimization, typename Mask>
int SrFloat<Registration, Minimization, Mask>::addFrame(const float* frame) {
    const int result = loadFrame(frame);
    return result < 0 ? result : 0;
}

template <class Registration, class Minimization, typename Mask>
int SrFloat<Registration, Minimization, Mask>::addFrame(const cv::Mat_<float>& frame) {
    return addFrame(frame[0]);
}

template <class Registration, class Minimization, typename Mask>
int SrFloat<Registration, Minimization, Mask>::loadFrame(const float* frame) {
    if (frameCount >= numFrames) {
        // The oldest block is reused for the newest frame.
        std::rotate(frames, frames + 1, frames + numFrames);
    } else {
        ++frameCount;
    }
    float* newest = frames[frameCount - 1];
    std::copy_n(frame, inputSize, newest);

    cv::Mat_<float> image(height, width, newest);
    int repair = 0;
    try {
        repair = badPixelHandling.detectAndReplaceBadPixel(image);
    } catch (...) {
        // The frame stays in the window unprepared; the registration's slots must still move with it.
        registration.skipFrame();
        throw;
    }
    // Prepared even after a failed repair: registration needs every slot.
    registration.prepareFrame(newest);
    return repair < 0 ? repair : 0;
}

template <class Registration, class Minimization, typename Mask>
void SrFloat<Registration, Minimization, Mask>::saveFrame(float* out) const {
    std::copy_n(estimate, outputSize, out);
}

template <class Registration, class Minimization, typename Mask>
void SrFloat<Registration, Minimization, Mask>::getMasks(std::vector<cv::Mat_<unsigned char>>& out) const {
    out.resize(static_cast<std::size_t>(numFrames));
    for (int i = 0; i < numFrames; ++i) {
        out[i].create(height, width);
        std::memcpy(out[i].data, masks[i], static_cast<std::size_t>(inputSize));
    }
}

template <class Registration, class Minimization, typename Mask>
void SrFloat<Registration, Minimization, Mask>::getCompleteShifts(std::vector<cv::Point2f>& out) {
    registration.getCompleteShifts(out);
}

template <class Registration, class Minimization, typename Mask>
float SrFloat<Registration, Minimization, Mask>::computeSR(cv::Mat_<float>& out) {
    if (out.rows != outputHeight || out.cols != outputWidth || !out.data) out.create(outputHeight, outputWidth);
    return computeSR(out[0]);
}

template <class Registration, class Minimization, typename Mask>
float SrFloat<Registration, Minimization, Mask>::computeSR(float* out) {
    const int maxCount = sampleCap_();
    const int n = frameCount;

    std::cout << "++++++++++ SrFloat ++++++++++\n";
    const int ref = std::max(0, n - referenceIndex - 1);
    StopWatch watch;
    // An empty window has no reference frame to register against.
    if (n == 0 || registration.doRegistration(n, ref, frames, shifts, masks, shiftedFrames) < 0) return -998.0f;
    std::cout << " registration:         " << watch.stop() * 1000.0 << "[ms]\n";

    watch.start();
    const int status = checkWindow_(n, completeShifts);
    std::cout << " large_displacement:   " << watch.stop() * 1000.0 << "[ms]\n";

    watch.start();
    const int iterations = minimization.minimize(n, ref, shiftedFrames, shifts, masks, estimate);
    std::cout << " minimization:         " << watch.stop() * 1000.0 << "[ms]\n";
    if (iterations < 0) return static_cast<float>(iterations);

    cv::Mat_<float> result(outputHeight, outputWidth, estimate);
    badPixelHandling.maskBadPixel(result, completeShifts);
    frameList.clear();
    for (int i = 0; i < n; ++i) frameList.emplace_back(height, width, frames[i]);
    badPixelHandling.replaceMaskedPixel(result, completeShifts, frameList);

    StopWatch saveWatch;
    std::copy_n(estimate, outputSize, out);
    const float srfactor = srFactor_(n, maxCount);
    const float value = status != 0 ? static_cast<float>(status) : srfactor;
    std::cout << " save+srfactor calc:   " << saveWatch.stop() * 1000.0 << "[ms]\n";
    std::cout << "+++++++++++++++++++++++++++++\n";
    return value;
}

template <class Registration, class Minimization, typename Mask>
int SrFloat<Registration, Minimization, Mask>::sampleCap_() const {
    return maxCountOnce(factor);
}

template <class Registration, class Minimization, typename Mask>
int SrFloat<Registration, Minimization, Mask>::checkWindow_(int n, std::vector<cv::Point2f>& completeShifts) {
    registration.getCompleteShifts(completeShifts);
    return SrFloatWindowCheck::status(n, completeShifts.data(), masks, width, height);
}

template <class Registration, class Minimization, typename Mask>
float SrFloat<Registration, Minimization, Mask>::srFactor_(int n, int maxCount) const {
    return SrFloatWindowCheck::effectiveFactor(n, masks, inputSize, maxCount);
}

template <class Registration, class Minimization, typename Mask>
void SrFloat<Registration, Minimization, Mask>::setReferenceIndex(int index) {
    if (index < 0 || index >= numFrames) throw "Invalid reference index specified.";
    referenceIndex = index;
}

// The rejections are written as "reject when", so that a NaN passes them.
template <class Registration, class Minimization, typename Mask>
void SrFloat<Registration, Minimization, Mask>::setRegError(float error) {
    if (0.0f >= error || error > 1.0f) throw "Invalid maximum registration error specified.";
    registration.setRegError(error);
}

template <class Registration, class Minimization, typename Mask>
void SrFloat<Registration, Minimization, Mask>::setPsfSigma(float sigma) {
    if (0.0f >= sigma) throw "Invalid standard deviation of the sensor psf specified.";
    minimization.setPsfSigma(sigma);
}

template <class Registration, class Minimization, typename Mask>
void SrFloat<Registration, Minimization, Mask>::setWeightTV(float weight) {
    if (1.0f > weight) throw "Invalid total-variation term weight specified.";
    minimization.setWeightTV(weight);
}

// Rejected with the TV-weight text: hosts match on that text, so it stays.
template <class Registration, class Minimization, typename Mask>
void SrFloat<Registration, Minimization, Mask>::setRelativeResidue(float residue) {
    if (1e-6 > static_cast<double>(residue)) throw "Invalid total-variation term weight specified.";
    minimization.setRelRes(residue);
}

template <class Registration, class Minimization, typename Mask>
void SrFloat<Registration, Minimization, Mask>::setMaxCGIters(int iterations) {
    if (iterations < 1) throw "Invalid maximum number of iterations specified.";
    minimization.setMaxIter(iterations);
}

template <class Registration, class Minimization, typename Mask>
void SrFloat<Registration, Minimization, Mask>::setDataIsNUC(bool dataIsNUC) {
    badPixelHandling.setDataIsNUC(dataIsNUC);
}

template <class Registration, class Minimization, typename Mask>
void SrFloat<Registration, Minimization, Mask>::setThreadCount(int count) {
    if (count < 1) throw "Invalid number of threads specified.";
    if (count == getThreadCount()) return;
    // The phase-correlation registration shares its transform buffers between
    // frames, so it stays on the caller; its engine threads the minimiser only.
    auto share = [this](SrFloatThreadPool* pool) {
        if constexpr (std::is_base_of<SrFloatRegistration2, Registration>::value) registration.setThreadPool(pool);
        minimization.setThreadPool(pool);
    };
    // Started first: if the threads cannot start, the engine stays as it was.
    std::shared_ptr<SrFloatThreadPool> pool = count > 1 ? std::make_shared<SrFloatThreadPool>(count) : nullptr;
    share(nullptr);  // the parts let go of the old pool before it stops
    threadPool = std::move(pool);
    share(threadPool.get());
}

template <class Registration, class Minimization, typename Mask>
float SrFloat<Registration, Minimization, Mask>::getRegError() const {
    return registration.getRegError();
}

template <class Registration, class Minimization, typename Mask>
float SrFloat<Registration, Minimization, Mask>::getPsfSigma() const {
    return minimization.getPsfSigma();
}

template <class Registration, class Minimization, typename Mask>
float SrFloat<Registration, Minimization, Mask>::getWeightTV() const {
    return minimization.getWeightTV();
}

template <class Registration, class Minimization, typename Mask>
float SrFloat<Registration, Minimization, Mask>::getRelativeResidue() const {
    return minimization.getRelRes();
}

template <class Registration, class Minimization, typename Mask>
int SrFloat<Registration, Minimization, Mask>::getMaxCGIters() const {
    return minimization.getMaxIter();
}

template class SrFloat<SrFloatRegistration2>;
template class SrFloat<SrFloatRegistration1>;
template class SrFloat<SrFloatNeonRegistration, SrFloatNeonMinimization, float>;

}  // namespace vision
}  // namespace vorel
