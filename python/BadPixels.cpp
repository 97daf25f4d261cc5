// SPDX-License-Identifier: Proprietary
#include "BadPixels.h"

#include "BadPixelMaps.h"
#include "ToolError.h"

#include <pybind11/numpy.h>

#include <string>

namespace py = pybind11;

namespace vorel {
namespace python {
namespace {

using List = cv::Mat_<unsigned short>;

// The tool's texts name its options, "--radius"; here they are keywords.
std::string keywordText(std::string text) {
    for (std::size_t at = text.find("--"); at != std::string::npos; at = text.find("--", at)) text.erase(at, 2);
    return text;
}

// A 2-D array of 16-bit counts, C-contiguous (copied if it is not), and its OpenCV header.
cv::Mat countsOf(const py::handle& object, py::array& array) {
    if (!py::isinstance<py::array>(object))
        throw py::type_error("frame must be a numpy array of int16 or uint16 counts");
    array = py::array::ensure(object, py::array::c_style);
    const bool isSigned = py::array_t<short>::check_(array);
    if (!isSigned && !py::array_t<unsigned short>::check_(array))
        throw py::type_error("frame must be int16 or uint16 counts, got " + std::string(py::str(array.dtype())) +
                             "; for float frames see repair_stuck_pixels");
    if (array.ndim() != 2)
        throw py::value_error("frame must be 2-D (rows x columns), got " + std::to_string(array.ndim()) + "-D");
    return cv::Mat(static_cast<int>(array.shape(0)), static_cast<int>(array.shape(1)), isSigned ? CV_16S : CV_16U,
                   array.mutable_data());
}

// A list of n x 10 (as find returns) or of n x 2 pixels (x, y), whose replacements
// are then left to compute: marked outside the frame.
List listOf(const py::handle& object, cv::Size size, bool& complete) {
    const auto pixels = py::array_t<long long, py::array::c_style | py::array::forcecast>::ensure(object);
    if (!pixels) throw py::type_error("pixels must be an array of whole numbers");
    if (pixels.size() == 0) {
        complete = true;
        return List(0, 10);
    }
    if (pixels.ndim() != 2 || (pixels.shape(1) != 2 && pixels.shape(1) != 10))
        throw py::value_error("pixels must be n x 2 (x, y) or a list of n x 10 as find() returns");
    complete = pixels.shape(1) == 10;
    List list(static_cast<int>(pixels.shape(0)), 10);
    list.setTo(cv::Scalar(size.width, size.height));
    const auto values = pixels.unchecked<2>();
    for (py::ssize_t r = 0; r < values.shape(0); ++r)
        for (py::ssize_t k = 0; k < values.shape(1); ++k) {
            if (values(r, k) < 0 || values(r, k) > 65535)
                throw py::value_error("pixels must lie between 0 and 65535, got " + std::to_string(values(r, k)));
            list(static_cast<int>(r), static_cast<int>(k)) = static_cast<unsigned short>(values(r, k));
        }
    tools::requireListInside(list, size, false);
    return list;
}

py::array_t<unsigned short> arrayOf(const List& list) {
    py::array_t<unsigned short> array({static_cast<py::ssize_t>(list.rows), py::ssize_t{10}});
    std::copy(list.begin(), list.end(), array.mutable_data());
    return array;
}

const char* const findDoc = R"(find(frame, *, min=0, max=16383, threshold=5, span=16, capacity=4096, radius=3)
    -> uint16 array of n x 10

The defective pixels of a flat-field or dark frame of int16 or uint16 counts
(up to 32767), as ``vsr badpixels find`` lists them: one row per pixel, x and y
of the pixel, then x and y of its four replacement pixels. list[:, :2] are the
pixels.

min, max    counts at or beyond these are defective.
threshold   a value is isolated, and its pixels defective, when fewer than
            threshold pixels lie within span counts of it.
span        how many counts "near" reaches, at least 2.
capacity    most defective pixels expected (1 to 65535).
radius      how far replacement pixels are searched (1 to 100).

ValueError for values out of range, more defects than capacity, or a defect
without good pixels within radius.)";

const char* const drawDoc = R"(draw(image, pixels, *, box=7, random_colours=False) -> uint8 array of rows x columns x 3

The image (any 2-D real array) in the thermal palette, each of the pixels boxed
by a box x box square (1 to 255), green or, with random_colours, one colour per
pixel: colour in OpenCV's order (blue, green, red), ready for cv2.imwrite.
pixels: n x 2 (x, y), or a list as find() returns.)";

const char* const repairDoc = R"(repair(frame, pixels, *, radius=3) -> array like frame

A repaired copy of a frame of int16 or uint16 counts (up to 32767): each listed
pixel := the mean of its four replacement pixels, truncated. pixels: a list as
find() returns, or n x 2 (x, y), whose replacements are then searched within
radius (1 to 100). ValueError for a pixel or replacement outside the frame.)";

}  // namespace

void addBadPixels(py::module_& module) {
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            if (thrown) std::rethrow_exception(thrown);
        } catch (const tools::ToolError& error) {
            PyErr_SetString(PyExc_ValueError, keywordText(error.what()).c_str());
        }
    });
    py::module_ badPixels = module.def_submodule(
        "bad_pixels", "A sensor's defect map: found in a flat-field or dark frame, drawn, applied to frames.");
    badPixels.def(
        "find",
        [](const py::handle& frame, int min, int max, int threshold, int span, int capacity, int radius) {
            const tools::BadPixelSearch search{min, max, threshold, span, capacity, radius};
            tools::requireValidSearch(search);
            py::array array;
            const cv::Mat_<short> counts = tools::signedCounts(countsOf(frame, array));
            tools::BadPixelCounts found;
            return arrayOf(tools::findBadPixelList(counts, search, found));
        },
        py::arg("frame"), py::kw_only(), py::arg("min") = 0, py::arg("max") = 16383, py::arg("threshold") = 5,
        py::arg("span") = 16, py::arg("capacity") = 4096, py::arg("radius") = 3, findDoc);
    badPixels.def(
        "draw",
        [](const py::array_t<float, py::array::c_style | py::array::forcecast>& image, const py::handle& pixels,
           int box, bool randomColours) {
            if (image.ndim() != 2) throw py::value_error("image must be 2-D (rows x columns)");
            const cv::Mat_<float> values(static_cast<int>(image.shape(0)), static_cast<int>(image.shape(1)),
                                         const_cast<float*>(image.data()));
            tools::requireBetween("--box", box, 1, 255);
            bool complete = false;
            const List list = listOf(pixels, values.size(), complete);
            const cv::Mat_<cv::Vec3b> overlay = tools::drawBadPixelOverlay(values, list, box, randomColours);
            py::array_t<unsigned char> array({image.shape(0), image.shape(1), py::ssize_t{3}});
            std::copy(overlay.begin(), overlay.end(), reinterpret_cast<cv::Vec3b*>(array.mutable_data()));
            return array;
        },
        py::arg("image"), py::arg("pixels"), py::kw_only(), py::arg("box") = 7, py::arg("random_colours") = false,
        drawDoc);
    badPixels.def(
        "repair",
        [](const py::handle& frame, const py::handle& pixels, int radius) {
            py::array array;
            const cv::Mat image = countsOf(frame, array);
            cv::Mat_<short> counts = tools::signedCounts(image);
            bool complete = false;
            List list = listOf(pixels, counts.size(), complete);
            if (!complete) {
                tools::requireBetween("--radius", radius, 1, 100);
                tools::completeBadPixelList(list, counts.size(), radius);
            }
            tools::repairBadPixelsOf(counts, list);
            py::array repaired(array.dtype(), {array.shape(0), array.shape(1)});
            cv::Mat out(image.size(), image.type(), repaired.mutable_data());
            counts.convertTo(out, image.depth());
            return repaired;
        },
        py::arg("frame"), py::arg("pixels"), py::kw_only(), py::arg("radius") = 3, repairDoc);
}

}  // namespace python
}  // namespace vorel
