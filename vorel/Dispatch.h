// SPDX-License-Identifier: Proprietary
#pragma once

// Marks a function whose loops are worth compiling twice on x86-64: once for
// AVX2 and once for the baseline, the loader choosing by the processor. AVX2
// alone brings no fused multiply-add, so both versions round alike. Everything
// the function calls is inlined into it, so the callees' loops follow its target.
// Not under ThreadSanitizer, whose instrumented clone resolvers the loader would
// run before the sanitizer has started.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && defined(__ELF__) && !defined(__SANITIZE_THREAD__)
#define VOREL_DISPATCH_AVX2 __attribute__((target_clones("avx2", "default"), flatten))
#else
#define VOREL_DISPATCH_AVX2
#endif
