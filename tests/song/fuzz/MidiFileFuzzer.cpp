// SPDX-License-Identifier: GPL-3.0-or-later
#include "song/MidiFile.h"

#include <cstdlib>
#include <stdexcept>

/// libFuzzer entry: whatever the bytes, the reader gives well-formed messages in order or throws.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    try {
        double last = 0.0;
        for (const auto& [seconds, message] : zephra::parseMidi({bytes, size}, 120.0).messages) {
            const bool wellFormed = message.status >= 0x80 && message.status < 0xf0 &&
                                    message.data1 < 0x80 && message.data2 < 0x80;
            if (!wellFormed || !(seconds >= last && seconds <= zephra::kLongestSeconds))
                std::abort();
            last = seconds;
        }
    } catch (const std::runtime_error&) {
    }
    return 0;
}
