// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// Kernels are the inner loops of the sound. Their sources, in the folders "kernels", are compiled
// once for each instruction set, with ZEPHRA_ISA naming it. Whatever a kernel reaches and every
// other source reaches too (vectors, formulas) lives in the inline namespace of that name: an
// inline function compiled for AVX2 must never be the copy that the linker picks for everybody.
#if !defined(ZEPHRA_ISA)
#define ZEPHRA_ISA baseline
#endif

namespace zephra {

/// Instruction sets that kernels are compiled for, each holding those before it. All give the
/// same bytes.
enum class Isa : int { baseline = 0, avx2 = 1, avx512 = 2 };

inline namespace ZEPHRA_ISA {
inline constexpr Isa kIsa = Isa::ZEPHRA_ISA; ///< of the source being compiled
}

/// The widest one that this machine has. [any]
Isa widestIsa() noexcept;
/// That, or the lesser one that the environment's ZEPHRA_ISA named at first call: "baseline",
/// "avx2" or "avx512". [any]
Isa chosenIsa() noexcept;
const char* nameOf(Isa isa) noexcept;

/// What `kernel.template operator()<isa>()` gives for an instruction set that is known only when
/// the program runs: a pointer to the kernel of that set.
template <class Kernel> auto kernelFor([[maybe_unused]] Isa isa, Kernel kernel) noexcept
{
#if defined(__x86_64__)
    if (isa == Isa::avx512)
        return kernel.template operator()<Isa::avx512>();
    if (isa == Isa::avx2)
        return kernel.template operator()<Isa::avx2>();
#endif
    return kernel.template operator()<Isa::baseline>();
}

} // namespace zephra
