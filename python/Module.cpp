// SPDX-License-Identifier: Proprietary
// The extension module vision_superresolution._core; the package's __init__.py
// adds super_resolve() on top.
#include "BadPixels.h"
#include "BurstTools.h"
#include "Engine.h"
#include "ReferenceEngine.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <string>

namespace py = pybind11;
using vorel::python::Engine;
using vorel::python::EngineOptions;
using vorel::python::Outcome;
using vorel::python::ReferenceEngine;

namespace {

// The engines read a frame in place while the GIL is released, so nothing is
// converted here: a frame of another type, shape or layout is refused.
py::array arrayOf(const py::handle& object, const std::string& name, const std::string& types) {
    if (!py::isinstance<py::array>(object))
        throw py::type_error(name + " must be a numpy array of " + types + ", got " +
                             std::string(py::str(py::type::of(object).attr("__name__"))));
    return py::reinterpret_borrow<py::array>(object);
}

std::string dtypeOf(const py::array& array) { return py::str(array.dtype()); }

template <class Frames>
void requireFrameLayout(const py::array& array, const std::string& name, const Frames& engine) {
    if (array.ndim() != 2)
        throw py::value_error(name + " must be 2-D (rows x columns), got " + std::to_string(array.ndim()) + "-D");
    if (array.shape(0) != engine.height() || array.shape(1) != engine.width())
        throw py::value_error(name + " must have " + std::to_string(engine.height()) + " rows and " +
                              std::to_string(engine.width()) + " columns, got " + std::to_string(array.shape(0)) +
                              " x " + std::to_string(array.shape(1)));
    constexpr int alignedRows = py::detail::npy_api::NPY_ARRAY_C_CONTIGUOUS_ | py::detail::npy_api::NPY_ARRAY_ALIGNED_;
    if ((array.flags() & alignedRows) != alignedRows)
        throw py::value_error(name + " must be C-contiguous and aligned; pass numpy.ascontiguousarray(" + name + ")");
}

const float* checkedFrame(const Engine& engine, const py::handle& frame) {
    const py::array array = arrayOf(frame, "frame", "float32");
    if (!py::array_t<float>::check_(array))
        throw py::type_error("frame must be float32, got " + dtypeOf(array) +
                             "; convert it with frame.astype(numpy.float32)");
    requireFrameLayout(array, "frame", engine);
    return static_cast<const float*>(array.data());
}

// A height x width image of T for the reference engine, named in the messages.
template <class T>
cv::Mat_<T> checkedImage(const ReferenceEngine& engine, const py::handle& object, const std::string& name,
                         const char* type) {
    const py::array array = arrayOf(object, name, type);
    if (!py::array_t<T>::check_(array)) throw py::type_error(name + " must be " + type + ", got " + dtypeOf(array));
    requireFrameLayout(array, name, engine);
    return cv::Mat_<T>(engine.height(), engine.width(), static_cast<T*>(const_cast<void*>(array.data())));
}

// A value per pixel: one number for all, or a float32 image.
cv::Mat_<float> checkedValues(const ReferenceEngine& engine, const py::handle& object, const std::string& name) {
    if (py::isinstance<py::array>(object)) return checkedImage<float>(engine, object, name, "float32");
    return cv::Mat_<float>(engine.height(), engine.width(),
                           py::cast<float>(py::float_(py::reinterpret_borrow<py::object>(object))));
}

Outcome addToReference(ReferenceEngine& engine, const py::handle& frame) {
    const py::array array = arrayOf(frame, "frame", "float32 or int16");
    const bool counts = py::array_t<short>::check_(array);
    if (engine.calibrated() && !counts)
        throw py::type_error("a calibrated engine takes int16 counts, got " + dtypeOf(array));
    if (!counts && !py::array_t<float>::check_(array))
        throw py::type_error("frame must be float32 or int16 counts, got " + dtypeOf(array) +
                             "; convert it with frame.astype(numpy.float32), or numpy.int16 for counts up to 32767");
    requireFrameLayout(array, "frame", engine);
    const py::gil_scoped_release unlocked;
    if (counts) return engine.add(static_cast<const short*>(array.data()));
    return engine.add(static_cast<const float*>(array.data()));
}

bool hasResult(const Engine& engine) { return engine.hasResult(); }
bool hasResult(const ReferenceEngine& engine) { return engine.result() != ReferenceEngine::Result::None; }

py::object resultOf(const Engine& engine) {
    if (!engine.hasResult()) return py::none();
    py::array_t<float> result({2 * engine.height(), 2 * engine.width()});
    engine.copyResult(result.mutable_data());
    return std::move(result);
}

template <class T>
py::object copiedResult(const ReferenceEngine& engine) {
    py::array_t<T> result({2 * engine.height(), 2 * engine.width()});
    engine.copyResult(result.mutable_data());
    return std::move(result);
}

py::object referenceResultOf(const ReferenceEngine& engine) {
    switch (engine.result()) {
        case ReferenceEngine::Result::Values: return copiedResult<float>(engine);
        case ReferenceEngine::Result::Counts: return copiedResult<short>(engine);
        default: return py::none();
    }
}

template <class Frames>
py::object shiftsOf(Frames& engine) {
    if (!hasResult(engine)) return py::none();
    const auto shifts = engine.shifts();
    py::array_t<float> array({static_cast<py::ssize_t>(shifts.size()), py::ssize_t{2}});
    auto out = array.mutable_unchecked<2>();
    for (py::ssize_t i = 0; i < out.shape(0); ++i) {
        out(i, 0) = shifts[static_cast<std::size_t>(i)].x;
        out(i, 1) = shifts[static_cast<std::size_t>(i)].y;
    }
    return std::move(array);
}

template <class Frames>
py::object masksOf(Frames& engine) {
    if (!hasResult(engine)) return py::none();
    const auto masks = engine.masks();
    py::array_t<unsigned char> array(
        {static_cast<py::ssize_t>(masks.size()), py::ssize_t{engine.height()}, py::ssize_t{engine.width()}});
    unsigned char* out = array.mutable_data();
    for (const auto& mask : masks) out = std::copy(mask.begin(), mask.end(), out);
    return std::move(array);
}

// The keywords both engines take.
EngineOptions optionsOf(int width, int height, int window, const std::optional<std::string>& camera,
                        std::optional<int> reference, std::optional<float> tvWeight, std::optional<int> iterations,
                        std::optional<float> psfSigma, bool verbose) {
    EngineOptions options;
    options.width = width;
    options.height = height;
    options.window = window;
    options.camera = camera;
    options.reference = reference;
    options.tvWeight = tvWeight;
    options.iterations = iterations;
    options.psfSigma = psfSigma;
    options.verbose = verbose;
    return options;
}

// What both engines tell about their window.
template <class Frames>
void addWindowProperties(py::class_<Frames>& frames) {
    frames
        .def_property_readonly("shifts", &shiftsOf<Frames>,
                               "Per frame of the last reconstruction, oldest first, its (x, y) shift against\n"
                               "the reference frame in input pixels, as a float32 array of frames x 2; None\n"
                               "before the first result.")
        .def_property_readonly("masks", &masksOf<Frames>,
                               "Per frame of the window, oldest first, 1 where a pixel entered the\n"
                               "reconstruction: a uint8 array of window x height x width; None before the\n"
                               "first result.")
        .def_property_readonly("frame_count", &Frames::frameCount, "Frames added so far.")
        .def_property_readonly("width", &Frames::width)
        .def_property_readonly("height", &Frames::height)
        .def_property_readonly("window", &Frames::window)
        .def_property_readonly("reference", &Frames::reference, "The reference frame, counted back from the newest.");
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
       threads=1, verbose=False)

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
threads         threads per reconstruction, the caller's included (>= 1);
                the result is the same, bit for bit, for every count.
verbose         let the engine's timing lines through to standard output.

Invalid values raise ValueError with the library's text. One call runs at a
time; the GIL is released while the engine computes.)";

const char* const referenceEngineDoc = R"(The first-generation super-resolution engine, also for 16-bit sensor counts.

Like Engine it keeps the last ``window`` frames and, from the frame that fills
the window on, reconstructs an image of twice the width and height, with its own
registration (phase correlation and one sub-pixel step) and minimiser. Frames
are float32 or int16 counts (C-contiguous, height x width); the result is
float32 for float frames and int16, truncated, for counts.

With ``calibrated=True`` the frames are non-uniformity corrected int16 counts
that the engine turns into values (temperatures, radiances) with a two-point
calibration per pixel, given by set_calibration() before the first frame;
every add() then reconstructs from the frames so far and the float32 result
is in the calibration's units.

ReferenceEngine(width, height, *, window=5, camera=None, reference=None,
                tv_weight=None, iterations=None, psf_sigma=None,
                calibrated=False, verbose=False)

The options are Engine's (reference 3 back from the newest by default, tv_weight
400, iterations 8, psf_sigma 0.683). Invalid values raise ValueError with the
library's text. One call runs at a time; the GIL is released while the engine
computes.)";

}  // namespace

PYBIND11_MODULE(_core, m) {
    vorel::python::addBurstTools(m);
    vorel::python::addBadPixels(m);
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

    py::class_<Engine> engine(m, "Engine", engineDoc);
    addWindowProperties(engine);
    engine
        .def(py::init([](int width, int height, int window, std::string registration, std::optional<std::string> camera,
                         std::optional<int> reference, std::optional<float> tvWeight, std::optional<int> iterations,
                         std::optional<float> psfSigma, int threads, bool verbose) {
                 EngineOptions options =
                     optionsOf(width, height, window, camera, reference, tvWeight, iterations, psfSigma, verbose);
                 options.registration = std::move(registration);
                 options.threads = threads;
                 return Engine::create(options);
             }),
             py::arg("width"), py::arg("height"), py::kw_only(), py::arg("window") = 5,
             py::arg("registration") = "corners", py::arg("camera") = py::none(), py::arg("reference") = py::none(),
             py::arg("tv_weight") = py::none(), py::arg("iterations") = py::none(), py::arg("psf_sigma") = py::none(),
             py::arg("threads") = 1, py::arg("verbose") = false)
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
        .def_property_readonly("registration", &Engine::registration)
        .def("__repr__", [](const Engine& engine) {
            return "Engine(" + std::to_string(engine.width()) + ", " + std::to_string(engine.height()) +
                   ", window=" + std::to_string(engine.window()) + ", registration='" + engine.registration() +
                   "', frames added: " + std::to_string(engine.frameCount()) + ")";
        });

    py::class_<ReferenceEngine> referenceEngine(m, "ReferenceEngine", referenceEngineDoc);
    addWindowProperties(referenceEngine);
    referenceEngine
        .def(py::init([](int width, int height, int window, std::optional<std::string> camera,
                         std::optional<int> reference, std::optional<float> tvWeight, std::optional<int> iterations,
                         std::optional<float> psfSigma, bool calibrated, bool verbose) {
                 return std::make_unique<ReferenceEngine>(
                     optionsOf(width, height, window, camera, reference, tvWeight, iterations, psfSigma, verbose),
                     calibrated);
             }),
             py::arg("width"), py::arg("height"), py::kw_only(), py::arg("window") = 5, py::arg("camera") = py::none(),
             py::arg("reference") = py::none(), py::arg("tv_weight") = py::none(), py::arg("iterations") = py::none(),
             py::arg("psf_sigma") = py::none(), py::arg("calibrated") = false, py::arg("verbose") = false)
        .def("add", &addToReference, py::arg("frame"),
             "add(frame) -> Outcome\n\n"
             "Adds a frame: a C-contiguous float32 or int16 array of height rows and width\n"
             "columns, int16 only for a calibrated engine (TypeError for another type,\n"
             "ValueError for another shape or layout; nothing is converted). Reconstructs\n"
             "once the window is full, or always when calibrated. RuntimeError when the\n"
             "library fails, or when a calibrated engine has no calibration yet.")
        .def(
            "set_calibration",
            [](ReferenceEngine& engine, const py::handle& countsLow, const py::handle& valueLow,
               const py::handle& countsHigh, const py::handle& valueHigh) {
                if (!engine.calibrated())
                    throw py::value_error("set_calibration() needs an engine made with calibrated=True");
                engine.setCalibration(checkedImage<short>(engine, countsLow, "counts_low", "int16"),
                                      checkedValues(engine, valueLow, "value_low"),
                                      checkedImage<short>(engine, countsHigh, "counts_high", "int16"),
                                      checkedValues(engine, valueHigh, "value_high"));
            },
            py::arg("counts_low"), py::arg("value_low"), py::arg("counts_high"), py::arg("value_high"),
            "set_calibration(counts_low, value_low, counts_high, value_high)\n\n"
            "The two-point calibration of a calibrated engine: per pixel, the int16 counts\n"
            "of two scenes (height x width arrays) and their values, each a number for\n"
            "all pixels or a float32 array per pixel. A pixel reads value = gain * counts +\n"
            "offset through both points; pixels with equal counts, or a gain or offset\n"
            "beyond +-1000, take the mean of their usable neighbours. May be called again.")
        .def_property_readonly("result", &referenceResultOf,
                               "The last reconstruction as a new array of 2 * height x 2 * width: float32,\n"
                               "or int16 for uncalibrated counts; None before the first.")
        .def_property_readonly("calibrated", &ReferenceEngine::calibrated)
        .def("__repr__", [](const ReferenceEngine& engine) {
            return "ReferenceEngine(" + std::to_string(engine.width()) + ", " + std::to_string(engine.height()) +
                   ", window=" + std::to_string(engine.window()) + (engine.calibrated() ? ", calibrated=True" : "") +
                   ", frames added: " + std::to_string(engine.frameCount()) + ")";
        });
}
