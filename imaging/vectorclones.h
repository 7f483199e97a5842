#pragma once

// Marks a loop function for an AVX2 clone beside the default one; the
// loader picks the clone the processor can run. The loops stay plain C++
// that the compiler vectorises. GCC only: clang (14) cannot clone function
// templates, and it builds only the fuzz targets, where speed matters less.
// Not under ThreadSanitizer either: the loader runs the clones' resolvers
// before the sanitizer's runtime is up, and their instrumented code crashes.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_THREAD__)
#    define KESTROVA_VECTOR_CLONES __attribute__((target_clones("avx2", "default")))
#else
#    define KESTROVA_VECTOR_CLONES
#endif
