/* SPDX-License-Identifier: Proprietary */
#ifndef VOREL_EXPORT_H
#define VOREL_EXPORT_H

/* Symbols are hidden by default; VRLIB_API marks what the library exports.
   Plain C so that the C interface header can use it. */
#if defined(_WIN32)
#if defined(VRLIB_BUILDING)
#define VRLIB_API __declspec(dllexport)
#else
#define VRLIB_API __declspec(dllimport)
#endif
#else
#define VRLIB_API __attribute__((visibility("default")))
#endif

#endif
