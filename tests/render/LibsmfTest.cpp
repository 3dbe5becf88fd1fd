// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/MidiFile.h"

#include "MidiBytes.h"

#include <gtest/gtest.h>
#include <random>
#include <smf.h>

// Good files read by libsmf give the same messages at the same times.
namespace zephra::render::test {
namespace {

std::vector<PlayedMessage> readByLibsmf(const Bytes& file)
{
    smf_t* song = smf_load_from_memory(file.data(), static_cast<int>(file.size()));
    if (!song)
        return {};
    smf_rewind(song); // else the first message of each track may come late
    std::vector<PlayedMessage> messages;
    while (const smf_event_t* event = smf_get_next_event(song)) {
        if (smf_event_is_metadata(event) || smf_event_is_sysex(event))
            continue;
        const unsigned char* bytes = event->midi_buffer;
        messages.push_back(
            {event->time_seconds,
             {bytes[0], bytes[1], event->midi_buffer_length > 2 ? bytes[2] : std::uint8_t{0}}});
    }
    smf_delete(song);
    return messages;
}

/// A song of random but well-formed events; the first track holds the tempos.
Bytes randomSong(unsigned seed)
{
    std::minstd_rand random(seed);
    const auto below = [&random](unsigned limit) {
        return static_cast<std::uint8_t>(random() / 7 % limit);
    };
    Bytes file = header(1, 4, 480);
    for (int t = 0; t < 4; ++t) {
        Bytes events;
        for (int i = 0; i < 200; ++i) {
            if (below(3) == 0)
                events.push_back(static_cast<std::uint8_t>(0x80 | below(8)));
            events.push_back(below(128));
            if (t == 0 && below(4) == 0)
                events.insert(events.end(), {0xff, 0x51, 3, below(16), below(255), 1});
            else if (below(4) == 0)
                events.insert(events.end(),
                              {static_cast<std::uint8_t>(0xc0 | 16 * below(2)), below(128)});
            else
                events.insert(events.end(), {static_cast<std::uint8_t>(0x80 + 16 * below(4)),
                                             below(128), below(128)});
        }
        const Bytes whole = track(events);
        file.insert(file.end(), whole.begin(), whole.end());
    }
    return file;
}

TEST(MidiFile, AgreesWithLibsmfOnGoodFiles)
{
    for (unsigned seed = 1; seed <= 20; ++seed) {
        const Bytes file = randomSong(seed);
        const Song song = parseMidi(file, 120.0);
        const auto expected = readByLibsmf(file);
        ASSERT_EQ(song.messages.size(), expected.size()) << seed;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            ASSERT_EQ(song.messages[i].message, expected[i].message) << seed << " at " << i;
            ASSERT_NEAR(song.messages[i].seconds, expected[i].seconds, 1e-9) << seed;
        }
    }
}

} // namespace
} // namespace zephra::render::test
