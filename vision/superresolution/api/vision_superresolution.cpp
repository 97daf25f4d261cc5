// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/api/vision_superresolution.h"

#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/api/CameraAndLens.h"
#include "vorel/Exception.h"
#include "vorel/ImageIO.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <vector>

namespace {

using Engine = vorel::vision::SrFloat<vorel::vision::SrFloatRegistration2>;

constexpr int windowSize = 5;
constexpr int failure = -999;
// Far beyond any thermal sensor, and small enough that every buffer size, up to
// the padded high-resolution grids, stays within int.
constexpr long long maxSide = 32768;
constexpr long long maxPixels = 1LL << 24;

struct Context {
    int width = 0;
    int height = 0;
    cv::Mat_<float> output;
    std::unique_ptr<Engine> engine;  // null: the slot is free
    vorel::exp::ImageIO imageDump{2};
    int frameCount = 0;
};

// Handles are indices; records stay in the table and free slots are reused.
std::vector<Context> contexts;
std::string lastError;

Context* findContext(int context) {
    if (context < 0 || context >= static_cast<int>(contexts.size()) || !contexts[context].engine) {
        lastError = "Context invalid.";
        return nullptr;
    }
    return &contexts[context];
}

// Turns the exception in flight into the error text; call only inside a catch block.
int failWithCurrentException() {
    try {
        throw;
    } catch (const vorel::Exception& exception) {
        lastError = exception.what();
    } catch (const cv::Exception& exception) {
        lastError = "cv::Exception: " + exception.err;
    } catch (...) {
        lastError = "Unknown exception in addImage()";
    }
    return failure;
}

}  // namespace

int SuperResolution_init(int width, int height) {
    // The log file setting is read and dropped on purpose: the frame dump stays closed.
    if (const char* logFile = std::getenv("VRLIB_LOG_FILE")) {
        [[maybe_unused]] const std::string ignored(logFile);
    }

    const auto freeSlot = std::find_if(contexts.begin(), contexts.end(), [](const Context& c) { return !c.engine; });
    const int slot = static_cast<int>(freeSlot - contexts.begin());
    if (freeSlot == contexts.end()) contexts.emplace_back();
    Context& context = contexts[slot];
    try {
        if (width < 0 || height < 0 || width > maxSide || height > maxSide ||
            static_cast<long long>(width) * height > maxPixels)
            throw vorel::Exception("Invalid image size " + std::to_string(width) + " x " + std::to_string(height) +
                                       ": width and height must lie in 0.." + std::to_string(maxSide) +
                                       " and their product must not exceed " + std::to_string(maxPixels) + ".",
                                   VOREL_PLACE);
        context.engine = std::make_unique<Engine>(width, height, windowSize, 2.0f);
        context.width = width;
        context.height = height;
        context.frameCount = 0;
        context.output.create(2 * height, 2 * width);
        // Before the first result, and after a window that never registered, the copy shows zeros.
        context.output.setTo(0.0f);
        context.engine->setReferenceIndex(3);
        context.engine->setWeightTV(400.0f);
        context.engine->setRegError(0.0001f);
        context.engine->setRelativeResidue(0.007f);
        return slot;
    } catch (const vorel::Exception& exception) {
        lastError = exception.what();
        return -1;
    } catch (const cv::Exception& exception) {
        lastError = "cv::Exception: " + exception.err;
    } catch (const std::bad_alloc&) {
        lastError = "Not enough memory for images of " + std::to_string(width) + " x " + std::to_string(height) + ".";
    }
    // Out of memory: a half-built context must not look usable.
    context.engine.reset();
    context.output.release();
    context.width = 0;
    context.height = 0;
    return -1;
}

int SuperResolution_release(int context) {
    Context* record = findContext(context);
    if (!record) return failure;
    record->engine.reset();
    record->output.release();
    record->height = 0;
    record->width = 0;
    if (record->imageDump.isOpen()) record->imageDump.close();
    return 0;
}

int SuperResolution_setReferenceFrame(int context, int index) {
    Context* record = findContext(context);
    if (!record) return failure;
    record->engine->setReferenceIndex(index);  // its const char* exception is left to the host
    return 0;
}

int SuperResolution_setCameraAndLensType(int context, const char* description) {
    // No context check: the host calls this for live contexts only.
    // NULL describes nothing, as an empty text does: the default blur.
    contexts[context].engine->setPsfSigma(vorel::vision::psfSigmaOfCameraAndLens(description ? description : ""));
    return 0;
}

int SuperResolution_setThreadCount(int context, int count) {
    Context* record = findContext(context);
    if (!record) return failure;
    try {
        record->engine->setThreadCount(count);
    } catch (const char* text) {
        lastError = text;
        return failure;
    } catch (const std::system_error& error) {
        lastError = std::string("Could not start the threads: ") + error.what();
        return failure;
    }
    return 0;
}

int SuperResolution_addImage(int context, const float* frame) {
    Context* record = findContext(context);
    if (!record) return failure;
    if (record->width == 0 || record->height == 0) {
        lastError = "Size of expected Ir images unknown";
        return failure;
    }
    if (!frame) {
        lastError = "ir image data pointer is NULL";
        return failure;
    }
    try {
        const cv::Mat_<float> image(record->height, record->width, const_cast<float*>(frame));
        if (record->imageDump.isOpen()) record->imageDump << image;

        int result = 0;
        double minVal = 0.0;
        double maxVal = 0.0;
        cv::minMaxLoc(image, &minVal, &maxVal);
        // A flat frame is only flagged: it is used all the same.
        if (!(maxVal - minVal >= static_cast<double>(record->engine->getMinStructureThreshold()))) {
            lastError = "  image has not enough structure";
            result = -4;
        }
        const int code = record->engine->addFrame(frame);
        ++record->frameCount;
        const bool producing = record->frameCount >= windowSize;
        const float value = producing ? record->engine->computeSR(record->output[0]) : 0.0f;
        if (code == -2 || (producing && value == -2.0f)) result = -2;
        if (value == -3.0f) result = -3;
        return result;
    } catch (...) {
        return failWithCurrentException();
    }
}

int SuperResolution_queryOutputImageSize(int context, int* width, int* height) {
    Context* record = findContext(context);
    if (!record) return failure;
    int result = 0;
    if (record->frameCount < windowSize) {
        lastError = "Not enough input images (<5)";
        try {
            record->engine->computeSR(record->output[0]);
            result = -5;
        } catch (...) {
            result = failWithCurrentException();
        }
    }
    *width = record->output.cols;
    *height = record->output.rows;
    return result;
}

int SuperResolution_getSuperresolutionImage(int context, float* destination) {
    Context* record = findContext(context);
    if (!record) return failure;
    // A NULL destination ends below, whatever the frame count says.
    int result = 0;
    if (record->frameCount < windowSize) {
        lastError = "Not enough input images (<5)";
        result = -5;
    }
    if (destination && record->output.data) {
        std::copy_n(record->output[0], record->output.total(), destination);
        return result;
    }
    lastError = "Memcpy called on nullptr!!!!";
    return failure;
}

int SuperResolution_getErrorMessage(char* destination, unsigned capacity) {
    std::strncpy(destination, lastError.c_str(), capacity);
    return 0;
}
