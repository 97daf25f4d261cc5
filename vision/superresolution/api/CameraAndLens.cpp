// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/api/CameraAndLens.h"

#include <sstream>

namespace vorel {
namespace vision {

bool parseCameraAndLens(const std::string& description, std::string& camera, int& lens) {
    // The first model in this order wins, wherever it stands in the text.
    static const char* const models[] = {"410", "415", "416", "420", "421", "422", "425", "430"};
    const char* model = nullptr;
    for (const char* candidate : models) {
        if (description.find(candidate) != std::string::npos) {
            model = candidate;
            break;
        }
    }
    if (!model) return false;
    camera = std::string("k") + model;

    const std::size_t fov = description.find("FOV");
    if (fov == std::string::npos) return false;
    lens = -1;
    std::stringstream rest(description.substr(fov + 3));
    rest >> lens;
    return lens != -1;
}

float psfSigmaOfCameraAndLens(const std::string& description) {
    constexpr float defaultSigma = 0.683f;
    std::string camera;
    int lens = 0;
    if (!parseCameraAndLens(description, camera, lens)) return defaultSigma;
    if (camera == "k425") return lens < 23 ? 0.65f : 0.35f;

    // 0.01 is intended: for these sensors the blur is practically a single-pixel spike.
    static const struct {
        const char* camera;
        float sigma;
    } table[] = {{"k415", 0.01f},  {"k416", 0.01f}, {"k420", 0.01f}, {"k421", 0.01f},
                 {"k422", 0.625f}, {"k430", 0.34f}, {"k410", 0.81f}};
    for (const auto& row : table) {
        if (camera == row.camera) return row.sigma;
    }
    return defaultSigma;
}

}  // namespace vision
}  // namespace vorel
