// SPDX-License-Identifier: GPL-3.0-or-later
#include "realtime/RealtimeWatch.h"
#include "standalone/LiveInstrument.h"

#include <gtest/gtest.h>

#include <array>

namespace zephra::standalone {
namespace {

TEST(Standalone, PlaysASongAndAKeyboardWithoutAllocationLockOrSystemCall)
{
    constexpr int kBlock = 256;
    LiveInstrument instrument{VstXSynthOptions{}};
    instrument.prepare(48000.0, kBlock);
    Song song;
    song.tempos = {{0.01, 90.0}};
    for (int i = 0; i < 2000; ++i) // more at once than one call takes
        song.messages.push_back({0.02, {0xb0, 1, static_cast<std::uint8_t>(i % 128)}});
    song.messages.push_back({0.05, {0x90, 60, 100}});
    song.messages.push_back({0.1, {0x80, 60, 0}});
    instrument.play(song);

    Offences seen;
    std::array<float, kBlock> left{}, right{};
    for (int block = 0; block < 400; ++block) {
        for (int i = 0; i < (block == 100 ? 5000 : 3); ++i) // too many once
            instrument.midi().push({Clock::now(), {0x90, static_cast<std::uint8_t>(i + 40), 100}});
        const RealtimeWatch watch(seen);
        instrument.render(left.data(), right.data(), kBlock, Clock::now());
    }
    EXPECT_EQ(seen.count(), 0) << seen;
    EXPECT_GT(instrument.takePeak(), 0.01f);
}

} // namespace
} // namespace zephra::standalone
