// The histogram bin kernels built for x86-64 processors with AVX2.
#define EFFECTS_ISA_NAMESPACE isa_avx2
#define EFFECTS_BIN_TABLE bin_kernels_avx2
#include "stats/bin_kernels.inl"
