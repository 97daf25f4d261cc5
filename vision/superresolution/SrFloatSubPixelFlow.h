// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace vorel {
namespace vision {

/// The fine stage that both float registrations share, on width x height float
/// buffers that the registration owns: the smoothed reference's gradients and
/// their sums, one linearised least-squares step that refines a frame's
/// whole-pixel shift and marks in its mask the pixels the step explains well, and
/// the whole-pixel move of the frames into the reference's geometry. A view:
/// cheap to make for each call.
class SrFloatSubPixelFlow {
public:
    SrFloatSubPixelFlow(int width, int height, float* gradX, float* gradY, float* errImage, float* errBlurred)
        : width(width), height(height), gradX(gradX), gradY(gradY), errImage(errImage), errBlurred(errBlurred) {}

    /// Gradients of `reference` into gradX and gradY: one-sided on the first and
    /// last row and column, half central differences inside. Returns the sums of
    /// gx * gx, gx * gy and gy * gy over the frame, rounded to float.
    cv::Vec3f initialize(const float* reference) const;

    /// The shift of `frame` against `reference` (both smoothed) by one step around
    /// `coarse`, from the structure sums of initialize over the whole frame. Sets
    /// mask bytes to 1 where the mean-filtered residual stays below regError.
    cv::Point_<float> opticalFlow(const float* reference, const float* frame, cv::Point_<int> coarse,
                                  const cv::Vec3f& sums, float regError, int regErrBlurRadius, char* mask) const;

    /// Moves `in` by the whole-pixel part of `shift` (rounded half up) as one linear
    /// copy, zeros elsewhere, and leaves the remainder in `shift`.
    void shiftFrame(const float* in, cv::Point_<float>& shift, float* out) const;

    /// The end of a registration: records the shifts in `completeShifts`, copies
    /// the frames into `shifted` and moves each by its whole-pixel shift, leaving
    /// the remainders in `shifts`. Stops at the first shift with a component
    /// outside (-height / 2, height / 2) and returns its index (the frames from
    /// there on stay plain copies); returns n when all pass.
    int moveFrames(int n, float** const frames, cv::Point_<float>* shifts, float** shifted,
                   std::vector<cv::Point_<float>>& completeShifts) const;

private:
    int width;
    int height;
    float* gradX;
    float* gradY;
    float* errImage;
    float* errBlurred;
};

}  // namespace vision
}  // namespace vorel
