// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatRegistration1.h"

#include "vision/superresolution/SrFloatFrequencyAlignment.h"
#include "vision/superresolution/SrFloatSubPixelFlow.h"
#include "vorel/Exception.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vorel {
namespace vision {

namespace {

template <class T>
std::unique_ptr<T[]> buffer(int count) {
    return std::unique_ptr<T[]>(new T[count]());
}

}  // namespace

SrFloatRegistration1::SrFloatRegistration1(int width, int height, int numFrames)
    : width(width),
      height(height),
      size(width * height),
      numFrames(numFrames),
      slots(numFrames),
      specSize((width / 2 + 1) * height),
      regError(0.0001f),
      gaussRadius(5),
      regErrBlurRadius(3),
      spectra(numFrames),
      fft(new SrFloatFft2d(width, height)),
      gaussSpectrum(buffer<Bin>(specSize)),
      refSpectrum(nullptr),
      frameSpectrum(nullptr),
      crossSpectrum(buffer<Bin>(specSize)),
      corrSurface(buffer<float>(size)),
      blurredRef(buffer<float>(size)),
      blurredFrame(buffer<float>(size)),
      gradX(buffer<float>(size)),
      gradY(buffer<float>(size)),
      errImage(buffer<float>(size)),
      sumGxx(0.0f),
      sumGxy(0.0f),
      sumGyy(0.0f),
      errBlurred(buffer<float>(size)) {
    for (auto& spectrum : spectra) spectrum = buffer<Bin>(specSize);
    setGaussRadius(5);
}

SrFloatRegistration1::SrFloatRegistration1(const SrFloatRegistration1& other)
    : SrFloatRegistration1(other.width, other.height, other.numFrames) {
    slots = other.slots;
    regError = other.regError;
    regErrBlurRadius = other.regErrBlurRadius;
    if (other.gaussRadius != gaussRadius) setGaussRadius(other.gaussRadius);
    const auto copyBins = [&](const Bin* from, Bin* to) { std::memcpy(to, from, sizeof(Bin) * specSize); };
    const auto copyFloats = [&](const std::unique_ptr<float[]>& from, std::unique_ptr<float[]>& to) {
        std::copy(from.get(), from.get() + size, to.get());
    };
    for (int k = 0; k < numFrames; ++k) {
        copyBins(other.spectra[k].get(), spectra[k].get());
        if (other.refSpectrum == other.spectra[k].get()) refSpectrum = spectra[k].get();
        if (other.frameSpectrum == other.spectra[k].get()) frameSpectrum = spectra[k].get();
    }
    copyBins(other.gaussSpectrum.get(), gaussSpectrum.get());
    copyBins(other.crossSpectrum.get(), crossSpectrum.get());
    for (auto member : {&SrFloatRegistration1::corrSurface, &SrFloatRegistration1::blurredRef,
                        &SrFloatRegistration1::blurredFrame, &SrFloatRegistration1::gradX, &SrFloatRegistration1::gradY,
                        &SrFloatRegistration1::errImage, &SrFloatRegistration1::errBlurred})
        copyFloats(other.*member, this->*member);
    sumGxx = other.sumGxx;
    sumGxy = other.sumGxy;
    sumGyy = other.sumGyy;
    std::copy(other.gaussKernel.get(), other.gaussKernel.get() + std::max(gaussRadius, 0) + 1, gaussKernel.get());
    completeShifts = other.completeShifts;
    flowShifts = other.flowShifts;
}

SrFloatRegistration1& SrFloatRegistration1::operator=(const SrFloatRegistration1& other) {
    if (this != &other) *this = SrFloatRegistration1(other);
    return *this;
}

// The spectrum pointers move with the buffers they point into.
SrFloatRegistration1::SrFloatRegistration1(SrFloatRegistration1&&) noexcept = default;
SrFloatRegistration1& SrFloatRegistration1::operator=(SrFloatRegistration1&&) noexcept = default;
SrFloatRegistration1::~SrFloatRegistration1() = default;

void SrFloatRegistration1::setGaussRadius(int radius) {
    gaussRadius = radius;
    const float variance = radius * 3.0f * radius / 25.0f;
    const float sigma = static_cast<float>(std::sqrt(static_cast<double>(variance)));
    gaussKernel = buffer<float>(std::max(radius, 0) + 1);
    fft->gaussFft(radius, sigma, gaussSpectrum.get(), gaussKernel.get());
}

int SrFloatRegistration1::nextSlot_() {
    return slots.next([this] {
        // The evicted oldest slot moves to the end and its spectrum takes the new frame.
        std::rotate(spectra.begin(), spectra.begin() + 1, spectra.end());
    });
}

void SrFloatRegistration1::skipFrame() { nextSlot_(); }

void SrFloatRegistration1::prepareFrame(float* frame) {
    const int slot = nextSlot_();
    fft->forward(frame, spectra[slot].get());
    slots.markPrepared(slot);
}

void SrFloatRegistration1::getCompleteShifts(std::vector<cv::Point_<float>>& out) {
    if (&out != &completeShifts) out = completeShifts;
}

void SrFloatRegistration1::smooth_(const Bin* spectrum, const float* raw, float* out) {
    SrFloatFrequencyAlignment(*fft, crossSpectrum.get(), corrSurface.get())
        .smooth(spectrum, gaussSpectrum.get(), raw, gaussRadius, gaussKernel.get(), out);
}

cv::Point_<int> SrFloatRegistration1::phaseCorrelation() {
    return SrFloatFrequencyAlignment(*fft, crossSpectrum.get(), corrSurface.get())
        .phaseCorrelation(refSpectrum, frameSpectrum);
}

void SrFloatRegistration1::initialize(char** masks, int n) {
    for (int k = 0; k < n; ++k) std::memset(masks[k], 0, static_cast<std::size_t>(size));
    const cv::Vec3f sums = flow_().initialize(blurredRef.get());
    sumGxx = sums[0];
    sumGxy = sums[1];
    sumGyy = sums[2];
}

cv::Point_<float> SrFloatRegistration1::opticalFlow(cv::Point_<int> coarse, char* mask) {
    return flow_().opticalFlow(blurredRef.get(), blurredFrame.get(), coarse, cv::Vec3f(sumGxx, sumGxy, sumGyy),
                               regError, regErrBlurRadius, mask);
}

void SrFloatRegistration1::shiftFrame(float* const in, cv::Point_<float>& shift, float* out) {
    flow_().shiftFrame(in, shift, out);
}

SrFloatSubPixelFlow SrFloatRegistration1::flow_() const {
    return SrFloatSubPixelFlow(width, height, gradX.get(), gradY.get(), errImage.get(), errBlurred.get());
}

void SrFloatRegistration1::registerFrames(int n, int ref, float** const frames, cv::Point_<float>* shifts,
                                          char** masks) {
    refSpectrum = spectra[ref].get();
    smooth_(refSpectrum, frames[ref], blurredRef.get());
    initialize(masks, n);
    if (flowShifts.empty()) flowShifts.resize(n);

    std::vector<cv::Point_<float>> found(n, cv::Point_<float>(0.0f, 0.0f));
    for (int k = 0; k < n; ++k) {
        if (k == ref) {
            shifts[k] = cv::Point_<float>(0.0f, 0.0f);
            std::memset(masks[k], 1, static_cast<std::size_t>(size));
            continue;
        }
        frameSpectrum = spectra[k].get();
        const cv::Point_<int> coarse = phaseCorrelation();
        smooth_(frameSpectrum, frames[k], blurredFrame.get());
        found[k] = opticalFlow(coarse, masks[k]);
    }
    std::copy(found.begin(), found.end(), shifts);
    flowShifts = found;
}

int SrFloatRegistration1::doRegistration(int n, int ref, float** const frames, cv::Point_<float>* shifts, char** masks,
                                         float** shifted) {
    // An unprepared slot holds no spectrum, or an older frame's.
    if (!slots.ready(n, ref)) return -10;
    registerFrames(n, ref, frames, shifts, masks);
    if (flow_().moveFrames(n, frames, shifts, shifted, completeShifts) < n)
        throw vorel::Exception("Too large displacement", VOREL_PLACE);
    return 0;
}

}  // namespace vision
}  // namespace vorel
