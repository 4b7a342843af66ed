// The conversion kernels built for x86-64 processors with AVX2.
#define EFFECTS_ISA_NAMESPACE isa_avx2
#define EFFECTS_KERNEL_TABLE conversion_kernels_avx2
#define EFFECTS_RADIANCE_TABLE radiance_row_kernels_avx2
#include "frame/convert_kernels.inl"
