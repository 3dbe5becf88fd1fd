// SPDX-License-Identifier: GPL-3.0-or-later
#include "Home.h"
#include "Lv2Host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

namespace zephra::lv2 {
namespace {

bool isFinite(const std::vector<float>& sound)
{
    return std::ranges::all_of(sound, [](float x) { return std::isfinite(x); });
}

TEST(OddCall, WithoutTheMapMakesNoInstance)
{
    const Home home;
    Lv2Host host;
    const LV2_Feature* const none[] = {nullptr};
    const LV2_Descriptor& descriptor = *host.descriptor;
    EXPECT_EQ(descriptor.instantiate(&descriptor, 48000.0, "", none), nullptr);
    EXPECT_EQ(descriptor.instantiate(&descriptor, 48000.0, nullptr, nullptr), nullptr);
    EXPECT_EQ(descriptor.extension_data("urn:unknown"), nullptr);
}

TEST(OddCall, OfAnyLength)
{
    const Home home;
    Lv2Host host({.maxBlock = 512});
    for (const std::uint32_t frames : {0u, 1u, 8192u, 3u, 63u, 511u, 512u, 513u, 0u, 4000u}) {
        host.events.midi(0, {0x90, 40 + static_cast<int>(frames % 40), 100});
        EXPECT_TRUE(isFinite(host.run(frames))) << frames;
        EXPECT_EQ(host.latency, 0.0f);
    }
}

TEST(OddCall, OfNoFramesKeepsItsEventsForTheNext)
{
    const Home home;
    Lv2Host host;
    host.events.midi(0, {0x90, 60, 100});
    host.run(0);
    const auto sound = host.run(4096);
    EXPECT_GT(std::ranges::max(sound), 0.001f);
}

TEST(OddCall, WithNothingConnected)
{
    const Home home;
    Lv2Host host;
    for (std::uint32_t port = 0; port < NumPorts + 3; ++port)
        host.connect(port, nullptr);
    host.runOnly(3000);
    float one[256];
    host.connect(LeftOut, one);
    host.connect(RightOut, one);
    host.runOnly(256);
    EXPECT_TRUE(isFinite({one, one + 256}));
}

TEST(OddCall, WithEventsThatAreNotForTheInstrument)
{
    const Home home;
    Lv2Host host;
    const LV2_URID midi = host.urids(LV2_MIDI__MidiEvent);
    const Bytes rows[] = {{},    {0x90}, {0x90, 60}, {60, 100, 3}, {0xf8}, {0xf0, 1, 2, 3, 0xf7},
                          {0xc0}};
    for (const Bytes& bytes : rows)
        host.events.event(0, midi, bytes);
    host.events.event(0, host.urids("urn:unknown"), {0x90, 60, 100});
    host.events.event(0, host.urids(LV2_ATOM__Object), {1, 2, 3});
    for (const float x : host.run(4096))
        ASSERT_LT(std::abs(x), 1e-6f) << "no note has begun";
}

/// A block whose events are at first a note and a tempo, then damaged.
template <class Damage> std::vector<float> damaged(Damage damage)
{
    Lv2Host host;
    host.events.midi(0, {0x90, 60, 100}).tempo(10, 90.0f).midi(20, {0x90, 64, 100});
    damage(host);
    return host.run(512);
}

TEST(OddCall, WithDamagedEvents)
{
    const Home home;
    constexpr std::size_t kFirstSize = EventBuffer::kFirstEvent + 8;
    constexpr std::size_t kObject = EventBuffer::kFirstEvent + 24;
    constexpr std::size_t kObjectSize = kObject + 8;
    constexpr std::size_t kValueSize = kObject + 16 + 8 + 8;
    const struct {
        const char* what;
        std::size_t byte;
    } places[] = {{"sequence type", 4},
                  {"time unit", 8},
                  {"size of the first event", kFirstSize},
                  {"type of the first event", kFirstSize + 4},
                  {"size of the position", kObjectSize},
                  {"size of the tempo", kValueSize},
                  {"type of the tempo", kValueSize + 4}};
    for (const auto& place : places) {
        for (const std::uint32_t word : {0u, 1u, 7u, 100u, 0x7fffffffu, 0xfffffff8u, 0xffffffffu}) {
            const auto sound =
                damaged([&](Lv2Host& host) { host.events.wordAt(place.byte) = word; });
            EXPECT_TRUE(isFinite(sound)) << place.what << ' ' << word;
        }
    }
}

TEST(OddCall, TempoOfAnyTypeAndSize)
{
    const Home home;
    Lv2Host host;
    for (const float bpm : {0.0f, -3.0f, 1e30f, std::numeric_limits<float>::quiet_NaN()}) {
        host.events.tempo(0, bpm).midi(0, {0x90, 60, 100});
        EXPECT_TRUE(isFinite(host.run(2048))) << bpm;
    }
}

TEST(Options, TellTheBlockLengthAndMayChange)
{
    const Home home;
    Lv2Host host({.maxBlock = 256});
    const auto& interface = host.extension<LV2_Options_Interface>(LV2_OPTIONS__interface);
    const auto maxBlock = [&] {
        LV2_Options_Option wanted[2] = {};
        wanted[0].key = host.urids(LV2_BUF_SIZE__maxBlockLength);
        EXPECT_EQ(interface.get(host.handle, wanted), LV2_OPTIONS_SUCCESS);
        std::int32_t value = 0;
        std::memcpy(&value, wanted[0].value, wanted[0].size);
        return value;
    };
    EXPECT_EQ(maxBlock(), 256);

    const std::int32_t longer = 2048;
    LV2_Options_Option given[2] = {};
    given[0] = {LV2_OPTIONS_INSTANCE,      0,      host.urids(LV2_BUF_SIZE__maxBlockLength), 4,
                host.urids(LV2_ATOM__Int), &longer};
    EXPECT_EQ(interface.set(host.handle, given), LV2_OPTIONS_SUCCESS);
    EXPECT_EQ(maxBlock(), 2048);
    host.events.midi(0, {0x90, 60, 100});
    EXPECT_TRUE(isFinite(host.run(2048)));

    given[0].type = host.urids(LV2_ATOM__String);
    EXPECT_EQ(interface.set(host.handle, given), LV2_OPTIONS_ERR_BAD_VALUE);
    EXPECT_EQ(maxBlock(), 2048);
    LV2_Options_Option unknown[2] = {};
    unknown[0].key = host.urids("urn:unknown");
    EXPECT_EQ(interface.get(host.handle, unknown), LV2_OPTIONS_ERR_BAD_KEY);
}

} // namespace
} // namespace zephra::lv2
