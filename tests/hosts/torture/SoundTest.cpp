// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/LibraryPlaces.h"
#include "realtime/RealtimeWatch.h"
#include "support/FreshProcess.h"
#include "support/PluginPeers.h"
#include "torture/Torture.h"

#include <chrono>
#include <thread>
#include <xmmintrin.h>

namespace zephra::torture {
namespace {

/// Something that happens in a song: a MIDI message, or a control that moves to `value`, or a new
/// tempo, both of them with the block of the sample.
struct Happening {
    int sample;
    std::array<std::uint8_t, 3> midi = {};
    int index = -1;
    float value = 0.0f;
    double tempo = 0.0;
};

constexpr int kResonance = 35, kEffects = 56, kDelayTime = 57, kDelayMix = 60;
constexpr int kEnd = 16384;
constexpr Happening kSong[] = {
    {0, {0xb0, 1, 64}},           {3, {0x90, 40, 100}},        {0, {}, kEffects, 1.0f},
    {0, {}, kDelayMix, 0.5f},     {700, {0x91, 52, 127}},      {1023, {0xe0, 0, 90}},
    {1024, {}, kResonance, 0.5f}, {1500, {0xb0, 64, 127}},     {2500, {0x80, 40, 0}},
    {3072, {}, kDelayTime, 0.0f}, {4100, {}, -1, 0.0f, 393.5}, {5001, {0xd0, 99, 0}},
    {8191, {0x90, 47, 64}},       {9000, {0xb0, 64, 0}},       {10240, {}, kResonance, 0.0f},
    {12001, {0x90, 47, 0}},       {12003, {0xb0, 123, 0}},
};

/// What `play(frames, events, tempo)` gives for each block of the song, first `set(index, value)`.
template <class Set, class Play> std::vector<float> songBy(int block, Set set, Play play)
{
    std::vector<float> sound;
    double tempo = 120.0;
    for (int start = 0; start < kEnd; start += block) {
        std::vector<Event> events;
        for (const Happening& now : kSong) {
            if (now.sample < start || now.sample >= start + block)
                continue;
            if (now.index >= 0)
                set(now.index, now.value);
            else if (now.tempo > 0.0)
                tempo = now.tempo;
            else
                events.push_back({now.sample - start, now.midi});
        }
        const std::vector<float> part = play(block, events, tempo);
        sound.insert(sound.end(), part.begin(), part.end());
    }
    return sound;
}

std::vector<float> throughEngine(double rate, int block)
{
    test::RecordingHost host;
    VstXSynthOptions options;
    options.host = &host;
    options.soundbankRoot = defaultSoundbankRoot();
    VstXSynth synth(options);
    synth.setSampleRate(rate);
    synth.setBlockSize(block);
    return songBy(
        block, [&](int index, float value) { synth.setParameter(index, value); },
        [&](int frames, const std::vector<Event>& events, double tempo) {
            host.now = {tempo, HostTime::kTempoValid};
            std::vector<MidiEvent> midi;
            for (const auto& [sample, bytes] : events)
                midi.emplace_back(sample, bytes[0], bytes[1], bytes[2]);
            std::vector<const HostEvent*> pointers;
            for (const MidiEvent& event : midi)
                pointers.push_back(&event);
            const HostEvents list{static_cast<std::int32_t>(pointers.size()), pointers.data()};
            synth.processEvents(&list);
            auto [sound, right] = test::Plugin::render(synth, frames);
            sound.insert(sound.end(), right.begin(), right.end());
            return sound;
        });
}

TEST_P(Torture, ASongAtAnyRateInAnyBlockIsTheEnginesToTheBit)
{
    const auto throughPlugin = [&](double rate, int block) {
        Player player(format, rate, block);
        return songBy(
            block, [&](int index, float value) { player.plugin->set(index, value); },
            [&](int frames, const std::vector<Event>& events, double tempo) {
                player.play(frames, events, tempo);
                return player.sound();
            });
    };
    const auto isTheSame = [&](double rate, int block) {
        // In processes of their own: engines of one draw different random numbers.
        const auto own = test::inFreshProcess([&] { return throughEngine(rate, block); });
        EXPECT_GT(test::peak(own), 0.02f);
        EXPECT_TRUE(test::inFreshProcess([&] { return throughPlugin(rate, block); }) == own)
            << "at " << rate << " Hz in blocks of " << block;
    };
    for (const double rate : {44100.0, 88200.0, 96000.0, 176400.0, 192000.0})
        isTheSame(rate, 512);
    for (const int block : {1, 2, 15, 63, 64, 65, 127, 512, 1000, 1024, 4096, 8192})
        isTheSame(48000.0, block);
}

/// Also longer than announced, empty, and less than that where hosts could say so.
TEST_P(Torture, AnythingMayHappenBetweenBlocksInAnyOrder)
{
    constexpr int kMost = std::numeric_limits<int>::max(), kLeast = -kMost - 1;
    std::vector<double> rates{44100.0, 48000.0, 88200.0, 96000.0, 176400.0, 192000.0};
    std::vector<int> lengths{1, 2, 15, 63, 64, 65, 127, 512, 1000, 1024, 4096, 8192};
    if (format.senseless) {
        rates.insert(rates.end(),
                     {0.0, -48000.0, std::nan(""), HUGE_VAL, 1.0, 22050.0, 384000.0, 1e12});
        lengths.insert(lengths.end(), {0, -1, kLeast});
    }
    Player player(format);
    Plugin& plugin = *player.plugin;
    const Bytes good = plugin.state();
    std::array<float, 512> left, right;
    for (int i = 0; i < rounds(600, 30000); ++i) {
        std::vector<Event> events = dice.events(dice.below(20), 300);
        switch (dice.below(10)) {
        case 0:
            for (int index = 0; index < kNumHostParameters; ++index)
                plugin.set(index, dice.anyValue());
            break;
        case 1: plugin.set(dice.below(kNumHostParameters), dice.anyValue()); break;
        case 2: plugin.set(dice.oneOf<int>({-1, kNumHostParameters, kMost}), 0.5f); break;
        case 3:
            plugin.turn(false);
            if (dice.below(2))
                plugin.prepare(dice.oneOf(rates), dice.oneOf(lengths));
            plugin.turn(true);
            break;
        case 4:
            plugin.process(nullptr, nullptr, format.senseless ? -i : 0);
            plugin.process(nullptr, nullptr, 512);
            plugin.process(left.data(), nullptr, 512);
            plugin.process(nullptr, right.data(), 512);
            plugin.process(left.data(), left.data(), 512);
            break;
        case 5:
            events = dice.events(dice.oneOf<int>({127, 128, 4095, 4096, 4097, 10000}), 300);
            break;
        case 6:
            for (Event& event : events) {
                event.sample = dice.oneOf<int>({-1, 100000, 512, kLeast, kMost, 7});
                event.bytes = {dice.byte(), dice.byte(), dice.byte()};
            }
            break;
        case 7: {
            Bytes noise(static_cast<std::size_t>(dice.below(5000)));
            for (std::uint8_t& byte : noise)
                byte = dice.byte();
            plugin.restore(noise);
            break;
        }
        case 8: {
            Bytes damaged = good;
            for (int flips = 1 + dice.below(10); flips > 0; --flips)
                damaged[static_cast<std::size_t>(dice.below(std::ssize(damaged)))] ^= dice.byte();
            if (dice.below(2))
                damaged.resize(static_cast<std::size_t>(dice.below(std::ssize(damaged))));
            plugin.restore(damaged);
            break;
        }
        case 9: plugin.restore(good); break;
        }
        const int usual = dice.below(300);
        player.play(dice.below(10) ? usual : dice.oneOf<int>({0, 1, 1024, 8192}), events);
    }
    plugin.turn(false);
    plugin.prepare(48000.0, 512);
    plugin.turn(true);
    for (int tries = 0; tries < 100 && plugin.state() != good; ++tries) // a patch may come by MIDI
        plugin.restore(good);
    EXPECT_EQ(plugin.state(), good);
    player.play(64, {{0, {0xb0, 123, 0}}});
    float peak = player.play(512, {noteOn(0, 57)});
    for (int i = 0; i < 20; ++i)
        peak = std::max(peak, player.play(512));
    EXPECT_GT(peak, 1e-4f) << "it plays no more";
}

TEST_P(Torture, FallsWhollySilentAndLeavesTheProcessorAsItWas)
{
    Player player(format);
    for (const unsigned mode : {0x1f80u, 0x9fc0u}) { // plain, and with denormals off
        _mm_setcsr(mode);
        player.play(512, {noteOn(0, 60), noteOn(10, 64)});
        EXPECT_EQ(_mm_getcsr() & ~0x3fu, mode);
    }
    _mm_setcsr(0x1f80u);
    player.play(512, {noteOff(0, 60), noteOff(0, 64)});
    for (int i = 0; i < rounds(50, 1000); ++i) {
        const int key = 24 + dice.below(80);
        player.play(64, {noteOn(5, key), noteOff(5, key), noteOn(5, key), noteOff(5, key)});
    }
    // Release up to half a minute, and an effect that keeps what it has.
    float peak = 1.0f;
    for (int block = 0; block < 120 * 48000 / 512 && peak != 0.0f; ++block)
        peak = player.play(512);
    EXPECT_EQ(peak, 0.0f) << "it still sounds two minutes after the last key";
}

TEST_P(Torture, AProgramChangeLoadsAnotherPatchWhileItPlays)
{
    using namespace std::chrono_literals;
    Player player(format);
    for (int program = 1; program <= 3; ++program) {
        const Bytes before = player.plugin->state();
        const auto end = std::chrono::steady_clock::now() + 20s;
        player.play(64, {{0, {0xc0, static_cast<std::uint8_t>(program), 0}}});
        while (player.plugin->state() == before) {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << "no other patch is loaded";
            std::this_thread::sleep_for(1ms);
            player.play(64);
        }
    }
}

TEST_P(Torture, AllocatesLocksAndAsksTheKernelForNothingOnTheAudioThread)
{
    if (const char* reason = RealtimeWatch::blindness())
        GTEST_SKIP() << reason;
    const auto plugin = format.open(48000.0, 512);
    plugin->turn(true);
    std::array<float, 512> left, right;
    plugin->process(left.data(), right.data(), 512);
    Offences seen;
    for (int i = 0; i < rounds(300, 20000); ++i) {
        const int frames = 1 + dice.below(512);
        std::vector<Event> events = dice.events(16, frames);
        std::erase_if(events, [](const Event& e) { return (e.bytes[0] & 0xf0) == 0xc0; });
        plugin->queue(events, 100.0 + i);
        plugin->set(dice.below(kNumHostParameters), dice.anyValue());
        const RealtimeWatch watch(seen);
        plugin->process(left.data(), right.data(), frames);
    }
    EXPECT_EQ(seen.count(), 0) << seen;
}

} // namespace
} // namespace zephra::torture
