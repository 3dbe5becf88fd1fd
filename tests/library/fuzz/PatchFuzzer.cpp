// SPDX-License-Identifier: GPL-3.0-or-later
#include "PatchBytes.h"

#include <cstdlib>

/// libFuzzer entry over chunks and program files.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    if (!zephra::test::patchBytesAreTakenWell({bytes, size}))
        std::abort();
    return 0;
}
