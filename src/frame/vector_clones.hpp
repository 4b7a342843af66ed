// The attribute that gives a memory-bound loop an AVX2 clone picked at load
// time on x86-64 ELF hosts (GCC). The vector code computes the same bytes as
// the baseline clone: no FMA is ever enabled and -ffp-contract=off holds.
#pragma once

#if defined(__GNUC__) && defined(__x86_64__) && defined(__ELF__) && !defined(__clang__)
#define EFFECTS_VECTOR_CLONES __attribute__((target_clones("avx2", "default"), flatten))
#else
#define EFFECTS_VECTOR_CLONES
#endif
