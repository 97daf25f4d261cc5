/* SPDX-License-Identifier: Proprietary */
/* A minimal host: feeds a synthetic burst through the C interface and prints
   the size and value range of the super-resolved image. Exit status 0 on success. */
#include "vision/superresolution/api/vision_superresolution.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

enum { WIDTH = 64, HEIGHT = 48, FRAMES = 6 };

/* A warm scene of blobs and stripes (degrees), moved by (dx, dy) pixels. */
static void render(float* frame, float dx, float dy) {
    int x, y;
    for (y = 0; y < HEIGHT; ++y) {
        for (x = 0; x < WIDTH; ++x) {
            const double u = x - dx, v = y - dy;
            frame[y * WIDTH + x] =
                (float)(28.0 + 4.0 * sin(u * 0.35) * cos(v * 0.3) + 3.0 * sin((u + 2.0 * v) * 0.15) + 0.05 * u);
        }
    }
}

static int fail(const char* what) {
    char message[128] = {0};
    SuperResolution_getErrorMessage(message, sizeof message - 1);
    fprintf(stderr, "%s failed: %s\n", what, message);
    return 1;
}

int main(void) {
    static const float shifts[FRAMES][2] = {{0, 0}, {0.5f, 0}, {0, 0.5f}, {0.5f, 0.5f}, {1.25f, -0.75f}, {-0.5f, 1}};
    float* frame = malloc(sizeof(float) * WIDTH * HEIGHT);
    float* result = malloc(sizeof(float) * 4 * WIDTH * HEIGHT);
    int context, i, width = 0, height = 0;
    float low, high;

    printf("vision_superresolution %s\n", VISION_SUPERRESOLUTION_VERSION_STRING);
    context = SuperResolution_init(WIDTH, HEIGHT);
    if (!frame || !result || context < 0) return fail("SuperResolution_init");
    SuperResolution_setCameraAndLensType(context, "k425 FOV 25");
    for (i = 0; i < FRAMES; ++i) {
        render(frame, shifts[i][0], shifts[i][1]);
        if (SuperResolution_addImage(context, frame) == -999) return fail("SuperResolution_addImage");
    }
    if (SuperResolution_queryOutputImageSize(context, &width, &height) != 0)
        return fail("SuperResolution_queryOutputImageSize");
    if (SuperResolution_getSuperresolutionImage(context, result) != 0)
        return fail("SuperResolution_getSuperresolutionImage");

    low = high = result[0];
    for (i = 1; i < width * height; ++i) {
        if (result[i] < low) low = result[i];
        if (result[i] > high) high = result[i];
    }
    printf("result %d x %d, values %.2f .. %.2f\n", width, height, low, high);
    SuperResolution_release(context);
    free(frame);
    free(result);
    return width == 2 * WIDTH && height == 2 * HEIGHT && low > 15.0f && high < 45.0f ? 0 : 1;
}
