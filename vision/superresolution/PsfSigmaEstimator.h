// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"
#include "vision/superresolution/SrFloat.h"

#include <opencv2/core.hpp>

#include <memory>
#include <utility>
#include <vector>

namespace vorel {
namespace vision {

/// Estimates the width of the sensor's blur (the engine's PSF sigma, in
/// high-resolution pixels) from a burst itself, for when the camera and lens
/// are unknown or the blur is wider than the camera table says.
///
/// estimate() registers the burst once and measures how far the scene's edges
/// are spread: the strongest edges of the reference frame (local maxima of the
/// gradient along it, at most 500) are each sampled across, within 2.5 pixels
/// of the edge and 0.7 along it, in every frame at its registered shift, so
/// that the frames' sub-pixel shifts sample the edge finely; each profile is
/// fitted with a blurred step (Gaussian CDF). The quarter of the edges that the
/// step fits best relative to their contrast are the sharp, straight, isolated
/// ones; their median spread s, less the engine's own integration over one
/// output pixel (variance 1/12), is the blur. Scene edges that are soft
/// themselves widen other edges, not these. The engine, whose TV term sharpens
/// edges on its own, reconstructs best a little below the true width (and
/// noticeably worse above it), so the estimate is sqrt(s^2 - 1/12) - 0.06.
///
/// On simulated bursts (160 x 120, the building, people and star scenes, true
/// widths 0.5, 0.683 and 1.0) the estimate lands within 0.15 of the truth and
/// the result is at least as good as with the default width.
///
/// One engine for the burst length and the buffers are allocated by the
/// constructor; estimate() allocates nothing of its own, and the engine prints
/// its timing lines on standard output as always. Frames are not changed. One
/// object serves one call at a time.
class VRLIB_API PsfSigmaEstimator {
public:
    /// Outcome of estimate(); getSigma() is the engine's default otherwise.
    enum class Status {
        Estimated = 0,
        TooFewFrames = -1,  ///< fewer than getMinFrames() frames
        TooFlat = -2        ///< the frames could not be registered, or show too few clean edges
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
    /// The number of edges the last estimate rests on (0 without one).
    int getEdgeCount() const { return edgeCount; }
    static int getMinFrames() { return 4; }

private:
    using Engine = SrFloat<SrFloatRegistration2>;
    struct Edge {
        float strength;
        int x, y;
        float normalX, normalY;
    };
    struct Sample {
        float distance, value;
    };

    void findEdges_(const float* reference);
    int sampleAcross_(const float* const* burst, const Edge& edge);
    bool fitStep_(int count, float& spread, float& relativeError) const;

    int width;
    int height;
    int frames;
    float sigma;
    int edgeCount;
    std::unique_ptr<Engine> whole;  // registers the burst
    std::vector<cv::Point2f> shifts;
    cv::Mat_<float> reconstruction;
    cv::Mat_<float> gradientX;
    cv::Mat_<float> gradientY;
    std::vector<Edge> edges;
    std::vector<Sample> samples;
    std::vector<std::pair<float, float>> fits;  // relative error, spread
};

}  // namespace vision
}  // namespace vorel
