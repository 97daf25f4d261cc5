/* SPDX-License-Identifier: Proprietary */
/* Compiled as strict C99: the public header must need nothing beyond C. */
#include "vision/superresolution/api/vision_superresolution.h"

#include "PublicHeaderC99.h"

#include <stdlib.h>
#include <string.h>

#if VISION_SUPERRESOLUTION_VERSION_NUMBER != VISION_SUPERRESOLUTION_VERSION_MAJOR * 10000 +   \
                                                 VISION_SUPERRESOLUTION_VERSION_MINOR * 100 + \
                                                 VISION_SUPERRESOLUTION_VERSION_PATCH
#error "inconsistent version macros"
#endif

const char* cHostVersion(void) { return VISION_SUPERRESOLUTION_VERSION_STRING; }

int cHostVersionMajor(void) { return VISION_SUPERRESOLUTION_VERSION_MAJOR; }

int cHostLifeCycle(int width, int height, int* outWidth, int* outHeight, char* message, unsigned capacity) {
    float* frame = (float*)calloc((size_t)width * (size_t)height, sizeof(float));
    const int context = SuperResolution_init(width, height);
    int code;
    if (!frame || context < 0) {
        free(frame);
        return -1;
    }
    code = SuperResolution_addImage(context, frame); /* flat: flagged -4 */
    SuperResolution_getErrorMessage(message, capacity);
    if (SuperResolution_queryOutputImageSize(context, outWidth, outHeight) != -5) code = -100;
    if (SuperResolution_release(context) != 0) code = -101;
    free(frame);
    return code;
}
