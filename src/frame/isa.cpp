// Which instruction set the kernels run with: the best the processor has,
// decided once; tests may pin another to compare the builds byte for byte.
#include "frame/isa.hpp"

namespace effects::detail {
namespace {

KernelIsa detect() {
#if EFFECTS_HAVE_ISA_KERNELS
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq"))
        return KernelIsa::Avx512;
    if (__builtin_cpu_supports("avx2")) return KernelIsa::Avx2;
#endif
    return KernelIsa::Baseline;
}

KernelIsa& pinned() {
    static KernelIsa isa = best_kernel_isa();
    return isa;
}

}  // namespace

KernelIsa best_kernel_isa() {
    static const KernelIsa best = detect();
    return best;
}

bool kernel_isa_supported(KernelIsa isa) { return static_cast<int>(isa) <= static_cast<int>(best_kernel_isa()); }

KernelIsa active_kernel_isa() { return pinned(); }

bool pin_kernel_isa(KernelIsa isa) {
    if (!kernel_isa_supported(isa)) return false;
    pinned() = isa;
    return true;
}

}  // namespace effects::detail
