/* SPDX-License-Identifier: Proprietary */
#ifndef PUBLIC_HEADER_C99_H
#define PUBLIC_HEADER_C99_H

/* Entry points of the C99 host in PublicHeaderC99.c, called by the C++ tests. */
#ifdef __cplusplus
extern "C" {
#endif

const char* cHostVersion(void);
int cHostVersionMajor(void);
/* Creates a context, adds one flat frame, reads the error text and the output
   size, releases. Returns the addImage result, or a negative step marker. */
int cHostLifeCycle(int width, int height, int* outWidth, int* outHeight, char* message, unsigned capacity);

#ifdef __cplusplus
}
#endif

#endif
