// SPDX-License-Identifier: GPL-3.0-or-later
#include "Home.h"
#include "Lv2Host.h"
#include "support/FreshProcess.h"
#include "synth/VstXSynth.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace zephra::lv2 {
namespace {

/// Something that happens in a song: MIDI bytes, or a control port, or the tempo.
struct Happening {
    std::int64_t frame;
    std::vector<int> midi = {};
    int index = -1; ///< host index of a control that moves to `value`, with the block of the frame
    float value = 0.0f;
    float tempo = 0.0f;
};

constexpr int kCutoff = 34;
constexpr int kDelayTime = 57;
constexpr int kEffects = 56;
constexpr std::int64_t kEnd = 24576;

/// Notes, bends, the wheel, a pedal; knobs between; a tempo that the delay follows.
const std::vector<Happening> kSong = {
    {0, {0xb0, 1, 64}},         {3, {0x90, 40, 100}},        {700, {0x91, 52, 127}},
    {1023, {0xe0, 0, 90}},      {1024, {}, kCutoff, 0.8f},   {1500, {0xb0, 64, 127}},
    {2048, {}, kEffects, 1.0f}, {2500, {0x80, 40, 0}},       {3072, {}, kDelayTime, 0.3f},
    {5001, {0xd0, 99}},         {6144, {}, -1, 0.0f, 93.5f}, {8191, {0x90, 47, 64}},
    {9000, {0xb0, 64, 0}},      {10240, {}, kCutoff, 0.35f}, {12001, {0x90, 47, 0}},
    {12003, {0xb0, 123, 0}},
};

/// The song through the plug-in: left and right of each block in turn.
std::vector<float> throughPlugin(const std::vector<Happening>& song, const Offers& offers,
                                 std::uint32_t block)
{
    Lv2Host host(offers);
    std::vector<float> sound;
    for (std::int64_t start = 0; start < kEnd; start += block) {
        for (const Happening& now : song) {
            if (now.frame < start || now.frame >= start + block)
                continue;
            if (now.index >= 0)
                host.controls[static_cast<std::size_t>(now.index)] =
                    portScale(now.index).fromNormalised(now.value);
            else if (now.tempo > 0.0f)
                host.events.tempo(now.frame - start, now.tempo);
            else
                host.events.event(now.frame - start, host.urids(LV2_MIDI__MidiEvent),
                                  Bytes(now.midi.begin(), now.midi.end()));
        }
        const auto part = host.run(block);
        sound.insert(sound.end(), part.begin(), part.end());
    }
    return sound;
}

/// The same from the instrument itself.
std::vector<float> throughEngine(const std::vector<Happening>& song, double rate,
                                 std::uint32_t block)
{
    struct Transport : HostPeer {
        HostTime time(std::uint32_t) noexcept override { return {tempo, HostTime::kTempoValid}; }
        double tempo = 120.0;
    } transport;
    VstXSynthOptions options;
    options.host = &transport;
    options.soundbankRoot = defaultSoundbankRoot();
    VstXSynth synth(options);
    synth.setSampleRate(rate);
    synth.setBlockSize(static_cast<int>(block));

    std::vector<float> sound;
    for (std::int64_t start = 0; start < kEnd; start += block) {
        std::vector<MidiEvent> midi;
        for (const Happening& now : song) {
            if (now.frame < start || now.frame >= start + block)
                continue;
            if (now.index >= 0)
                synth.setParameter(now.index, portScale(now.index).toNormalised(
                                                  portScale(now.index).fromNormalised(now.value)));
            else if (now.tempo > 0.0f)
                transport.tempo = static_cast<double>(now.tempo);
            else
                midi.emplace_back(static_cast<int>(now.frame - start), now.midi[0], now.midi[1],
                                  now.midi.size() > 2 ? now.midi[2] : 0);
        }
        std::vector<const HostEvent*> pointers;
        for (const MidiEvent& event : midi)
            pointers.push_back(&event);
        const HostEvents list{static_cast<std::int32_t>(pointers.size()), pointers.data()};
        synth.processEvents(&list);
        std::vector<float> part(2 * block);
        float* outputs[] = {part.data(), part.data() + block};
        synth.processReplacing(nullptr, outputs, static_cast<int>(block));
        sound.insert(sound.end(), part.begin(), part.end());
    }
    return sound;
}

float loudest(const std::vector<float>& sound)
{
    float peak = 0.0f;
    for (const float x : sound)
        peak = std::max(peak, std::abs(x));
    return peak;
}

TEST(Sound, IsTheEnginesToTheBit)
{
    const Home home;
    const struct {
        double rate;
        std::uint32_t block;
    } rows[] = {{48000.0, 1024}, {44100.0, 512}, {48000.0, 64}, {96000.0, 2048}, {48000.0, 96}};
    for (const auto& row : rows) {
        const auto expected =
            test::inFreshProcess([&] { return throughEngine(kSong, row.rate, row.block); });
        EXPECT_GT(loudest(expected), 0.02f);
        const Offers offers{.rate = row.rate, .maxBlock = static_cast<std::int32_t>(row.block)};
        EXPECT_TRUE(throughPlugin(kSong, offers, row.block) == expected)
            << "at " << row.rate << " Hz in blocks of " << row.block;
    }
}

/// Left, then right, of the sound of blocks of `block` frames.
std::vector<float> channels(const std::vector<float>& sound, std::size_t block)
{
    std::vector<float> split;
    for (const std::size_t channel : {0u, 1u}) {
        for (std::size_t at = channel * block; at < sound.size(); at += 2 * block)
            split.insert(split.end(), sound.begin() + static_cast<std::ptrdiff_t>(at),
                         sound.begin() + static_cast<std::ptrdiff_t>(at + block));
    }
    return split;
}

TEST(Sound, OfBlocksLongerThanToldIsThatOfShorterOnes)
{
    const Home home;
    std::vector<Happening> song = kSong;
    std::erase_if(song, [](const Happening& now) { return now.index >= 0; }); // once a block
    const auto expected =
        channels(test::inFreshProcess([&] { return throughEngine(song, 48000.0, 1024); }), 1024);
    const struct {
        const char* what;
        Offers offers;
    } rows[] = {{"no options", {}},
                {"the usual length only", {.nominalBlock = 1024}},
                {"another usual length", {.maxBlock = 1024, .nominalBlock = 256}}};
    for (const auto& row : rows)
        EXPECT_TRUE(channels(throughPlugin(song, row.offers, 8192), 8192) == expected) << row.what;
}

TEST(Sound, TakesEventsInAnyOrderAndBeyondTheBlock)
{
    const Home home;
    const auto play = [](std::vector<std::pair<std::int64_t, std::initializer_list<int>>> events) {
        Lv2Host host({.maxBlock = 512});
        std::vector<float> sound;
        for (const auto& [at, bytes] : events)
            host.events.midi(at, bytes);
        for (int i = 0; i < 8; ++i) {
            const auto part = host.run(512);
            sound.insert(sound.end(), part.begin(), part.end());
        }
        return sound;
    };
    const auto expected = play({{0, {0x90, 40, 100}}, {100, {0x90, 60, 90}}, {511, {0x80, 40, 0}}});
    EXPECT_GT(loudest(expected), 0.02f);
    EXPECT_TRUE(play({{100000, {0x80, 40, 0}}, {-7, {0x90, 40, 100}}, {100, {0x90, 60, 90}}}) ==
                expected);
}

} // namespace
} // namespace zephra::lv2
