// The DynamicRange... kernels built for x86-64 processors with AVX2.
#define EFFECTS_ISA_NAMESPACE isa_avx2
#define EFFECTS_RANGE_TABLE range_kernels_avx2
#include "stats/range_kernels.inl"
