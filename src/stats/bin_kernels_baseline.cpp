// The histogram bin kernels built for any processor (SSE2 on x86-64).
#define EFFECTS_BIN_TABLE bin_kernels_baseline
#include "stats/bin_kernels.inl"
