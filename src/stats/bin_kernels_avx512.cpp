// The histogram bin kernels built for x86-64 processors with AVX-512 (F, BW, VL, DQ).
#define EFFECTS_ISA_NAMESPACE isa_avx512
#define EFFECTS_BIN_TABLE bin_kernels_avx512
#include "stats/bin_kernels.inl"
