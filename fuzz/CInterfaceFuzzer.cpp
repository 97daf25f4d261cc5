// SPDX-License-Identifier: Proprietary
// Runs byte-coded call sequences against the C interface, as a careless host
// would: small and unusable sizes, frames with NaN, infinities and huge values,
// camera texts, queries and copies on live, released and made-up handles.
// Besides crashes and sanitizer reports, a result code outside the documented
// ones and a wrong output size count as findings.
#include "vision/superresolution/api/vision_superresolution.h"

#include <fuzzer/FuzzedDataProvider.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

namespace {

struct Live {
    int handle;
    int width;
    int height;
};

// Sizes that init must refuse; the rest of the sizes are small, to keep the runs fast.
const int unusableSides[] = {-5, -1, 32769, 100000, INT_MAX, INT_MIN};

float fromBits(std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

float specialValue(FuzzedDataProvider& data) {
    const float inf = std::numeric_limits<float>::infinity();
    const float values[] = {std::numeric_limits<float>::quiet_NaN(),
                            inf,
                            -inf,
                            1e30f,
                            -1e30f,
                            std::numeric_limits<float>::max(),
                            -std::numeric_limits<float>::max(),
                            6000.0f,
                            -300.0f,
                            0.0f,
                            fromBits(129),  // the camera's defect markers
                            fromBits(130),
                            fromBits(132),
                            fromBits(133)};
    return values[data.ConsumeIntegralInRange<std::size_t>(0, std::size(values) - 1)];
}

// A textured scene moved by a quarter-pixel step, so that registration has corners to
// track, with a contrast from flat to huge and a few special values on top.
void fillFrame(FuzzedDataProvider& data, std::vector<float>& frame, const Live& live) {
    const float dx = 0.25f * data.ConsumeIntegralInRange<int>(-8, 8);
    const float dy = 0.25f * data.ConsumeIntegralInRange<int>(-8, 8);
    const float contrasts[] = {0.0f, 0.5f, 10.0f, 1e6f};
    const float contrast = contrasts[data.ConsumeIntegralInRange<int>(0, 3)];
    for (int y = 0; y < live.height; ++y)
        for (int x = 0; x < live.width; ++x)
            frame[y * live.width + x] =
                30.0f + contrast * std::sin(0.9f * (x + dx)) * std::cos(0.7f * (y + dy) + 0.3f * (x + dx));
    const int size = live.width * live.height;
    if (data.ConsumeIntegralInRange<int>(0, 15) == 0) {
        std::fill(frame.begin(), frame.begin() + size, specialValue(data));
        return;
    }
    for (int n = data.ConsumeIntegralInRange<int>(0, 16); n > 0 && size > 0; --n)
        frame[data.ConsumeIntegralInRange<int>(0, size - 1)] = specialValue(data);
}

// Mostly a live handle; sometimes one that was never handed out.
int pickHandle(FuzzedDataProvider& data, const std::vector<Live>& live, std::size_t& index) {
    index = live.size();
    if (!live.empty() && data.ConsumeIntegralInRange<int>(0, 7) != 0) {
        index = data.ConsumeIntegralInRange<std::size_t>(0, live.size() - 1);
        return live[index].handle;
    }
    const int invalid[] = {-1, INT_MIN, 1000, INT_MAX};
    return invalid[data.ConsumeIntegralInRange<int>(0, 3)];
}

void require(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::cout.rdbuf(nullptr);  // the library's timing lines would cost more than the runs
    cv::setNumThreads(0);      // tiny images: a thread pool only adds noise and time
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    FuzzedDataProvider data(bytes, size);
    std::vector<Live> live;
    std::vector<float> frame, image;
    char text[64];
    for (int call = 0; call < 48 && data.remaining_bytes() > 0; ++call) {
        std::size_t index = 0;
        switch (data.ConsumeIntegralInRange<int>(0, 9)) {
            case 0: {
                int width = data.ConsumeIntegralInRange<int>(0, 24);
                int height = data.ConsumeIntegralInRange<int>(0, 24);
                if (data.ConsumeIntegralInRange<int>(0, 7) == 0)
                    width = unusableSides[data.ConsumeIntegralInRange<std::size_t>(0, std::size(unusableSides) - 1)];
                const int handle = SuperResolution_init(width, height);
                require(handle >= -1);
                if (handle >= 0) live.push_back({handle, width, height});
                break;
            }
            case 1:
            case 2:
            case 3: {
                const int handle = pickHandle(data, live, index);
                const Live target = index < live.size() ? live[index] : Live{handle, 4, 4};
                frame.assign(std::max(1, target.width * target.height), 0.0f);
                fillFrame(data, frame, target);
                const int result = SuperResolution_addImage(handle, frame.data());
                require(result == 0 || result == -2 || result == -3 || result == -4 || result == -999);
                break;
            }
            case 4: require(SuperResolution_addImage(pickHandle(data, live, index), nullptr) == -999); break;
            case 5: {
                const int handle = pickHandle(data, live, index);
                require(SuperResolution_setReferenceFrame(handle, data.ConsumeIntegralInRange<int>(0, 4)) ==
                        (index < live.size() ? 0 : -999));
                break;
            }
            case 6: {
                if (live.empty()) break;  // this one call trusts its handle
                const Live& target = live[data.ConsumeIntegralInRange<std::size_t>(0, live.size() - 1)];
                const bool none = data.ConsumeBool();
                const std::string description = data.ConsumeRandomLengthString(24);
                require(SuperResolution_setCameraAndLensType(target.handle, none ? nullptr : description.c_str()) == 0);
                break;
            }
            case 7: {
                const int handle = pickHandle(data, live, index);
                int width = -1, height = -1;
                const int result = SuperResolution_queryOutputImageSize(handle, &width, &height);
                if (index < live.size()) {
                    require(result == 0 || result == -5 || result == -999);
                    require(width == 2 * live[index].width && height == 2 * live[index].height);
                } else {
                    require(result == -999);
                }
                break;
            }
            case 8: {
                const int handle = pickHandle(data, live, index);
                const bool toNull = data.ConsumeIntegralInRange<int>(0, 7) == 0;
                const int pixels = index < live.size() ? 4 * live[index].width * live[index].height : 0;
                image.assign(std::max(1, pixels), 0.0f);
                const int result = SuperResolution_getSuperresolutionImage(handle, toNull ? nullptr : image.data());
                require(result == 0 || result == -5 || result == -999);
                break;
            }
            default: {
                if (data.ConsumeBool()) {
                    const int handle = pickHandle(data, live, index);
                    require(SuperResolution_release(handle) == (index < live.size() ? 0 : -999));
                    if (index < live.size()) live.erase(live.begin() + static_cast<std::ptrdiff_t>(index));
                } else {
                    SuperResolution_getErrorMessage(text, data.ConsumeIntegralInRange<unsigned>(0, sizeof text));
                }
                break;
            }
        }
    }
    for (const Live& context : live) require(SuperResolution_release(context.handle) == 0);
    return 0;
}
