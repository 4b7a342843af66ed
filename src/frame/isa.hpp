// Instruction sets the kernels are built for. A source compiled with extra
// instruction-set flags defines EFFECTS_ISA_NAMESPACE before its includes,
// so that the inline helpers it instantiates (the roundings, the RGBE codec)
// are its own symbols and never stand in for the baseline ones at link time.
#pragma once

#ifndef EFFECTS_ISA_NAMESPACE
#define EFFECTS_ISA_NAMESPACE isa_baseline
#endif

namespace effects::detail {

enum class KernelIsa { Baseline, Avx2, Avx512 };

// The best instruction set of this processor that kernels were built for.
KernelIsa best_kernel_isa();
// Whether the processor runs kernels built for `isa`.
bool kernel_isa_supported(KernelIsa isa);
// The instruction set kernels run with now: the best one, unless a test
// pinned another (not thread-safe: pin only while no kernel runs).
KernelIsa active_kernel_isa();
bool pin_kernel_isa(KernelIsa isa);

}  // namespace effects::detail
