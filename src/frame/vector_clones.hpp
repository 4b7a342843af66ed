// Memory-bound loops get an AVX2 clone picked at load time on x86-64 ELF
// hosts; the vector code computes the same bytes as the baseline (no FMA is
// ever enabled, contraction is off everywhere).
#pragma once

// Not under ThreadSanitizer: the clones' resolvers run while the dynamic
// linker relocates the library, before the sanitizer's runtime is ready.
#if defined(__GNUC__) && defined(__x86_64__) && defined(__ELF__) && !defined(__clang__) && \
    !defined(__SANITIZE_THREAD__)
#define EFFECTS_VECTOR_CLONES __attribute__((target_clones("avx2", "default"), flatten))
#else
#define EFFECTS_VECTOR_CLONES
#endif
