// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/reference/SuperResolution.h"

#include "vision/superresolution/reference/SuperResolutionMinimization.h"
#include "vision/superresolution/reference/SuperResolutionRegistration.h"
#include "vision/superresolution/SrFloatWindowCheck.h"
#include "vorel/Exception.h"
#include "vorel/StopWatch.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>
#include <type_traits>

namespace vorel {
namespace vision {

namespace {

// Hosts match the places of these failures, line numbers included.
constexpr int kInfiniteSpectrumLine = 479;
constexpr int kNotCalibratedLine = 377;

// Gains and offsets outside this band mark a pixel the calibration cannot use.
constexpr float kCalibrationLimit = 1000.0f;

// Replaces every value outside (-limit, limit) by the mean of its in-band
// neighbours, in place and in scan order, so repairs carry right and down. No
// in-band neighbour gives 0 / 0: NaN, which later passes leave alone.
void repairCalibration(cv::Mat_<float>& m) {
    auto inBand = [](float v) { return v > -kCalibrationLimit && v < kCalibrationLimit; };
    for (int y = 0; y < m.rows; ++y) {
        for (int x = 0; x < m.cols; ++x) {
            const float v = m(y, x);
            if (!(v <= -kCalibrationLimit || v >= kCalibrationLimit)) continue;
            float sum = 0.0f;
            float count = 0.0f;
            const int neighbours[4][2] = {{x - 1, y}, {x + 1, y}, {x, y - 1}, {x, y + 1}};
            for (const auto& n : neighbours) {
                if (n[0] < 0 || n[0] >= m.cols || n[1] < 0 || n[1] >= m.rows || !inBand(m(n[1], n[0]))) continue;
                sum += m(n[1], n[0]);
                count += 1.0f;
            }
            m(y, x) = sum / count;
        }
    }
}

}  // namespace

struct SuperResolution::Storage {
    std::vector<float> frameData;
    std::vector<float> spectrumData;
    std::vector<float> shiftedData;
    std::vector<char> maskData;
    std::vector<float> resultData;
    std::vector<PointF> shiftData;
    std::vector<float*> framePointers;
    std::vector<Spectrum> spectrumPointers;
    std::vector<float*> shiftedPointers;
    std::vector<char*> maskPointers;
    // computeSR's lists for the bad-pixel handling, sized once.
    std::vector<cv::Point2f> completeShifts;
    std::vector<PointF> referenceShifts;
    std::vector<cv::Mat_<float>> frameHeaders;
};

SuperResolution::SuperResolution(int width, int height, int windowSize, float factor)
    : width(width),
      height(height),
      inputSize(width * height),
      outputWidth(static_cast<int>(static_cast<float>(width) * factor)),
      outputHeight(static_cast<int>(static_cast<float>(height) * factor)),
      outputSize(outputWidth * outputHeight),
      spectrumSize((width / 2 + 1) * height),
      windowSize(windowSize),
      factor(factor),
      referenceIndex(0),
      minStructureThreshold(2.0f),
      registration(std::make_shared<SuperResolutionRegistration>(width, height, factor, 5)),
      minimization(std::make_shared<SuperResolutionMinimization>(width, height, windowSize, factor)),
      badPixelHandling(static_cast<unsigned int>(std::max(windowSize, 0))),
      storage(std::make_shared<Storage>()),
      frameCount(0),
      gain(0, 0),
      offset(0, 0),
      radiometricFrame(0, 0),
      quality(0, 0) {
    const std::size_t slots = static_cast<std::size_t>(std::max(windowSize, 0));
    const std::size_t pixels = static_cast<std::size_t>(std::max(inputSize, 0));
    const std::size_t bins = static_cast<std::size_t>(std::max(spectrumSize, 0));
    Storage& s = *storage;
    s.frameData.assign(slots * pixels, 0.0f);
    s.spectrumData.assign(slots * bins * 2, 0.0f);
    s.shiftedData.assign(slots * pixels, 0.0f);
    s.maskData.assign(slots * pixels, 0);
    s.resultData.assign(static_cast<std::size_t>(std::max(outputSize, 0)), 0.0f);
    s.shiftData.assign(slots, PointF{0.0f, 0.0f});
    for (std::size_t i = 0; i < slots; ++i) {
        s.framePointers.push_back(s.frameData.data() + i * pixels);
        s.spectrumPointers.push_back(reinterpret_cast<Spectrum>(s.spectrumData.data() + i * bins * 2));
        s.shiftedPointers.push_back(s.shiftedData.data() + i * pixels);
        s.maskPointers.push_back(s.maskData.data() + i * pixels);
    }
    s.completeShifts.reserve(slots);
    s.referenceShifts.reserve(slots);
    s.frameHeaders.reserve(slots);
    frames = s.framePointers.data();
    spectra = s.spectrumPointers.data();
    shiftedFrames = s.shiftedPointers.data();
    masks = s.maskPointers.data();
    result = s.resultData.data();
    shifts = s.shiftData.data();
    if (windowSize < 1) throw "Invalid reference index specified.";
}

SuperResolution::~SuperResolution() = default;

SuperResolution& SuperResolution::operator=(const SuperResolution& other) = default;

void SuperResolution::setReferenceIndex(int i) {
    if (i < 0 || i >= windowSize) throw "Invalid reference index specified.";
    referenceIndex = i;
}

void SuperResolution::setMinStructureThreshold(float t) { minStructureThreshold = t; }

void SuperResolution::setMaxCGIters(int n) {
    if (n < 1) throw "Invalid maximum number of iterations specified.";
    minimization->setMaxIter(n);
}

// The rejections are written as "reject when", so that a NaN passes them.
void SuperResolution::setPsfSigma(float s) {
    if (s <= 0.0f) throw "Invalid standard deviation of the sensor psf specified.";
    minimization->setPsfSigma(s);
}

void SuperResolution::setRegError(float e) {
    if (e <= 0.0f || e > 1.0f) throw "Invalid maximum registration error specified.";
    registration->setRegError(e);
}

// Shares the TV weight's text: hosts already look for that one.
void SuperResolution::setRelativeResidue(float r) {
    if (static_cast<double>(r) < 1e-6) throw "Invalid total-variation term weight specified.";
    minimization->setRelRes(r);
}

void SuperResolution::setWeightTV(float w) {
    if (w < 1.0f) throw "Invalid total-variation term weight specified.";
    minimization->setWeightTV(w);
}

void SuperResolution::setDataIsNUC(bool nuc) { badPixelHandling.setDataIsNUC(nuc); }

int SuperResolution::getMaxCGIters() const { return minimization->getMaxIter(); }
float SuperResolution::getPsfSigma() const { return minimization->getPsfSigma(); }
float SuperResolution::getRelativeResidue() const { return minimization->getRelRes(); }
float SuperResolution::getWeightTV() const { return minimization->getWeightTV(); }
float SuperResolution::getRegError() const { return registration->getRegError(); }

template <typename T>
int SuperResolution::addFrame(const T* frame) {
    const int status = loadFrame(frame);
    return status < 0 ? status : 0;
}

template <typename T>
int SuperResolution::loadFrame(const T* frame) {
    if (frameCount < windowSize) {
        ++frameCount;
    } else {
        // The oldest buffers take the new frame; shifted frames and masks are
        // rewritten by every reconstruction and stay where they are.
        std::rotate(frames, frames + 1, frames + windowSize);
        std::rotate(spectra, spectra + 1, spectra + windowSize);
    }
    float* slot = frames[frameCount - 1];
    std::copy(frame, frame + inputSize, slot);

    int status = 0;
    if (std::is_same<T, float>::value) {
        cv::Mat_<float> image(height, width, slot);
        const int repaired = badPixelHandling.detectAndReplaceBadPixel(image);
        if (repaired < 0) status = repaired;
    }

    Spectrum spectrum = spectra[frameCount - 1];
    registration->getFft().forward(slot, spectrum);
    const float* values = spectrum[0];
    const float infinity = std::numeric_limits<float>::infinity();
    for (int i = 0; i < 2 * spectrumSize; ++i) {
        if (values[i] == infinity)
            throw vorel::Exception("FFT resulted in infinite values. No processing possible",
                                   placeText(__FILE__, kInfiniteSpectrumLine,
                                             "vorel::vision::SuperResolution::loadFrame()"));
    }
    return status;
}

template <typename T>
void SuperResolution::saveFrame(T* out) {
    // Conversion to an integer type truncates toward zero.
    for (int i = 0; i < outputSize; ++i) out[i] = static_cast<T>(static_cast<int>(result[i]));
}

template <>
void SuperResolution::saveFrame<float>(float* out) {
    std::copy(result, result + outputSize, out);
}

template <typename T>
float SuperResolution::computeSR(T* out) {
    std::cout << "++++++++++ SuperResolution ++++++++++" << std::endl;
    static const int saturation = static_cast<int>(factor * factor + 1.0);
    const int n = frameCount;
    const int ref = std::max(n - referenceIndex - 1, 0);

    StopWatch watch;
    const int registered = registration->doRegistration(n, ref, frames, spectra, shifts, masks, shiftedFrames);
    std::cout << " registration:         " << watch.stop() * 1000.0 << "[ms]" << std::endl;
    if (registered < 0) return -998.0f;

    std::vector<PointF>& complete = storage->referenceShifts;
    registration->getCompleteShifts(complete);
    watch.start();
    const int status = SrFloatWindowCheck::status(n, complete.data(), masks, width, height);
    std::cout << " large_displacement:   " << watch.stop() * 1000.0 << "[ms]" << std::endl;

    watch.start();
    const int iterations = minimization->minimize(n, ref, shiftedFrames, shifts, masks, result);
    std::cout << " minimization:         " << watch.stop() * 1000.0 << "[ms]" << std::endl;
    if (iterations < 0) return static_cast<float>(iterations);

    if (std::is_same<T, float>::value) {
        cv::Mat_<float> image(outputHeight, outputWidth, result);
        std::vector<cv::Point2f>& shiftList = storage->completeShifts;
        shiftList.clear();
        for (int i = 0; i < n; ++i) shiftList.emplace_back(complete[i].x, complete[i].y);
        badPixelHandling.maskBadPixel(image, shiftList);
        std::vector<cv::Mat_<float>>& frameList = storage->frameHeaders;
        frameList.clear();
        for (int i = 0; i < n; ++i) frameList.emplace_back(height, width, frames[i]);
        badPixelHandling.replaceMaskedPixel(image, shiftList, frameList);
    }

    watch.start();
    saveFrame(out);
    const float effective = SrFloatWindowCheck::effectiveFactor(n, masks, inputSize, saturation);
    const float value = status != 0 ? static_cast<float>(status) : effective;
    std::cout << " save+srfactor calc:   " << watch.stop() * 1000.0 << "[ms]" << std::endl;
    std::cout << "+++++++++++++++++++++++++++++" << std::endl;
    return value;
}

void SuperResolution::setNucToRad(const cv::Mat_<short>& counts1, const cv::Mat_<float>& radiance1,
                                  const cv::Mat_<short>& counts2, const cv::Mat_<float>& radiance2) {
    gain.create(counts1.rows, counts1.cols);
    offset.create(counts1.rows, counts1.cols);
    for (int y = 0; y < counts1.rows; ++y) {
        for (int x = 0; x < counts1.cols; ++x) {
            const float a = static_cast<float>(counts1(y, x));
            const float b = static_cast<float>(counts2(y, x));
            if (b == a) {
                gain(y, x) = -kCalibrationLimit;
                offset(y, x) = -kCalibrationLimit;
                continue;
            }
            const float ra = radiance1(y, x);
            const float rb = radiance2(y, x);
            gain(y, x) = (rb - ra) / (b - a);
            offset(y, x) = ra - gain(y, x) * a;
        }
    }
    repairCalibration(gain);
    repairCalibration(offset);
}

void SuperResolution::NucToRad(const cv::Mat_<short>& counts) {
    radiometricFrame.create(counts.rows, counts.cols);
    for (int y = 0; y < counts.rows; ++y) {
        const short* c = counts[y];
        const float* g = gain[y];
        const float* o = offset[y];
        float* r = radiometricFrame[y];
        for (int x = 0; x < counts.cols; ++x) {
            const float scaled = static_cast<float>(c[x]) * g[x];
            r[x] = scaled + o[x];
        }
    }
}

float SuperResolution::processFrame2(const short* counts, float* out) {
    if (offset.cols != width || gain.rows != height)
        throw vorel::Exception("NucToRad() not initialized",
                               placeText(__FILE__, kNotCalibratedLine,
                                         "vorel::vision::SuperResolution::processFrame2()"));
    const cv::Mat_<short> image(height, width, const_cast<short*>(counts));
    NucToRad(image);
    (void)loadFrame<float>(radiometricFrame[0]);
    return computeSR<float>(out);
}

template <typename T>
bool SuperResolution::checkImageStructureQuality(const cv::Mat_<T>& image) {
    double minimum = 0.0, maximum = 0.0;
    cv::minMaxLoc(image, &minimum, &maximum);
    return maximum - minimum >= static_cast<double>(minStructureThreshold);
}

void SuperResolution::getCompleteShifts(std::vector<PointF>& out) { registration->getCompleteShifts(out); }

void SuperResolution::getMasks(std::vector<cv::Mat_<unsigned char>>& out) {
    out.resize(static_cast<std::size_t>(windowSize));
    for (int i = 0; i < windowSize; ++i) {
        if (out[i].rows != height || out[i].cols != width || !out[i].data) out[i].create(height, width);
        std::copy(masks[i], masks[i] + inputSize, reinterpret_cast<char*>(out[i].data));
    }
}

void SuperResolution::getQuality(cv::Mat_<float>& out) { out = cv::Mat_<float>(quality.clone()); }

void SuperResolution::getNucToRad(cv::Mat_<float>& gainOut, cv::Mat_<float>& offsetOut) const {
    gainOut = gain.clone();
    offsetOut = offset.clone();
}

// Where the frames' residual shifts fall on the 2 x 2 sub-pixel grid, spread
// bilinearly over a 3 x 3 map; the shifts lie in [-0.5, 0.5).
void SuperResolution::computeQuality_() {
    quality.create(3, 3);
    quality.setTo(0.0f);
    for (int i = 0; i < frameCount; ++i) {
        const float px = 2.0f * shifts[i].x + 1.0f;
        const float py = 2.0f * shifts[i].y + 1.0f;
        const float fx = std::floor(px);
        const float fy = std::floor(py);
        const float dx = px - fx;
        const float dy = py - fy;
        const int c = static_cast<int>(fx);
        const int r = static_cast<int>(fy);
        quality(r, c) += (1.0f - dx) * (1.0f - dy);
        quality(r, c + 1) += dx * (1.0f - dy);
        quality(r + 1, c + 1) += dx * dy;
        quality(r + 1, c) += (1.0f - dx) * dy;
    }
    quality = quality / static_cast<float>(frameCount);
}

// A non-iterative fallback: every output pixel is the mean of the registered
// frames at the input pixel it lies in.
void SuperResolution::simpleCombine() {
    for (int k = 0; k < outputSize; ++k) {
        const int source = (k / outputWidth / 2) * width + (k % outputWidth) / 2;
        float sum = 0.0f;
        for (int i = 0; i < frameCount; ++i) sum += shiftedFrames[i][source];
        result[k] = sum / static_cast<float>(frameCount);
    }
}

template VRLIB_API int SuperResolution::addFrame<short>(const short*);
template VRLIB_API int SuperResolution::addFrame<float>(const float*);
template VRLIB_API float SuperResolution::computeSR<short>(short*);
template VRLIB_API float SuperResolution::computeSR<float>(float*);
template VRLIB_API bool SuperResolution::checkImageStructureQuality<short>(const cv::Mat_<short>&);
template VRLIB_API bool SuperResolution::checkImageStructureQuality<float>(const cv::Mat_<float>&);

}  // namespace vision
}  // namespace vorel
