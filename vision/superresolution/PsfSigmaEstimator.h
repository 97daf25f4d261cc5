// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"
#include "vision/superresolution/SrFloat.h"

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

namespace vorel {
namespace vision {

/// Estimates the width of the sensor's blur (the engine's PSF sigma, in
/// high-resolution pixels) from a burst itself, for when the camera and lens
/// are unknown or the blur is wider than the camera table says.
///
/// estimate() registers the burst once, then holds out each of two frames (the
/// oldest and the newest that are not the reference), reconstructs from the
/// others with each candidate width (0.4 to 1.4 in steps of 0.2) and predicts
/// the held-out frame from each reconstruction: blurred with the engine's own
/// pixel-integrated kernel for that width (SrFloatMinimization::psfKernel),
/// moved by the held-out frame's registered shift and sampled as the engine's
/// operators sample. The width whose reconstructions predict best (RMS over the
/// frame, a border of 4 pixels left out) wins, refined between the grid points
/// by a parabola. That is 12 reconstructions in all. They run with a weak TV
/// term (weight 40000) and up to 60 iterations, so that the regulariser, which
/// prefers wide soft edges, does not choose the width.
///
/// Widths below 0.4 give the engine almost the same kernel, so 0.4 stands for
/// them. On simulated bursts of the building scene (80 x 60 and 160 x 120,
/// true widths 0.5, 0.683 and 1.0) the estimate lands within about 0.15 of the
/// truth, slightly low; the engine itself reconstructs best a little below the
/// true width. On scenes dominated by detail finer than the sensor resolves,
/// narrow blurs are overestimated (by 0.2 to 0.5), since blurring the
/// prediction of what cannot be predicted lowers its error.
///
/// Two engines for the burst length are allocated by the constructor;
/// estimate() allocates nothing of its own, and the engines print their timing
/// lines on standard output as always. Frames are not changed. One object
/// serves one call at a time.
class VRLIB_API PsfSigmaEstimator {
public:
    /// Outcome of estimate(); getSigma() is the engine's default otherwise.
    enum class Status {
        Estimated = 0,
        TooFewFrames = -1,  ///< fewer than getMinFrames() frames
        TooFlat = -2        ///< the frames could not be registered (too little structure, or moved too far)
    };

    /// width, height: frame size; frames: the burst length estimate() takes.
    /// Throws "Invalid frame count for blur estimation." if frames < 1.
    PsfSigmaEstimator(int width, int height, int frames);
    ~PsfSigmaEstimator();
    PsfSigmaEstimator(const PsfSigmaEstimator&) = delete;
    PsfSigmaEstimator& operator=(const PsfSigmaEstimator&) = delete;

    /// frames[0..frames-1], oldest first, width x height floats each;
    /// referenceIndex counts back from the newest, as SrFloat::setReferenceIndex
    /// (throws its message if out of range).
    Status estimate(const float* const* frames, int referenceIndex);
    Status estimate(const std::vector<cv::Mat_<float>>& frames, int referenceIndex);

    /// The estimate, or 0.683 (the engine's default) before one succeeded.
    float getSigma() const { return sigma; }
    /// The widths tried and, after an estimate, the mean RMS error with which
    /// each predicted the held-out frames (frame units).
    const std::vector<float>& getCandidates() const { return candidates; }
    const std::vector<double>& getErrors() const { return errors; }
    static int getMinFrames() { return 4; }

private:
    using Engine = SrFloat<SrFloatRegistration2>;

    bool crossValidate_(const float* const* burst, int referenceIndex);
    double predictionError_(const cv::Mat_<float>& estimate, const float* frame, cv::Point2f shift, float psfWidth);

    int width;
    int height;
    int frames;
    float sigma;
    std::vector<float> candidates;
    std::vector<double> errors;
    std::unique_ptr<Engine> whole;    // registers the whole burst once
    std::unique_ptr<Engine> heldOut;  // reconstructs without one frame
    std::vector<cv::Point2f> shifts;
    cv::Mat_<float> reconstruction;
    float kernel[6];
};

}  // namespace vision
}  // namespace vorel
