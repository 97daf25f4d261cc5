/* SPDX-License-Identifier: Proprietary */
#ifndef VISION_SUPERRESOLUTION_H
#define VISION_SUPERRESOLUTION_H

/*
 * C interface of vision_superresolution: multi-frame super-resolution of
 * thermal images. From a burst of low-resolution frames of one scene, taken
 * with small hand or sensor movements between them, it computes one image of
 * twice the width and twice the height.
 *
 * Life cycle of a context:
 *   int ctx = SuperResolution_init(width, height);      // >= 0, or -1
 *   SuperResolution_setCameraAndLensType(ctx, "k425 FOV 25");  // optional
 *   for (each frame)                                     // width*height floats
 *       if (SuperResolution_addImage(ctx, frame) == -999) ... // error
 *   // from the fifth frame on, every addImage recomputes the result:
 *   float* out = malloc(sizeof(float) * 4 * width * height);
 *   SuperResolution_getSuperresolutionImage(ctx, out);   // 2*width x 2*height
 *   SuperResolution_release(ctx);
 *
 * The engine keeps a sliding window of the last 5 frames; the reference frame
 * is the 4th newest unless SuperResolution_setReferenceFrame says otherwise.
 * Images are row-major float arrays with a row stride equal to their width.
 *
 * Result codes:
 *     0  success
 *    -1  SuperResolution_init failed (see SuperResolution_getErrorMessage)
 *    -2  a frame had defective pixels that could not be repaired from neighbours
 *    -3  the result is computed, but some frame had half or more pixels unusable
 *    -4  the frame's value range is below the structure threshold (frame used anyway)
 *    -5  fewer than 5 frames so far: no result yet
 *  -999  error: invalid context, null pointer or a failure inside the library
 * Every failing call, and the -4 warning, stores a text that
 * SuperResolution_getErrorMessage returns; successful calls leave it as it is.
 *
 * VISION_SUPERRESOLUTION_VERSION_MAJOR/MINOR/PATCH, _NUMBER and _STRING give the
 * version of these headers; the major number is the shared library's SONAME.
 *
 * Threads: the context table and the error text are process-wide and not
 * synchronised; call the interface from one thread at a time.
 */

#include "vorel/Export.h"
#include "vision/superresolution/api/vision_superresolution_version.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Creates a context for frames of width x height pixels and returns its handle
   (>= 0; a released handle is reused), or -1 with the error text set: for a
   negative side, a side above 32768, more than 16777216 pixels, or too little
   memory. A size of 0 is accepted (such a context takes no frames). */
VRLIB_API int SuperResolution_init(int width, int height);

/* Destroys the context's engine and frees its handle. 0, or -999 for an invalid context. */
VRLIB_API int SuperResolution_release(int context);

/* Chooses the reference frame, counted back from the newest frame (0 = newest,
   default 3). 0, or -999 for an invalid context. An index outside 0..4 is
   rejected by a C++ exception (const char*) that leaves this function. */
VRLIB_API int SuperResolution_setReferenceFrame(int context, int index);

/* Chooses the sensor blur from a camera and lens description such as
   "k425 FOV 25" (a model number and "FOV" with the lens's field of view);
   unknown descriptions and NULL select the default blur. Always returns 0. The context is
   not checked: call it only for a live context. */
VRLIB_API int SuperResolution_setCameraAndLensType(int context, const char* description);

/* An addition to the eight functions above: the number of threads (the
   caller's included) that recompute the image; default 1, all work on the
   caller's thread. The workers start here, once. The image is the same for
   every count. Returns 0, or -999 for an invalid context or a count below 1
   ("Invalid number of threads specified."). A count above the cores is allowed. */
VRLIB_API int SuperResolution_setThreadCount(int context, int count);

/* Adds a frame of width x height floats (copied; the caller keeps ownership).
   From the fifth frame on, recomputes the super-resolved image. Returns 0, -2,
   -3, -4 or -999 (see the result codes). A window that cannot be registered
   still returns 0 and leaves the previous image in place. A frame refused for
   too many defective pixels (-999) still takes its place in the window: until
   five more frames have come, the image is not recomputed. */
VRLIB_API int SuperResolution_addImage(int context, const float* frame);

/* Writes the output size (2*width, 2*height). Returns 0, -5 before the fifth
   frame (sizes are written all the same), or -999. Pointers must not be NULL. */
VRLIB_API int SuperResolution_queryOutputImageSize(int context, int* width, int* height);

/* Copies the super-resolved image, 2*width x 2*height floats, into destination.
   Returns 0; -5 before the fifth frame (the not yet computed pixels are copied
   all the same); -999 for an invalid context or a NULL destination. Pixels
   that no reconstruction has written yet are 0. */
VRLIB_API int SuperResolution_getSuperresolutionImage(int context, float* destination);

/* Copies the last error text as strncpy does: at most capacity bytes, without a
   terminator when the text is capacity characters or longer. Always returns 0. */
VRLIB_API int SuperResolution_getErrorMessage(char* destination, unsigned capacity);

#ifdef __cplusplus
}
#endif

#endif
