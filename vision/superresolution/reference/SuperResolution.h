// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"
#include "vision/superresolution/reference/PointF.h"

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

namespace vorel {
namespace vision {

class SuperResolutionRegistration;
class SuperResolutionMinimization;

/// The first-generation super-resolution engine. It keeps a sliding window of
/// frames, given as floats or as 16-bit sensor counts (short), registers them
/// against a reference frame, reconstructs one image enlarged by `factor` and
/// reports an effective factor for how well the frames cover the enlarged grid.
/// With a two-point calibration (setNucToRad) it also turns non-uniformity
/// corrected counts into radiometric values (processFrame2).
///
/// Parameter setters throw a C string and leave the object unchanged; loadFrame
/// and processFrame2 throw vorel::Exception. Bad pixels are handled for float
/// frames only. Buffers are allocated by the constructor. Assignment is shallow
/// on purpose: the target shares the source's buffers and components. One engine
/// serves one thread.
class VRLIB_API SuperResolution {
public:
    /// Throws "Invalid reference index specified." when windowSize < 1.
    SuperResolution(int width, int height, int windowSize, float factor);
    ~SuperResolution();
    SuperResolution(const SuperResolution&) = delete;
    SuperResolution& operator=(const SuperResolution& other);

    /// Reference position counted back from the newest frame (0 = newest).
    void setReferenceIndex(int i);
    void setMinStructureThreshold(float t);
    void setMaxCGIters(int n);
    void setPsfSigma(float s);
    void setRegError(float e);
    void setRelativeResidue(float r);
    void setWeightTV(float w);
    /// true: frames are raw counts for the bad-pixel limits; false: degrees Celsius.
    void setDataIsNUC(bool nuc);

    int getMaxCGIters() const;
    float getPsfSigma() const;
    float getRelativeResidue() const;
    float getWeightTV() const;
    float getRegError() const;
    int getInputSize() const { return inputSize; }
    int getOutputSize() const { return outputSize; }
    int getWindowSize() const { return windowSize; }
    int getReferenceIndex() const { return referenceIndex; }

    /// Adds a width x height frame (T = short or float) to the window, sliding it
    /// once full. Returns 0, or the negative result of the bad-pixel repair (the
    /// frame is kept all the same). Throws vorel::Exception when the frame's
    /// spectrum holds +infinity.
    template <typename T>
    int addFrame(const T* frame);

    /// Reconstructs the window into `out` (getOutputSize values; short results
    /// truncated toward zero). Returns the effective factor, or -6 (a shift above
    /// height / 10) or -3 (half a frame's pixels invalid) with the image written,
    /// -998 when registration failed, or the minimiser's negative code with
    /// nothing written. Prints progress lines.
    template <typename T>
    float computeSR(T* out);

    /// Empties the window; the buffers keep their contents, the defect maps start
    /// again with the next frame.
    void clearFrames() {
        frameCount = 0;
        badPixelHandling.clearDefectMaps();
    }

    /// Two-point calibration per pixel from counts and radiances of two scenes.
    /// Pixels with equal counts, and gains or offsets outside (-1000, 1000), take
    /// the mean of their usable neighbours (NaN when there are none).
    void setNucToRad(const cv::Mat_<short>& counts1, const cv::Mat_<float>& radiance1,
                     const cv::Mat_<short>& counts2, const cv::Mat_<float>& radiance2);
    /// Converts width x height counts, adds them as a float frame and returns
    /// computeSR<float>(out). Throws vorel::Exception "NucToRad() not initialized"
    /// without a calibration of the frame size.
    float processFrame2(const short* counts, float* out);

    /// (max - min) >= the minimum structure threshold.
    template <typename T>
    bool checkImageStructureQuality(const cv::Mat_<T>& image);

    void getCompleteShifts(std::vector<PointF>& out);
    /// One height x width 8-bit mask per window slot, loaded or not.
    void getMasks(std::vector<cv::Mat_<unsigned char>>& out);
    void getQuality(cv::Mat_<float>& out);
    /// Copies of the per-pixel gain and offset as setNucToRad left them (empty
    /// before), so that hosts can tell which pixels the calibration could not use.
    void getNucToRad(cv::Mat_<float>& gainOut, cv::Mat_<float>& offsetOut) const;

private:
    friend class SuperResolutionInspector;  // test access
    struct Storage;
    using Spectrum = float (*)[2];

    template <typename T>
    int loadFrame(const T* frame);
    template <typename T>
    void saveFrame(T* out);
    void NucToRad(const cv::Mat_<short>& counts);
    void computeQuality_();
    void simpleCombine();

    int width;
    int height;
    int inputSize;
    int outputWidth;
    int outputHeight;
    int outputSize;
    int spectrumSize;
    int windowSize;
    float factor;
    int referenceIndex;
    float minStructureThreshold;
    std::shared_ptr<SuperResolutionRegistration> registration;
    std::shared_ptr<SuperResolutionMinimization> minimization;
    SuperResolutionBadPixelHandling badPixelHandling;
    std::shared_ptr<Storage> storage;
    float** frames;
    Spectrum* spectra;
    float** shiftedFrames;
    float* result;
    PointF* shifts;
    char** masks;
    int frameCount;
    cv::Mat_<float> gain;
    cv::Mat_<float> offset;
    cv::Mat_<float> radiometricFrame;
    cv::Mat_<float> quality;
};

}  // namespace vision
}  // namespace vorel
