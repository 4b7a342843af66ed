// The conversion kernels built for any processor (SSE2 on x86-64).
#define EFFECTS_KERNEL_TABLE conversion_kernels_baseline
#define EFFECTS_RADIANCE_TABLE radiance_row_kernels_baseline
#include "frame/convert_kernels.inl"
