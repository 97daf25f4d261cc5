// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/reference/SuperResolutionRegistration.h"

#include "vision/superresolution/SrFloatFrequencyAlignment.h"
#include "vision/superresolution/SrFloatSubPixelFlow.h"
#include "vorel/Exception.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vorel {
namespace vision {

namespace {

std::shared_ptr<float[]> buffer(int count) { return std::shared_ptr<float[]>(new float[std::max(count, 0)]()); }

using Bin = float[2];

Bin* bins(const std::shared_ptr<float[]>& data) { return reinterpret_cast<Bin*>(data.get()); }

// Hosts match the place of this failure, line included.
constexpr int kDisplacementLine = 91;

}  // namespace

SuperResolutionRegistration::SuperResolutionRegistration(int width, int height, float factor, int gaussRadius)
    : width(width),
      height(height),
      pixelCount(width * height),
      spectrumSize((width / 2 + 1) * height),
      regError(1e-4f),
      gaussRadius(gaussRadius),
      regErrBlurRadius(3),
      factor(factor),
      fft(width, height),
      gaussSpectrum(buffer(2 * spectrumSize)),
      refSpectrum(nullptr),
      frameSpectrum(nullptr),
      crossSpectrum(buffer(2 * spectrumSize)),
      correlation(buffer(pixelCount)),
      blurredRef(buffer(pixelCount)),
      blurredFrame(buffer(pixelCount)),
      gradX(buffer(pixelCount)),
      gradY(buffer(pixelCount)),
      errorMap(buffer(pixelCount)),
      sumXX(0.0f),
      sumXY(0.0f),
      sumYY(0.0f),
      blurredError(buffer(pixelCount)) {
    setGaussRadius(gaussRadius);
}

SuperResolutionRegistration::~SuperResolutionRegistration() = default;
SuperResolutionRegistration::SuperResolutionRegistration(const SuperResolutionRegistration&) = default;
SuperResolutionRegistration& SuperResolutionRegistration::operator=(const SuperResolutionRegistration&) = default;

void SuperResolutionRegistration::setGaussRadius(int r) {
    gaussRadius = r;
    const float variance = r * 3.0f * r / 25.0f;
    const float sigma = static_cast<float>(std::sqrt(static_cast<double>(variance)));
    gaussKernel = buffer(r + 1);
    fft.gaussFft(r, sigma, bins(gaussSpectrum), gaussKernel.get());
}

void SuperResolutionRegistration::getCompleteShifts(std::vector<PointF>& out) {
    out.resize(completeShifts.size());
    for (std::size_t i = 0; i < completeShifts.size(); ++i) out[i] = PointF{completeShifts[i].x, completeShifts[i].y};
}

void SuperResolutionRegistration::preBlur_(Spectrum spectrum, const float* raw, float* out) {
    SrFloatFrequencyAlignment(*fft.transforms, bins(crossSpectrum), correlation.get())
        .smooth(spectrum, bins(gaussSpectrum), raw, gaussRadius, gaussKernel.get(), out);
}

PointI SuperResolutionRegistration::phaseCorrelation() {
    const cv::Point_<int> s = SrFloatFrequencyAlignment(*fft.transforms, bins(crossSpectrum), correlation.get())
                                  .phaseCorrelation(refSpectrum, frameSpectrum);
    return PointI{s.x, s.y};
}

void SuperResolutionRegistration::initialize(char** masks, int n) {
    for (int k = 0; k < n; ++k) std::memset(masks[k], 0, static_cast<std::size_t>(pixelCount));
    const SrFloatSubPixelFlow flow(width, height, gradX.get(), gradY.get(), errorMap.get(), blurredError.get());
    const cv::Vec3f sums = flow.initialize(blurredRef.get());
    sumXX = sums[0];
    sumXY = sums[1];
    sumYY = sums[2];
}

PointF SuperResolutionRegistration::opticalFlow(PointI s, char* mask) {
    const SrFloatSubPixelFlow flow(width, height, gradX.get(), gradY.get(), errorMap.get(), blurredError.get());
    const cv::Point_<float> shift =
        flow.opticalFlow(blurredRef.get(), blurredFrame.get(), cv::Point_<int>(s.x, s.y),
                         cv::Vec3f(sumXX, sumXY, sumYY), regError, regErrBlurRadius, mask);
    return PointF{shift.x, shift.y};
}

void SuperResolutionRegistration::shiftFrame(float* frame, PointF& shift, float* out) {
    const SrFloatSubPixelFlow flow(width, height, gradX.get(), gradY.get(), errorMap.get(), blurredError.get());
    cv::Point_<float> s(shift.x, shift.y);
    flow.shiftFrame(frame, s, out);
    shift = PointF{s.x, s.y};
}

void SuperResolutionRegistration::registerFrames(int n, int ref, float** frames, Spectrum* spectra, PointF* shifts,
                                                 char** masks) {
    refSpectrum = spectra[ref];
    preBlur_(refSpectrum, frames[ref], blurredRef.get());
    initialize(masks, n);
    for (int i = 0; i < n; ++i) {
        if (i == ref) {
            shifts[i] = PointF{0.0f, 0.0f};
            std::memset(masks[i], 1, static_cast<std::size_t>(pixelCount));
            continue;
        }
        frameSpectrum = spectra[i];
        const PointI s = phaseCorrelation();
        preBlur_(frameSpectrum, frames[i], blurredFrame.get());
        shifts[i] = opticalFlow(s, masks[i]);
    }
}

int SuperResolutionRegistration::doRegistration(int n, int ref, float** frames, Spectrum* spectra, PointF* shifts,
                                                char** masks, float** shiftedFrames) {
    registerFrames(n, ref, frames, spectra, shifts, masks);
    if (static_cast<int>(pointScratch.size()) < n) pointScratch.resize(n);
    for (int i = 0; i < n; ++i) pointScratch[i] = cv::Point_<float>(shifts[i].x, shifts[i].y);
    const SrFloatSubPixelFlow flow(width, height, gradX.get(), gradY.get(), errorMap.get(), blurredError.get());
    const int moved = flow.moveFrames(n, frames, pointScratch.data(), shiftedFrames, completeShifts);
    for (int i = 0; i < n; ++i) shifts[i] = PointF{pointScratch[i].x, pointScratch[i].y};
    if (moved < n) throw vorel::Exception("Too large displacement", placeText(__FILE__, kDisplacementLine, __PRETTY_FUNCTION__));
    return 0;
}

}  // namespace vision
}  // namespace vorel
