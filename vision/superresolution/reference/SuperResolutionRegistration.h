// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"
#include "vision/superresolution/reference/PointF.h"
#include "vision/superresolution/reference/PointI.h"
#include "vision/superresolution/reference/SuperResolutionFft2d.h"

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

namespace vorel {
namespace vision {

/// Registration of the reference engine: each frame's whole-pixel shift against
/// the reference by phase correlation of the spectra the engine computed at load
/// time, the sub-pixel part by one linearised least-squares step on frames
/// pre-blurred in the frequency domain, and a validity mask per frame. The
/// stages are those of the float engine's phase-correlation registration.
/// Copies and assignment share the buffers (shallow); the shift lists are copied.
class VRLIB_API SuperResolutionRegistration {
public:
    using Spectrum = float (*)[2];

    /// gaussRadius: radius of the Gaussian pre-blur (sigma = r * sqrt(3) / 5).
    SuperResolutionRegistration(int width, int height, float factor, int gaussRadius);
    ~SuperResolutionRegistration();
    SuperResolutionRegistration(const SuperResolutionRegistration&);
    SuperResolutionRegistration& operator=(const SuperResolutionRegistration&);

    /// Registers frames 0 ... n-1 against frame ref; writes the residual sub-pixel
    /// shifts, the masks and the frames moved by their whole-pixel shifts, keeps
    /// the full shifts (getCompleteShifts) and returns 0. Throws vorel::Exception
    /// "Too large displacement" when a shift component reaches height / 2.
    int doRegistration(int n, int ref, float** frames, Spectrum* spectra, PointF* shifts, char** masks,
                       float** shiftedFrames);
    /// The registration without moving the frames: full shifts and masks.
    void registerFrames(int n, int ref, float** frames, Spectrum* spectra, PointF* shifts, char** masks);
    void getCompleteShifts(std::vector<PointF>& out);

    float getRegError() const { return regError; }
    void setRegError(float e) { regError = e; }
    int getGaussRadius() const { return gaussRadius; }
    /// Rebuilds the pre-blur kernel and spectrum; prints the taps.
    void setGaussRadius(int r);
    int getRegErrBlurRadius() const { return regErrBlurRadius; }
    void setRegErrBlurRadius(int r) { regErrBlurRadius = r; }
    SuperResolutionFft2d& getFft() { return fft; }

private:
    friend class SuperResolutionRegistrationInspector;  // test access

    PointI phaseCorrelation();
    PointF opticalFlow(PointI s, char* mask);
    void initialize(char** masks, int n);
    void shiftFrame(float* frame, PointF& shift, float* out);
    void preBlur_(Spectrum spectrum, const float* raw, float* out);

    int width;
    int height;
    int pixelCount;
    int spectrumSize;
    float regError;
    int gaussRadius;
    int regErrBlurRadius;
    float factor;
    SuperResolutionFft2d fft;
    std::shared_ptr<float[]> gaussSpectrum;
    Spectrum refSpectrum;
    Spectrum frameSpectrum;
    std::shared_ptr<float[]> crossSpectrum;
    std::shared_ptr<float[]> correlation;
    std::shared_ptr<float[]> blurredRef;
    std::shared_ptr<float[]> blurredFrame;
    std::shared_ptr<float[]> gradX;
    std::shared_ptr<float[]> gradY;
    std::shared_ptr<float[]> errorMap;
    float sumXX;
    float sumXY;
    float sumYY;
    std::shared_ptr<float[]> gaussKernel;
    std::shared_ptr<float[]> blurredError;
    std::vector<cv::Point_<float>> completeShifts;
    std::vector<PointF> flowShifts;
    // The shared float stages take cv::Point_ shifts; grown once to the window.
    std::vector<cv::Point_<float>> pointScratch;
};

}  // namespace vision
}  // namespace vorel
