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

// Of a kernel family's tables, the one built for the active instruction set.
template <class T>
const T* table_for_isa(const T* baseline, const T* avx2, const T* avx512) {
    switch (active_kernel_isa()) {
        case KernelIsa::Avx512: return avx512;
        case KernelIsa::Avx2: return avx2;
        default: return baseline;
    }
}

}  // namespace effects::detail

// The active table of the family whose builds are name_baseline(),
// name_avx2() and name_avx512(); where only the baseline is built (Windows,
// other processors) that one.
#if EFFECTS_HAVE_ISA_KERNELS
#define EFFECTS_ACTIVE_TABLE(name) (*::effects::detail::table_for_isa(name##_baseline(), name##_avx2(), name##_avx512()))
#else
#define EFFECTS_ACTIVE_TABLE(name) (*name##_baseline())
#endif

namespace effects::detail {

}  // namespace effects::detail
