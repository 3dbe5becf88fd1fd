// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/Isa.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace zephra {

Isa widestIsa() noexcept
{
#if defined(__x86_64__)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
        __builtin_cpu_supports("avx512dq"))
        return Isa::avx512;
    if (__builtin_cpu_supports("avx2"))
        return Isa::avx2;
#endif
    return Isa::baseline;
}

Isa chosenIsa() noexcept
{
    static const Isa chosen = [] {
        const Isa widest = widestIsa();
        const char* const wish = std::getenv("ZEPHRA_ISA");
        for (const Isa isa : {Isa::baseline, Isa::avx2, Isa::avx512})
            if (wish != nullptr && std::string_view(wish) == nameOf(isa))
                return std::min(isa, widest);
        return widest;
    }();
    return chosen;
}

const char* nameOf(Isa isa) noexcept
{
    switch (isa) {
    case Isa::baseline: break;
    case Isa::avx2: return "avx2";
    case Isa::avx512: return "avx512";
    }
    return "baseline";
}

} // namespace zephra
