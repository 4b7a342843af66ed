// The DynamicRange... kernels built for any processor (SSE2 on x86-64).
#define EFFECTS_RANGE_TABLE range_kernels_baseline
#include "stats/range_kernels.inl"
