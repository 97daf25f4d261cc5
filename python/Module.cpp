// SPDX-License-Identifier: Proprietary
// The extension module vision_superresolution._core; the package's __init__.py
// adds super_resolve() on top.
#include "BurstTools.h"
#include "Engine.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <string>

namespace py = pybind11;
using vorel::python::Engine;
using vorel::python::EngineOptions;
using vorel::python::Outcome;

namespace {

// The engine reads the frame in place while the GIL is released, so nothing is
// converted here: a frame of another type, shape or layout is refused.
const float* checkedFrame(const Engine& engine, const py::handle& frame) {
    if (!py::isinstance<py::array>(frame))
        throw py::type_error("frame must be a numpy array of float32, got " +
                             std::string(py::str(py::type::of(frame).attr("__name__"))));
    const auto array = py::reinterpret_borrow<py::array>(frame);
    if (!py::array_t<float>::check_(array))
        throw py::type_error("frame must be float32, got " + std::string(py::str(array.dtype())) +
                             "; convert it with frame.astype(numpy.float32)");
    if (array.ndim() != 2)
        throw py::value_error("frame must be 2-D (rows x columns), got " + std::to_string(array.ndim()) + "-D");
    if (array.shape(0) != engine.height() || array.shape(1) != engine.width())
        throw py::value_error("frame must have " + std::to_string(engine.height()) + " rows and " +
                              std::to_string(engine.width()) + " columns, got " + std::to_string(array.shape(0)) +
                              " x " + std::to_string(array.shape(1)));
    constexpr int alignedRows = py::detail::npy_api::NPY_ARRAY_C_CONTIGUOUS_ | py::detail::npy_api::NPY_ARRAY_ALIGNED_;
    if ((array.flags() & alignedRows) != alignedRows)
        throw py::value_error("frame must be C-contiguous and aligned; pass numpy.ascontiguousarray(frame)");
    return static_cast<const float*>(array.data());
}

py::object resultOf(const Engine& engine) {
    if (!engine.hasResult()) return py::none();
    py::array_t<float> result({2 * engine.height(), 2 * engine.width()});
    engine.copyResult(result.mutable_data());
    return std::move(result);
}

py::object shiftsOf(Engine& engine) {
    if (!engine.hasResult()) return py::none();
    const auto shifts = engine.shifts();
    py::array_t<float> array({static_cast<py::ssize_t>(shifts.size()), py::ssize_t{2}});
    auto out = array.mutable_unchecked<2>();
    for (py::ssize_t i = 0; i < out.shape(0); ++i) {
        out(i, 0) = shifts[static_cast<std::size_t>(i)].x;
        out(i, 1) = shifts[static_cast<std::size_t>(i)].y;
    }
    return std::move(array);
}

py::object masksOf(const Engine& engine) {
    if (!engine.hasResult()) return py::none();
    const auto masks = engine.masks();
    py::array_t<unsigned char> array(
        {static_cast<py::ssize_t>(masks.size()), py::ssize_t{engine.height()}, py::ssize_t{engine.width()}});
    unsigned char* out = array.mutable_data();
    for (const auto& mask : masks) out = std::copy(mask.begin(), mask.end(), out);
    return std::move(array);
}

std::string describe(const Outcome& outcome) {
    std::string text = "Outcome(computed=" + std::string(outcome.computed ? "True" : "False") +
                       ", code=" + std::to_string(outcome.code);
    if (outcome.quality) text += ", quality=" + std::string(py::str(py::float_(*outcome.quality)));
    if (!outcome.warning.empty()) text += ", warning='" + outcome.warning + "'";
    return text + ")";
}

const char* const engineDoc = R"(Multi-frame super-resolution of a stream of thermal frames.

Frames of ``height`` x ``width`` go in one at a time with add(); the engine keeps
the last ``window`` of them and, from the frame that fills the window on,
registers the window against its reference frame and reconstructs an image of
twice the width and height, available as ``result``.

Engine(width, height, *, window=5, registration="corners", camera=None,
       reference=None, tv_weight=None, iterations=None, psf_sigma=None,
       verbose=False)

width, height   frame size in pixels.
window          frames per reconstruction.
registration    how frames are aligned: one of ``vision_superresolution.registrations``
                ("corners": tracked corners refined by optical flow).
camera          camera and lens, e.g. "k425 FOV 25": sets the blur of the sensor.
reference       the reference frame, counted back from the newest: 0 is the
                newest; default 3, or window - 1 for a smaller window.
tv_weight       weight of the total-variation term (>= 1); default 400.
iterations      most conjugate-gradient iterations (>= 1); default 8.
psf_sigma       sigma of the sensor blur in output pixels (> 0); default 0.683.
                Give either camera or psf_sigma.
verbose         let the engine's timing lines through to standard output.

Invalid values raise ValueError with the library's text. One call runs at a
time; the GIL is released while the engine computes.)";

}  // namespace

PYBIND11_MODULE(_core, m) {
    vorel::python::addBurstTools(m);
    m.doc() = "The super-resolution engine for numpy arrays; see vision_superresolution.";
    m.attr("__version__") = VSR_VERSION;
    m.attr("registrations") = py::tuple(py::cast(Engine::registrations()));

    py::class_<Outcome>(m, "Outcome", "What one added frame led to.")
        .def_readonly("computed", &Outcome::computed, "True when the frame completed a window and a new result exists.")
        .def_readonly("code", &Outcome::code,
                      "0, or a warning: -2 defective pixels left unrepaired, -3 half or more of some frame\n"
                      "not aligned, -4 a frame almost without contrast, -6 large displacement.")
        .def_readonly("warning", &Outcome::warning, "The warning in words; empty when code is 0.")
        .def_readonly("quality", &Outcome::quality,
                      "The engine's quality figure: 2.0 when every frame was usable at every pixel,\n"
                      "1.0 when only the reference frame was; None when not computed or after a -3 or -6.")
        .def("__repr__", &describe);

    py::class_<Engine>(m, "Engine", engineDoc)
        .def(py::init([](int width, int height, int window, std::string registration, std::optional<std::string> camera,
                         std::optional<int> reference, std::optional<float> tvWeight, std::optional<int> iterations,
                         std::optional<float> psfSigma, bool verbose) {
                 EngineOptions options;
                 options.width = width;
                 options.height = height;
                 options.window = window;
                 options.registration = std::move(registration);
                 options.camera = std::move(camera);
                 options.reference = reference;
                 options.tvWeight = tvWeight;
                 options.iterations = iterations;
                 options.psfSigma = psfSigma;
                 options.verbose = verbose;
                 return Engine::create(options);
             }),
             py::arg("width"), py::arg("height"), py::kw_only(), py::arg("window") = 5,
             py::arg("registration") = "corners", py::arg("camera") = py::none(), py::arg("reference") = py::none(),
             py::arg("tv_weight") = py::none(), py::arg("iterations") = py::none(), py::arg("psf_sigma") = py::none(),
             py::arg("verbose") = false)
        .def(
            "add",
            [](Engine& engine, const py::handle& frame) {
                const float* pixels = checkedFrame(engine, frame);
                const py::gil_scoped_release unlocked;
                return engine.add(pixels);
            },
            py::arg("frame"),
            "add(frame) -> Outcome\n\n"
            "Adds a frame: a C-contiguous float32 array of height rows and width columns\n"
            "(TypeError for another type, ValueError for another shape or layout; nothing\n"
            "is converted). Once the window is full, reconstructs. RuntimeError when the\n"
            "library fails, e.g. when the frames cannot be registered.")
        .def_property_readonly("result", &resultOf,
                               "The last reconstruction as a new float32 array of 2 * height x 2 * width;\n"
                               "None before the window was first full.")
        .def_property_readonly("shifts", &shiftsOf,
                               "Per frame of the window, oldest first, its (x, y) shift against the reference\n"
                               "frame in input pixels, as a float32 array of window x 2; None before the\n"
                               "first result.")
        .def_property_readonly("masks", &masksOf,
                               "Per frame of the window, oldest first, 1 where a pixel entered the\n"
                               "reconstruction: a uint8 array of window x height x width; None before the\n"
                               "first result.")
        .def_property_readonly("frame_count", &Engine::frameCount, "Frames added so far.")
        .def_property_readonly("width", &Engine::width)
        .def_property_readonly("height", &Engine::height)
        .def_property_readonly("window", &Engine::window)
        .def_property_readonly("reference", &Engine::reference, "The reference frame, counted back from the newest.")
        .def_property_readonly("registration", &Engine::registration)
        .def("__repr__", [](const Engine& engine) {
            return "Engine(" + std::to_string(engine.width()) + ", " + std::to_string(engine.height()) +
                   ", window=" + std::to_string(engine.window()) + ", registration='" + engine.registration() +
                   "', frames added: " + std::to_string(engine.frameCount()) + ")";
        });
}
