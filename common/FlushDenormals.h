// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#if defined(__SSE2__)
#include <xmmintrin.h>
#endif
#include <cstdint>

namespace zephra {

/// While it lives, denormal results and operands count as zero on this thread; the caller's
/// setting comes back afterwards.
class FlushDenormals {
public:
#if defined(__SSE2__)
    FlushDenormals() noexcept : saved(_mm_getcsr()) { _mm_setcsr(saved | 0x8040u); }
    ~FlushDenormals() { _mm_setcsr(saved); }

private:
    unsigned saved;
#elif defined(__aarch64__)
    FlushDenormals() noexcept
    {
        asm volatile("mrs %0, fpcr" : "=r"(saved));
        const std::uint64_t flushing = saved | (std::uint64_t{1} << 24);
        asm volatile("msr fpcr, %0" ::"r"(flushing));
    }
    ~FlushDenormals() { asm volatile("msr fpcr, %0" ::"r"(saved)); }

private:
    std::uint64_t saved = 0;
#else
    FlushDenormals() noexcept = default;

private:
#endif
    FlushDenormals(const FlushDenormals&) = delete;
    FlushDenormals& operator=(const FlushDenormals&) = delete;
};

} // namespace zephra
