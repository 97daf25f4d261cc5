// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/api/CameraAndLens.h"

#include <gtest/gtest.h>

#include <string>

namespace vorel {
namespace vision {
namespace {

TEST(CameraAndLens, ParsesModelAndLens) {
    struct Row {
        const char* description;
        bool parsed;
        const char* camera;
        int lens;
    };
    const Row rows[] = {
        {"k425 FOV 25", true, "k425", 25},
        {"k425 FOV25", true, "k425", 25},
        {"FOV 42 k410", true, "k410", 42},         // positions do not matter
        {"k430 and k410 FOV 7", true, "k410", 7},  // 410 is searched first
        {"camera 14251 FOV 3", true, "k425", 3},   // a longer number matches too
        {"k425 FOV-5", true, "k425", -5},
        {"k425 FOV -1", false, "k425", -1},  // -1 marks an unknown lens
        {"k425 FOV wide", true, "k425", 0},  // a failed extraction stores 0
        {"k430", false, "k430", 1234},       // the lens part is required
        {"k999 FOV 25", false, "", 1234},
        {"", false, "", 1234},
        {"k425 fov 25", false, "k425", 1234},  // case-sensitive
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.description);
        std::string camera;
        int lens = 1234;
        EXPECT_EQ(parseCameraAndLens(row.description, camera, lens), row.parsed);
        EXPECT_EQ(camera, row.camera);
        EXPECT_EQ(lens, row.lens);
    }
}

TEST(CameraAndLens, ChoosesSigmaFromTable) {
    struct Row {
        const char* description;
        float sigma;
    };
    const Row rows[] = {
        {"k415 FOV 10", 0.01f},  {"k416 FOV 10", 0.01f}, {"k420 FOV 10", 0.01f}, {"k421 FOV 10", 0.01f},
        {"k422 FOV 10", 0.625f}, {"k425 FOV 22", 0.65f}, {"k425 FOV 23", 0.35f}, {"k425 FOV-5", 0.65f},
        {"k425 FOV -1", 0.683f}, {"k430 FOV 10", 0.34f}, {"k430", 0.683f},       {"k410 FOV 10", 0.81f},
        {"FOV 42 k410", 0.81f},  {"no camera", 0.683f},  {"", 0.683f},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.description);
        EXPECT_EQ(psfSigmaOfCameraAndLens(row.description), row.sigma);
    }
}

}  // namespace
}  // namespace vision
}  // namespace vorel
