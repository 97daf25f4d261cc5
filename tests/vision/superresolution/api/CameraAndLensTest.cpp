// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/api/CameraAndLens.h"

#include <gtest/gtest.h>

#include <string>

namespace vorel {
namespace vision {
namespace {

TEST(CameraAndLens, ParsesModelAndLensAndChoosesSigma) {
    struct Row {
        const char* description;
        bool parsed;
        const char* camera;
        int lens;  // 1234: left alone
        float sigma;
    };
    const Row rows[] = {
        {"k425 FOV 22", true, "k425", 22, 0.65f},
        {"k425 FOV23", true, "k425", 23, 0.35f},
        {"FOV 42 k410", true, "k410", 42, 0.81f},         // positions do not matter
        {"k430 and k410 FOV 7", true, "k410", 7, 0.81f},  // 410 is searched first
        {"camera 14251 FOV 3", true, "k425", 3, 0.65f},   // a longer number matches too
        {"k425 FOV-5", true, "k425", -5, 0.65f},
        {"k425 FOV -1", false, "k425", -1, 0.683f},    // -1 marks an unknown lens
        {"k425 FOV wide", true, "k425", 0, 0.65f},     // a failed extraction stores 0
        {"k430", false, "k430", 1234, 0.683f},         // the lens part is required
        {"k425 fov 25", false, "k425", 1234, 0.683f},  // case-sensitive
        {"k999 FOV 25", false, "", 1234, 0.683f},
        {"", false, "", 1234, 0.683f},
        {"k415 FOV 10", true, "k415", 10, 0.01f},
        {"k416 FOV 10", true, "k416", 10, 0.01f},
        {"k420 FOV 10", true, "k420", 10, 0.01f},
        {"k421 FOV 10", true, "k421", 10, 0.01f},
        {"k422 FOV 10", true, "k422", 10, 0.625f},
        {"k430 FOV 10", true, "k430", 10, 0.34f},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.description);
        std::string camera;
        int lens = 1234;
        EXPECT_EQ(parseCameraAndLens(row.description, camera, lens), row.parsed);
        EXPECT_EQ(camera, row.camera);
        EXPECT_EQ(lens, row.lens);
        EXPECT_EQ(psfSigmaOfCameraAndLens(row.description), row.sigma);
    }
}

}  // namespace
}  // namespace vision
}  // namespace vorel
