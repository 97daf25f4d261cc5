// SPDX-License-Identifier: Proprietary
#include "BurstTools.h"

#include "vision/superresolution/PsfSigmaEstimator.h"
#include "vision/superresolution/StuckPixelDetector.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <string>
#include <vector>

namespace py = pybind11;

namespace vorel {
namespace python {
namespace {

// The frames of a frames x rows x columns float32 array, refused rather than converted.
std::vector<float*> framesOf(const py::handle& object, int& width, int& height) {
    if (!py::isinstance<py::array>(object)) throw py::type_error("burst must be a numpy array of float32");
    auto array = py::reinterpret_borrow<py::array>(object);
    if (!array.dtype().is(py::dtype::of<float>()))
        throw py::type_error("burst must be float32, got " + std::string(py::str(array.dtype())));
    if (array.ndim() != 3) throw py::value_error("burst must be 3-D (frames x rows x columns)");
    if (!(array.flags() & py::array::c_style) || !array.writeable())
        throw py::value_error("burst must be C-contiguous and writeable; pass numpy.ascontiguousarray(burst)");
    height = static_cast<int>(array.shape(1));
    width = static_cast<int>(array.shape(2));
    std::vector<float*> frames;
    for (py::ssize_t k = 0; k < array.shape(0); ++k)
        frames.push_back(static_cast<float*>(array.mutable_data()) + k * width * height);
    return frames;
}

const char* reason(vision::StuckPixelDetector::Status status) {
    switch (status) {
        case vision::StuckPixelDetector::Status::TooFewFrames: return "too few frames (4 needed)";
        case vision::StuckPixelDetector::Status::TooFlat: return "the frames are too flat";
        case vision::StuckPixelDetector::Status::TooStill: return "the scene hardly moves across the sensor";
        default: return "";
    }
}

}  // namespace

void addBurstTools(py::module_& module) {
    // The library's parameter checks throw their message as a plain C string.
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            if (thrown) std::rethrow_exception(thrown);
        } catch (const char* message) {
            PyErr_SetString(PyExc_ValueError, message);
        }
    });
    module.def(
        "find_stuck_pixels",
        [](const py::handle& burst) {
            int width = 0, height = 0;
            const std::vector<float*> frames = framesOf(burst, width, height);
            vision::StuckPixelDetector detector(width, height, static_cast<int>(frames.size()));
            const auto status = detector.detect(frames.data(), static_cast<int>(frames.size()));
            if (status != vision::StuckPixelDetector::Status::Found)
                throw py::value_error(std::string("no stuck-pixel detection: ") + reason(status));
            const std::vector<cv::Point>& pixels = detector.getStuckPixels();
            py::array_t<int> found({static_cast<py::ssize_t>(pixels.size()), py::ssize_t{2}});
            for (std::size_t i = 0; i < pixels.size(); ++i) {
                found.mutable_at(i, 0) = pixels[i].x;
                found.mutable_at(i, 1) = pixels[i].y;
            }
            return found;
        },
        py::arg("burst"),
        "find_stuck_pixels(burst) -> int array of n x 2 (x, y)\n\n"
        "Sensor pixels that stand out from their neighbourhood by the same sign in nearly\n"
        "every frame while the scene moves: defects the camera did not flag. burst: a\n"
        "C-contiguous float32 array of frames x rows x columns, 4 frames or more.\n"
        "ValueError when the burst is too short, too flat or too still to tell.");
    module.def(
        "repair_stuck_pixels",
        [](const py::handle& burst, const std::vector<std::pair<int, int>>& pixels) {
            int width = 0, height = 0;
            const std::vector<float*> frames = framesOf(burst, width, height);
            vision::StuckPixelDetector detector(width, height, 1);
            std::vector<cv::Point> points;
            for (const auto& [x, y] : pixels) points.emplace_back(x, y);
            detector.setStuckPixels(points);
            for (float* frame : frames) detector.repair(frame);
        },
        py::arg("burst"), py::arg("pixels"),
        "repair_stuck_pixels(burst, pixels)\n\n"
        "In place, every listed (x, y) pixel of every frame := the median of its\n"
        "neighbours that are neither listed nor NaN.");
    module.def(
        "estimate_psf_sigma",
        [](const py::handle& burst, int reference) {
            int width = 0, height = 0;
            const std::vector<float*> frames = framesOf(burst, width, height);
            vision::PsfSigmaEstimator estimator(width, height, static_cast<int>(frames.size()));
            vision::PsfSigmaEstimator::Status status;
            {
                const py::gil_scoped_release unlocked;
                status = estimator.estimate(frames.data(), reference);
            }
            if (status == vision::PsfSigmaEstimator::Status::TooFewFrames)
                throw py::value_error("no blur estimate: too few frames (4 needed)");
            if (status == vision::PsfSigmaEstimator::Status::TooFlat)
                throw py::value_error(
                    "no blur estimate: the frames could not be registered or show too few clean edges");
            return estimator.getSigma();
        },
        py::arg("burst"), py::arg("reference") = 3,
        "estimate_psf_sigma(burst, reference=3) -> float\n\n"
        "The sensor blur in output pixels, measured from how far the scene's sharpest\n"
        "edges spread across the registered frames. Needs a scene with some straight\n"
        "edges; ValueError when the burst is too short, cannot be registered or shows\n"
        "too few clean edges.");
}

}  // namespace python
}  // namespace vorel
