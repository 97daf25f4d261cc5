// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include <opencv2/core.hpp>

#include <vector>

namespace vorel {
namespace vision {

/// Finds stuck ("hot" or "cold") sensor pixels in a whole burst, before the
/// frames reach an engine. A stuck pixel reads a valid number, so the engines'
/// per-frame bad-pixel detection keeps it and the data term takes it at full
/// weight; once found, repair() hands the frames to the engine without it.
///
/// detect() works on each pixel's residual against the median of its (up to
/// eight) neighbours, in every frame, with robust statistics throughout:
/// - noise: 1.4826 times the median absolute residual over the burst (1.2533
///   times the mean where more than half are exactly zero, as in quantised data);
/// - candidate: the median of the pixel's residuals over the frames exceeds
///   `threshold` noise units, residuals of that sign and size occur in at least
///   `minFraction` of the frames, and their median distance from that median is
///   at most a quarter of it (a defect stands out by about the same amount every
///   time; scene detail comes and goes as the scene moves), and each of its
///   readings lies within 4 noise units of their median (a stuck pixel reads
///   a fixed value; scene detail that stands out as steadily, such as a small
///   warm blob or a line lying along the motion, changes its reading as it moves);
/// - isolated: the median residual exceeds 4 times the median of its
///   neighbours' own typical residuals (lines, corners and fine texture stand
///   out from a local median too, but so do their neighbours). A candidate next
///   to a stronger one is judged again with the stronger one left out of its
///   local medians, which the stronger one would otherwise shift;
/// - fixed to the sensor: the scene's motion is measured (for each frame the
///   shift within a tenth of the frame size, at most 12 pixels, that best
///   matches it to the first frame, with the candidates replaced by their local
///   median). From every frame that shows the deviation, it is looked for
///   again, at least half as large, next to where the scene went in each other
///   frame that moved by half a pixel or more; a candidate is stuck when that
///   finds it in no more than a quarter of those frames.
/// With too few frames, no noise, or a scene that moves too little to tell
/// detail from defects, detect() says so and marks nothing.
///
/// On simulated bursts (5 frames of 160 x 120, hand-shake up to 1.5 pixels,
/// 20 stuck pixels) it finds nearly all of them; it misses some that sit on scene
/// detail as bright as themselves. On defect-free bursts of the building, people
/// and star scenes (20 seeds each) it marks nothing. A defect that adds an offset
/// to a reading that follows the scene is not a stuck pixel here.
///
/// Buffers for `maxFrames` frames are allocated by the constructor; nothing is
/// allocated per pixel. One object serves one call at a time. Invalid
/// arguments throw a plain C string (const char*).
class VRLIB_API StuckPixelDetector {
public:
    /// Outcome of detect(); only Found has examined the burst to the end.
    enum class Status {
        Found = 0,         ///< getStuckPixels() lists what was found (possibly nothing)
        TooFewFrames = -1,  ///< fewer than getMinFrames() frames: nothing marked
        TooFlat = -2,       ///< every pixel equals its neighbourhood: no noise to measure
        TooStill = -3       ///< candidates exist, but the scene does not move across the sensor
    };

    /// width, height: frame size (at least 3 x 3); maxFrames: the longest burst
    /// detect() will see. Throws "Invalid frame size for stuck-pixel detection."
    /// or "Invalid frame count for stuck-pixel detection.".
    StuckPixelDetector(int width, int height, int maxFrames);

    /// Examines frames[0..n-1] (width x height floats each, not changed; NaN and
    /// infinite values are ignored) and replaces the list of stuck pixels. Throws
    /// "Invalid frame count for stuck-pixel detection." if n > maxFrames.
    Status detect(const float* const* frames, int n);
    Status detect(const std::vector<cv::Mat_<float>>& frames);

    /// Pixels found by the last detect(), or set by setStuckPixels(), row-major order.
    const std::vector<cv::Point>& getStuckPixels() const { return stuck; }
    /// A known defect list instead of a detection. Throws "Stuck pixel outside
    /// the frame." for a pixel outside the frame.
    void setStuckPixels(const std::vector<cv::Point>& pixels);

    /// Replaces every stuck pixel of `frame` (width x height floats) by the median
    /// of its neighbours that are neither stuck nor NaN; one with no such
    /// neighbour becomes NaN. The engine then never sees the defect.
    void repair(float* frame) const;
    void repair(cv::Mat_<float>& frame) const { repair(frame[0]); }
    /// Writes NaN at every stuck pixel of `frame`, for the engine's own bad-pixel
    /// handling. That handling also refills a 7 x 7 block of the result around
    /// each defect of each frame from the frames' nearest samples, which costs
    /// several times what repair() does (0.3 to 0.7 dB against 0.05 dB for 20
    /// defects in 160 x 120 frames).
    void markNaN(float* frame) const;

    /// Noise estimate of the last detect() (residual units), 0 before.
    float getNoise() const { return noise; }
    static int getMinFrames() { return 4; }

    /// Candidate residuals must exceed this many noise units (default 8).
    void setThreshold(float sigmas) { threshold = sigmas; }
    float getThreshold() const { return threshold; }
    /// Share of the frames in which a stuck pixel must stand out (default 0.8).
    void setMinFraction(float fraction) { minFraction = fraction; }
    float getMinFraction() const { return minFraction; }

private:
    float neighbourMedian_(const float* frame, int x, int y, const unsigned char* skip) const;
    float residual_(int frame, int index) const { return frameList[frame][index] - medians[frame * size + index]; }
    bool evaluate_(int index, int n, float limit, int required);
    void cleanFrame_(int frame, cv::Mat_<float>& out) const;
    int measureMotion_(int n);
    bool followsScene_(int x, int y, float deviation, int n) const;
    bool loneCandidate_(int x, int y, int exceptX, int exceptY) const;
    void storeStuck_(const std::vector<cv::Point>& pixels);

    int width;
    int height;
    int size;
    int maxFrames;
    float threshold;
    float minFraction;
    float noise;
    std::vector<const float*> frameList;
    std::vector<float> medians;  // per frame the local median of every pixel
    std::vector<float> scratch;  // absolute residuals for the noise estimate
    mutable std::vector<float> samples;
    std::vector<float> typical;  // per pixel the median residual over the frames
    std::vector<float> level;    // per pixel the median absolute residual over the frames
    std::vector<unsigned char> candidates;
    std::vector<unsigned char> stuckMask;
    std::vector<cv::Point> stuck;
    std::vector<cv::Point2f> shifts;  // the scene's position in each frame minus that in frame 0
    cv::Mat_<float> stillImage;  // frame 0 and another frame, cleaned, for the motion
    cv::Mat_<float> movedImage;
};

}  // namespace vision
}  // namespace vorel
