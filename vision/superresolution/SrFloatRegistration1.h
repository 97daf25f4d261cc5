// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"
#include "vision/superresolution/SrFloatFft2d.h"
#include "vision/superresolution/SrFloatFrameSlots.h"

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

namespace vorel {
namespace vision {

class SrFloatSubPixelFlow;

/// Registration of the float engine by phase correlation: finds every frame's
/// shift against the reference frame with sub-pixel accuracy and marks which
/// pixels of each frame can be trusted. The same contract as SrFloatRegistration2;
/// it keeps working on scenes without corners to track.
///
/// Each frame is Fourier transformed on arrival (prepareFrame). At registration
/// the peak of the phase correlation with the reference gives a frame's
/// whole-pixel shift; the frames are smoothed by a Gaussian in the frequency
/// domain, with the border repaired so that nothing wraps around, and one
/// linearised least-squares step refines the shift and fills the validity mask.
/// Shifts are the scene's position in a frame minus its position in the
/// reference, in input pixels. Copies are deep.
class VRLIB_API SrFloatRegistration1 {
public:
    SrFloatRegistration1(int width, int height, int numFrames);
    SrFloatRegistration1(const SrFloatRegistration1& other);
    SrFloatRegistration1& operator=(const SrFloatRegistration1& other);
    SrFloatRegistration1(SrFloatRegistration1&&) noexcept;
    SrFloatRegistration1& operator=(SrFloatRegistration1&&) noexcept;
    ~SrFloatRegistration1();

    /// Transforms one frame (width x height floats, not kept) into the newest
    /// window slot, evicting the oldest once the window is full.
    void prepareFrame(float* frame);

    /// Takes the newest window slot for a frame that could not be prepared, so that
    /// the slots stay in step with the engine's window. A registration over a
    /// window that still holds such a slot fails with -10.
    void skipFrame();
    /// Empties the window slots and the last shifts, with the engine's window;
    /// the buffers are kept.
    void clearFrames() {
        slots.clear();
        completeShifts.clear();
    }

    /// Registers frames[0..n-1] (window slot order) against frame `ref` and returns
    /// 0 with the sub-pixel remainders in `shifts`, the validity masks in `masks`
    /// and the frames moved by their whole-pixel shifts in `shifted`. Throws
    /// vorel::Exception "Too large displacement" when a shift reaches height / 2.
    /// A frame whose correlation has no peak keeps the whole-pixel shift (0, 0).
    /// Returns -10, writing nothing, when one of the n slots holds no prepared
    /// frame or ref is not one of them.
    int doRegistration(int n, int ref, float** const frames, cv::Point_<float>* shifts, char** masks, float** shifted);

    /// The complete shifts of the last registration, one per frame.
    void getCompleteShifts(std::vector<cv::Point_<float>>& out);

    /// Radius of the frequency-domain Gaussian; sigma follows as sqrt(3 r r / 25).
    int getGaussRadius() const { return gaussRadius; }
    void setGaussRadius(int radius);
    int getRegErrBlurRadius() const { return regErrBlurRadius; }
    void setRegErrBlurRadius(int radius) { regErrBlurRadius = radius; }
    float getRegError() const { return regError; }
    void setRegError(float error) { regError = error; }

private:
    friend class SrFloatRegistration1Inspector;  // test access to the steps
    using Bin = float[2];                        // one complex value of a half spectrum

    void registerFrames(int n, int ref, float** const frames, cv::Point_<float>* shifts, char** masks);
    /// Advances the window for one more frame and returns the slot it goes to, not yet prepared.
    int nextSlot_();
    cv::Point_<int> phaseCorrelation();
    void initialize(char** masks, int n);
    cv::Point_<float> opticalFlow(cv::Point_<int> coarse, char* mask);
    void shiftFrame(float* const in, cv::Point_<float>& shift, float* out);
    /// Gaussian smoothing of the frame with this spectrum and these pixels, border repaired.
    void smooth_(const Bin* spectrum, const float* raw, float* out);
    SrFloatSubPixelFlow flow_() const;

    int width;
    int height;
    int size;
    int numFrames;
    SrFloatFrameSlots slots;
    int specSize;
    float regError;
    int gaussRadius;
    int regErrBlurRadius;
    std::vector<std::unique_ptr<Bin[]>> spectra;
    std::unique_ptr<SrFloatFft2d> fft;
    std::unique_ptr<Bin[]> gaussSpectrum;
    Bin* refSpectrum;
    Bin* frameSpectrum;
    std::unique_ptr<Bin[]> crossSpectrum;
    std::unique_ptr<float[]> corrSurface;
    std::unique_ptr<float[]> blurredRef;
    std::unique_ptr<float[]> blurredFrame;
    std::unique_ptr<float[]> gradX;
    std::unique_ptr<float[]> gradY;
    std::unique_ptr<float[]> errImage;
    float sumGxx;
    float sumGxy;
    float sumGyy;
    std::unique_ptr<float[]> gaussKernel;
    std::unique_ptr<float[]> errBlurred;
    std::vector<cv::Point_<float>> completeShifts;
    std::vector<cv::Point_<float>> flowShifts;
};

}  // namespace vision
}  // namespace vorel
