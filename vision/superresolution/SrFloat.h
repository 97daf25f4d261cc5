// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"
#include "vision/superresolution/SrFloatMinimization.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/SrFloatThreadPool.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

namespace vorel {
namespace vision {

/// The float super-resolution engine: a sliding window of the most recent
/// frames, one registration, one minimiser and one bad-pixel handler.
///
/// Feed frames with addFrame(); computeSR() registers the window against the
/// reference frame, reconstructs an image of factor times the width and height
/// and returns the srfactor (about 1 to 2 for factor 2), or -998 (registration
/// failed, the window is empty or holds a frame that addFrame threw on; nothing
/// written), -6 (large displacement) or
/// -3 (too many masked pixels; both with the result written). Setters
/// throw a plain C string (const char*) on an invalid value.
///
/// Minimization and Mask choose the minimiser and the mask element type (1 =
/// use a pixel, 0 = ignore it) that the registration fills; SrFloatNeon uses
/// the float masks of its vector minimiser.
template <class Registration, class Minimization = SrFloatMinimization, typename Mask = char>
class VRLIB_API SrFloat {
public:
    /// Throws "Invalid reference index specified." if numFrames < 1.
    SrFloat(int width, int height, int numFrames, float factor);
    ~SrFloat();
    SrFloat(const SrFloat&) = delete;
    /// Member-wise: afterwards both engines share the source's buffers.
    SrFloat& operator=(const SrFloat& other);

    /// Copies a frame (width x height floats) into the window, repairs its bad
    /// pixels and prepares it for registration. Returns 0 or a negative code of
    /// the bad-pixel repair (-2: a defect could not be repaired from neighbours).
    /// A frame with too many defects throws vorel::Exception and stays in the
    /// window unprepared: computeSR answers -998 until it has left.
    int addFrame(const float* frame);
    int addFrame(const cv::Mat_<float>& frame);
    /// Empties the window; the buffers keep their contents, the registration's
    /// slots and the defect maps start again with the next frame.
    void clearFrames() {
        frameCount = 0;
        registration.clearFrames();
        badPixelHandling.clearDefectMaps();
    }

    /// Reconstructs from the window into `out` (outputWidth x outputHeight floats).
    float computeSR(float* out);
    float computeSR(cv::Mat_<float>& out);

    /// Copies the last reconstruction (outputSize floats) to `out`.
    void saveFrame(float* out) const;
    void getMasks(std::vector<cv::Mat_<unsigned char>>& masks) const;
    void getCompleteShifts(std::vector<cv::Point2f>& shifts);

    void setReferenceIndex(int index);
    void setRegError(float error);
    void setPsfSigma(float sigma);
    void setWeightTV(float weight);
    void setRelativeResidue(float residue);
    void setMaxCGIters(int iterations);
    void setMinStructureThreshold(float threshold) { minStructureThreshold = threshold; }
    void setDataIsNUC(bool dataIsNUC);
    /// Threads for computeSR, the caller's included (default 1: the caller alone).
    /// Starts the workers once, here; results are the same for every count. Throws
    /// "Invalid number of threads specified." if count < 1.
    void setThreadCount(int count);
    int getThreadCount() const { return threadPool ? threadPool->getThreadCount() : 1; }

    int getInputSize() const { return inputSize; }
    int getOutputSize() const { return outputSize; }
    int getOutputWidth() const { return outputWidth; }
    int getOutputHeight() const { return outputHeight; }
    int getReferenceIndex() const { return referenceIndex; }
    int getWindowSize() const { return numFrames; }
    int getFrameCount() const { return frameCount; }
    float getMinStructureThreshold() const { return minStructureThreshold; }
    float getRegError() const;
    float getPsfSigma() const;
    float getWeightTV() const;
    float getRelativeResidue() const;
    int getMaxCGIters() const;

    /// The registration object, for its own blur settings.
    Registration& getRegistration() { return registration; }

protected:
    friend class SrFloatInspector;  // test access to the window and the srfactor

    int loadFrame(const float* frame);
    /// The srfactor's sample cap, fixed once per process by the first reconstruction.
    int sampleCap_() const;
    /// Reads the registration's complete shifts and returns -6 when one exceeds
    /// height / 10, else -3 when a frame's mask leaves out half of its pixels or
    /// more, else 0.
    int checkWindow_(int n, std::vector<cv::Point2f>& completeShifts);
    float srFactor_(int n, int maxCount) const;

    int width;
    int height;
    int inputSize;
    int outputWidth;
    int outputHeight;
    int outputSize;
    int spectrumSize;
    int numFrames;
    float factor;
    int referenceIndex;
    float minStructureThreshold;
    Registration registration;
    Minimization minimization;
    SuperResolutionBadPixelHandling badPixelHandling;
    float** frames;
    float** shiftedFrames;
    float* estimate;
    cv::Point2f* shifts;
    Mask** masks;
    int frameCount;
    std::shared_ptr<SrFloatThreadPool> threadPool;
    // Kept between reconstructions, so that computeSR allocates nothing once warm.
    std::vector<cv::Point2f> completeShifts;
    std::vector<cv::Mat_<float>> frameList;
};

extern template class SrFloat<SrFloatRegistration2>;
extern template class SrFloat<SrFloatRegistration1>;

}  // namespace vision
}  // namespace vorel
