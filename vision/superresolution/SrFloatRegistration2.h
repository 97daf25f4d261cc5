// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include "vision/superresolution/SrFloatFrameSlots.h"

#include <opencv2/core.hpp>

#include <vector>

namespace vorel {
namespace vision {

class SrFloatSubPixelFlow;
class SrFloatThreadPool;

/// Registration of the float engine: finds every frame's shift against the
/// reference frame with sub-pixel accuracy and marks which pixels of each frame
/// can be trusted.
///
/// Each frame is smoothed, mapped to 8 bits and turned into an optical-flow
/// pyramid on arrival (prepareFrame). At registration, up to 100 corners of the
/// smoothed reference are tracked into every frame (pyramidal Lucas-Kanade); a
/// median-gated mean of their displacements gives a whole-pixel shift, which one
/// linearised least-squares step refines to sub-pixel accuracy and which also
/// fills the frame's validity mask. Shifts are the scene's position in a frame
/// minus its position in the reference, in input pixels.
class VRLIB_API SrFloatRegistration2 {
public:
    SrFloatRegistration2(int width, int height, int numFrames);
    SrFloatRegistration2(const SrFloatRegistration2& other);
    SrFloatRegistration2& operator=(const SrFloatRegistration2& other);
    ~SrFloatRegistration2();

    /// Smooths, maps and pyramids one frame (width x height floats, not kept) into
    /// the newest window slot, evicting the oldest once the window is full.
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

    /// Registers frames[0..n-1] (window slot order) against frame `ref`. On success
    /// returns 0 with the sub-pixel remainders in `shifts`, the validity masks in
    /// `masks` and the frames moved by their whole-pixel shifts in `shifted`;
    /// returns -9 when corner tracking fails and -10, writing nothing, when one of
    /// the n slots holds no prepared frame or ref is not one of them; throws vorel::Exception
    /// "Too large displacement" when a shift reaches height / 2.
    int doRegistration(int n, int ref, float** const frames, cv::Point_<float>* shifts, char** masks, float** shifted);

    /// The complete shifts of the last registration, one per frame.
    void getCompleteShifts(std::vector<cv::Point_<float>>& out);

    int getBlurRadius() const { return blurRadius; }
    void setBlurRadius(int radius) { blurRadius = radius; }
    int getRegErrBlurRadius() const { return regErrBlurRadius; }
    void setRegErrBlurRadius(int radius) { regErrBlurRadius = radius; }
    float getRegError() const { return regError; }
    void setRegError(float error) { regError = error; }

    /// Registers the window's frames on `pool`'s workers (not owned; nullptr: on the
    /// caller alone). The results are the same for every thread count.
    void setThreadPool(SrFloatThreadPool* pool);

private:
    friend class SrFloatRegistration2Inspector;  // test access to the steps

    void extractCornersRefImage(cv::Mat_<float>& image);
    int registerWithCorners(unsigned int ref, unsigned int frame, cv::Point_<int>& shift);
    int registerFrames(int n, int ref, float** const frames, cv::Point_<float>* shifts, char** masks);
    void initialize(char** masks, int ref);
    cv::Point_<float> opticalFlow(unsigned int ref, unsigned int frame, cv::Point_<int> coarse, char* mask);
    void shiftFrame(float* const in, cv::Point_<float>& shift, float* out);
    /// The fine stage on this object's buffers.
    SrFloatSubPixelFlow flow_() const;
    /// The fine stage on the scratch of one pool worker (worker 0 uses this object's own).
    SrFloatSubPixelFlow workerFlow_(int worker);
    /// Mean of the tracked corner moves within 2 pixels of their per-axis medians, rounded half up.
    static cv::Point_<int> medianGatedShift_(const std::vector<cv::Point_<float>>& moves);
    static cv::Point_<int> medianGatedShift_(const std::vector<cv::Point_<float>>& moves, std::vector<float>& xs,
                                             std::vector<float>& ys);
    void copyFrom_(const SrFloatRegistration2& other);
    /// Advances the window for one more frame and returns the slot it goes to, not yet prepared.
    int nextSlot_();

    int width;
    int height;
    int size;
    int numFrames;
    float regError;
    int blurRadius;
    int regErrBlurRadius;
    int flowWinSize;
    std::vector<cv::Mat_<float>> blurredFrames;
    std::vector<std::vector<cv::Mat>> pyramids;
    SrFloatFrameSlots slots;
    float* gradX;
    float* gradY;
    float* errImage;
    std::vector<cv::Point_<float>> refCorners;
    cv::Mat_<uchar> image8;
    float rangeMax;
    float rangeMin;
    float scale;
    float offset;
    float sumGxx;
    float sumGxy;
    float sumGyy;
    float* errBlurred;
    std::vector<cv::Point_<float>> completeShifts;
    std::vector<cv::Point_<float>> flowShifts;
    SrFloatThreadPool* pool = nullptr;
    /// The tracker's output for one frame, kept so that registrations allocate nothing once warm.
    struct Track {
        std::vector<cv::Point_<float>> points;
        cv::Mat status;
        cv::Mat err;
        std::vector<cv::Point_<float>> moves;
        std::vector<float> xs;
        std::vector<float> ys;
    };
    std::vector<Track> tracks;  // one per window slot
    std::vector<cv::Point_<float>> found;
    std::vector<int> results;
    /// errImage and errBlurred for each pool worker but the first, one after the other.
    std::vector<std::vector<float>> workerScratch;
};

}  // namespace vision
}  // namespace vorel
