// The conversion kernels built for x86-64 processors with AVX-512 (F, BW, VL, DQ).
#define EFFECTS_ISA_NAMESPACE isa_avx512
#define EFFECTS_KERNEL_TABLE conversion_kernels_avx512
#define EFFECTS_RADIANCE_TABLE radiance_row_kernels_avx512
#include "frame/convert_kernels.inl"
