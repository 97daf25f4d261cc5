// SPDX-License-Identifier: Proprietary
// _vsr_testing: the project's burst simulator, bicubic enlargement and scores
// for the Python tests, so that they judge the package as the C++ tests do.
#include "BurstSimulator.h"
#include "QualityMetrics.h"
#include "SyntheticSensor.h"
#include "Upsampling.h"

#include <opencv2/imgproc.hpp>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

namespace py = pybind11;
using namespace vorel::tools;

namespace {

using Image = py::array_t<float, py::array::c_style | py::array::forcecast>;

py::array_t<float> toArray(const cv::Mat_<float>& image) {
    py::array_t<float> array({image.rows, image.cols});
    std::copy(image.begin(), image.end(), array.mutable_data());
    return array;
}

cv::Mat_<float> toMat(const Image& array) {
    if (array.ndim() != 2) throw py::value_error("2-D image expected");
    return cv::Mat_<float>(static_cast<int>(array.shape(0)), static_cast<int>(array.shape(1)),
                           const_cast<float*>(array.data()));
}

}  // namespace

PYBIND11_MODULE(_vsr_testing, m) {
    m.def(
        "burst",
        [](int width, int height, int frames, int reference, std::uint64_t seed, const std::string& scene,
           float maxShift, int stuck) {
            BurstSettings settings;
            settings.frameSize = cv::Size(width, height);
            settings.frames = frames;
            settings.reference = reference;
            settings.seed = seed;
            settings.scene = sceneFromName(scene);
            settings.maxShift = maxShift;
            settings.stuckPixels = stuck;
            const Burst burst = BurstSimulator(settings).simulate();
            py::list list;
            for (const auto& frame : burst.frames) list.append(toArray(frame));
            py::array_t<float> shifts({static_cast<py::ssize_t>(burst.shifts.size()), py::ssize_t{2}});
            for (std::size_t i = 0; i < burst.shifts.size(); ++i) {
                shifts.mutable_at(i, 0) = burst.shifts[i].x;
                shifts.mutable_at(i, 1) = burst.shifts[i].y;
            }
            return py::make_tuple(list, toArray(burst.truth), shifts);
        },
        py::arg("width"), py::arg("height"), py::arg("frames") = 5, py::arg("reference") = 1, py::arg("seed") = 1,
        py::arg("scene") = "building", py::arg("max_shift") = 1.5f, py::arg("stuck") = 0,
        "(frames, truth, shifts) of a simulated scene; truth in the reference frame's geometry.");
    m.def(
        "sensor",
        [](int width, int height, int stuck, int isolated, std::uint64_t seed) {
            const SyntheticSensor sensor({width, height}, stuck, isolated, seed);
            py::array_t<short> frame({sensor.frame.rows, sensor.frame.cols});
            std::copy(sensor.frame.begin(), sensor.frame.end(), frame.mutable_data());
            py::list defects;
            for (const auto* points : {&sensor.stuck, &sensor.isolated})
                for (const cv::Point& p : *points) defects.append(py::make_tuple(p.x, p.y));
            return py::make_tuple(frame, defects);
        },
        py::arg("width"), py::arg("height"), py::arg("stuck"), py::arg("isolated"), py::arg("seed") = 1,
        "(flat-field int16 frame, [(x, y) of every planted defect]) of a sensor with stuck and isolated pixels.");
    m.def(
        "bicubic", [](const Image& frame) { return toArray(upsample(toMat(frame), cv::INTER_CUBIC)); },
        "cv::resize to twice the size with INTER_CUBIC.");
    m.def(
        "psnr", [](const Image& image, const Image& truth) { return compareAligned(toMat(image), toMat(truth)).psnr; },
        "PSNR against the truth after the best global alignment.");
}
