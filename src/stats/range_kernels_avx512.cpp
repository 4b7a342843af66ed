// The DynamicRange... kernels built for x86-64 processors with AVX-512 (F,
// BW, VL, DQ) and BMI2.
#define EFFECTS_ISA_NAMESPACE isa_avx512
#define EFFECTS_RANGE_TABLE range_kernels_avx512
#include "stats/range_kernels.inl"
