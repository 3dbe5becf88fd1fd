// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlText.h"
#include "hosts/support/Home.h"
#include "hosts/support/Lv2Host.h"
#include "support/FreshProcess.h"
#include "support/PluginPeers.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

namespace zephra::lv2 {
namespace {

using test::peak;

constexpr int kTuningCoarse = 8, kOsc1Wave = 11, kOsc1Semi = 13, kOsc1Fine = 14, kCutoff = 34;

/// What only LV2 has; all else is proved by the torture.
class Lv2Run : public test::HomeTest {};

// --- Control ports --------------------------------------------------------------------------

TEST_F(Lv2Run, PortsCarryWhatThePanelShowsAndReachBothEnds)
{
    Lv2Host host;
    const std::tuple<int, float, const char*> rows[] = {
        {0, 55.0f, "55 %"},          {kTuningCoarse, -2.0f, "-2"},
        {kTuningCoarse, 1.0f, "+1"}, {kOsc1Semi, 3.5f, "+3.50"},
        {kOsc1Semi, -7.0f, "-7.00"}, {kOsc1Fine, -12.5f, "-12.5"},
        {kOsc1Wave, 5.0f, "Wide"},   {kCutoff, 25.0f, "25 Hz"},
        {kCutoff, 440.0f, "440 Hz"}, {kCutoff, 9000.0f, "9.0 kHz"},
        {35, 7.25f, "7.25"},
    };
    for (const auto& [index, value, text] : rows) {
        host.port(index) = value;
        host.run(64);
        const int id = kHostParameters[static_cast<std::size_t>(index)].id;
        EXPECT_EQ(controlText(id, host.control(index)), text);
    }
    for (const auto& [value, end] : {std::pair{1e30f, 1.0f}, {-1e30f, 0.0f}}) {
        host.controls.fill(value);
        host.run(16);
        for (int i = 0; i < kNumHostParameters; ++i)
            EXPECT_EQ(host.control(i),
                      end * controlScale(kHostParameters[static_cast<std::size_t>(i)].id));
        const Bytes before = host.patch();
        for (const float odd : {std::nanf(""), HUGE_VALF, -HUGE_VALF}) {
            host.controls.fill(odd);
            host.run(64);
            EXPECT_EQ(host.patch(), before) << odd;
        }
    }
}

TEST_F(Lv2Run, APortActsWhenItMovesAndNotByStandingSomewhere)
{
    copyFactoryBank("Showcase");
    Lv2Host host;
    const float first = host.control(kCutoff);
    host.run(64);
    EXPECT_EQ(host.control(kCutoff), first) << "the port still stands at its default";

    host.port(kCutoff) = 5000.0f;
    host.run(64);
    const State loud = host.save();
    host.port(kCutoff) = 100.0f;
    host.run(64);
    const float low = host.control(kCutoff);
    ASSERT_EQ(host.restore(loud), LV2_STATE_SUCCESS);
    for (int i = 0; i < 4; ++i)
        host.run(64);
    EXPECT_EQ(host.patch(), loud.at(urid(kPatchUri)).value) << "the port has not moved";

    host.port(kCutoff) = 120.0f;
    host.run(64);
    EXPECT_NEAR(host.control(kCutoff), low + 0.026f, 0.001f) << "one way of the knob is 2.02^10";
}

// --- Blocks and events ----------------------------------------------------------------------

/// Left side of eight blocks of 1024 or less, of one event list each, in a process of its own.
std::vector<float> eightBlocks(const Offers& offers, std::uint32_t frames,
                               const std::function<void(EventBuffer&, std::uint32_t)>& events)
{
    return test::inFreshProcess([&] {
        Lv2Host host(offers);
        host.port(56) = 1.0f;  // effects
        host.port(60) = 50.0f; // delay mix
        std::vector<float> sound;
        for (std::uint32_t start = 0; start < 8192; start += frames) {
            events(host.events, start);
            const auto part = host.run(frames);
            sound.insert(sound.end(), part.begin(), part.begin() + frames);
        }
        return sound;
    });
}

TEST_F(Lv2Run, ABlockLongerThanToldSoundsAsShorterOnes)
{
    const auto song = [](std::uint32_t frames) {
        return [frames](EventBuffer& events, std::uint32_t start) {
            for (const auto& [at, bytes, tempo] : {std::tuple{0u, Bytes{0x90, 40, 100}, 0.0f},
                                                   {1500u, {0xe0, 0, 90}, 0.0f},
                                                   {2048u, {}, 300.0f},
                                                   {3000u, {0x90, 60, 90}, 0.0f},
                                                   {8191u, {0x80, 40, 0}, 0.0f}}) {
                if (at < start || at >= start + frames)
                    continue;
                bytes.empty() ? events.tempo(at - start, tempo) : events.midi(at - start, bytes);
            }
        };
    };
    const auto expected = eightBlocks({.maxBlock = 1024}, 1024, song(1024));
    EXPECT_GT(peak(expected), 0.02f);
    const std::pair<const char*, Offers> rows[] = {
        {"no options", {}},
        {"the usual length only", {.nominalBlock = 1024}},
        {"another usual length", {.maxBlock = 1024, .nominalBlock = 256}}};
    for (const auto& [what, offers] : rows)
        EXPECT_TRUE(eightBlocks(offers, 8192, song(8192)) == expected) << what;

    // Events may come in any order, and from beyond the ends of the block.
    const auto play = [](std::vector<std::pair<std::int64_t, Bytes>> list) {
        return eightBlocks({}, 512, [list](EventBuffer& events, std::uint32_t start) {
            for (const auto& [at, bytes] : list) {
                if (start == 0)
                    events.midi(at, bytes);
            }
        });
    };
    EXPECT_TRUE(play({{100000, {0x80, 40, 0}}, {-7, {0x90, 40, 100}}, {100, {0x90, 60, 90}}}) ==
                play({{0, {0x90, 40, 100}}, {100, {0x90, 60, 90}}, {511, {0x80, 40, 0}}}));
}

TEST_F(Lv2Run, EventsThatAreNotForTheInstrumentDoNothing)
{
    Lv2Host host;
    for (const Bytes& bytes : {Bytes{}, {0x90}, {0x90, 60}, {60, 100, 3}, {0xf8}, {0xc0}})
        host.events.midi(0, bytes);
    host.events.event(0, urid("urn:unknown"), {0x90, 60, 100});
    host.events.event(0, urid(LV2_ATOM__Object), {1, 2, 3});
    EXPECT_LT(peak(host.run(4096)), 1e-6f) << "no note has begun";

    const auto withTempo = [](const char* object, float bpm) {
        return eightBlocks({}, 1024, [=](EventBuffer& events, std::uint32_t start) {
            if (start == 0)
                events.tempo(0, bpm, object).midi(0, {0x90, 60, 100});
        });
    };
    const auto usual = withTempo(LV2_TIME__Position, 120.0f);
    EXPECT_FALSE(withTempo(LV2_TIME__Position, 400.0f) == usual) << "the delay follows the tempo";
    EXPECT_TRUE(withTempo("urn:unknown", 400.0f) == usual);
    for (const float odd : {0.0f, -3.0f, std::nanf("")})
        EXPECT_TRUE(withTempo(LV2_TIME__Position, odd) == usual) << odd;
}

/// Sizes and types where they stand in a block of a note, a tempo and another note.
TEST_F(Lv2Run, DamagedEventsDoNoHarm)
{
    constexpr std::size_t kFirst = sizeof(LV2_Atom_Sequence), kObject = kFirst + 24;
    for (const std::size_t place : {std::size_t{4}, std::size_t{8}, kFirst + 8, kFirst + 12,
                                    kObject + 8, kObject + 32, kObject + 36}) {
        for (const std::uint32_t word : {0u, 1u, 7u, 100u, 0x7fffffffu, 0xfffffff8u, 0xffffffffu}) {
            Lv2Host host;
            host.events.midi(0, {0x90, 60, 100}).tempo(10, 90.0f).midi(20, {0x90, 64, 100});
            host.events.wordAt(place) = word;
            for (const float x : host.run(512))
                ASSERT_TRUE(std::isfinite(x)) << place << ' ' << word;
            const bool isOther = place == 4; // the type of the whole
            EXPECT_TRUE(!isOther || peak(host.run(4096)) < 1e-6f) << word;
        }
    }
}

// --- Odd calls ------------------------------------------------------------------------------

TEST_F(Lv2Run, EmptyBlocksMissingPortsAndActivate)
{
    Lv2Host host;
    host.events.midi(0, {0x90, 60, 100});
    host.run(0);
    const float playing = peak(host.run(4096));
    EXPECT_GT(playing, 0.05f) << "the events of an empty block are for the next";
    EXPECT_EQ(host.latency, 0.0f);
    host.descriptor->activate(host.handle);
    EXPECT_LT(peak(host.run(4096)), playing / 10) << "more than a click in the reverb";

    const LV2_Feature* const none[] = {nullptr};
    for (const auto* const features : {none, static_cast<const LV2_Feature* const*>(nullptr)})
        EXPECT_EQ(host.descriptor->instantiate(host.descriptor, 48000.0, "", features), nullptr)
            << "without the map";
    EXPECT_EQ(host.descriptor->extension_data("urn:unknown"), nullptr);
    for (std::uint32_t port = 0; port < NumPorts + 3; ++port)
        host.connect(port, nullptr);
    host.runOnly(3000);
}

TEST_F(Lv2Run, OptionsTellTheBlockLengthAndMayChange)
{
    Lv2Host host({.maxBlock = 256});
    const auto& interface = host.extension<LV2_Options_Interface>(LV2_OPTIONS__interface);
    const std::int32_t longer = 2048;
    LV2_Options_Option given[2] = {{LV2_OPTIONS_INSTANCE, 0, urid(LV2_BUF_SIZE__maxBlockLength), 4,
                                    urid(LV2_ATOM__Int), &longer}};
    const auto maxBlock = [&] {
        LV2_Options_Option wanted[2] = {given[0]};
        EXPECT_EQ(interface.get(host.handle, wanted), LV2_OPTIONS_SUCCESS);
        std::int32_t value = 0;
        std::memcpy(&value, wanted[0].value, wanted[0].size);
        return value;
    };
    EXPECT_EQ(maxBlock(), 256);
    EXPECT_EQ(interface.set(host.handle, given), LV2_OPTIONS_SUCCESS);
    EXPECT_EQ(maxBlock(), 2048);
    given[0].type = urid(LV2_ATOM__String);
    EXPECT_EQ(interface.set(host.handle, given), LV2_OPTIONS_ERR_BAD_VALUE);
    EXPECT_EQ(maxBlock(), 2048);
    given[0].key = urid("urn:unknown");
    EXPECT_EQ(interface.get(host.handle, given), LV2_OPTIONS_ERR_BAD_KEY);
}

} // namespace
} // namespace zephra::lv2
