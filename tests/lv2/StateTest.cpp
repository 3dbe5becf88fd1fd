// SPDX-License-Identifier: GPL-3.0-or-later
#include "Home.h"
#include "library/PatchChunk.h"
#include "Lv2Host.h"
#include "support/FreshProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>

namespace zephra::lv2 {
namespace {

/// A patch that no file holds: every control has been moved a little.
State oddState()
{
    Lv2Host host;
    for (int i = 0; i < kNumHostParameters; ++i)
        host.controls[static_cast<std::size_t>(i)] =
            portScale(i).fromNormalised(0.123f + 0.0107f * static_cast<float>(i));
    host.run(64);
    return host.save();
}

std::string nameOf(const Bytes& chunk)
{
    PluginParameters values;
    readChunk(chunk, values);
    return std::string(values.getPreset(0)->nameText());
}

TEST(StateProperty, BringsThePatchBackInAFreshProcess)
{
    const Home home;
    const State state = oddState();
    const Bytes& chunk = state.at(kPatchUri).value;
    const struct {
        const char* what;
        float ports; ///< normalised
    } rows[] = {{"ports at their defaults", -1.0f}, {"ports of long ago", 0.77f}};
    for (const auto& row : rows) {
        const auto after = test::inFreshProcess([&] {
            Lv2Host host;
            EXPECT_NE(host.patch(), chunk);
            if (row.ports >= 0.0f) {
                for (int i = 0; i < kNumHostParameters; ++i)
                    host.controls[static_cast<std::size_t>(i)] =
                        portScale(i).fromNormalised(row.ports);
            }
            host.restore(state);
            host.run(64);
            host.run(64);
            const Bytes bytes = host.patch();
            return std::vector<float>(bytes.begin(), bytes.end());
        });
        EXPECT_TRUE(std::ranges::equal(after, chunk)) << row.what;
    }
}

TEST(StateProperty, OfAnotherKindLeavesThePatchAlone)
{
    const Home home;
    const Property own = oddState().at(kPatchUri);
    Lv2Host host;
    const Bytes before = host.patch();
    const struct {
        const char* what;
        State state;
        LV2_State_Status status;
    } rows[] = {
        {"nothing", {}, LV2_STATE_ERR_NO_PROPERTY},
        {"another plug-in", {{"urn:other", own}}, LV2_STATE_ERR_NO_PROPERTY},
        {"text", {{kPatchUri, {LV2_ATOM__String, own.value}}}, LV2_STATE_ERR_BAD_TYPE},
        {"no bytes", {{kPatchUri, {LV2_ATOM__Chunk, {}}}}, LV2_STATE_ERR_NO_PROPERTY},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(host.restore(row.state), row.status) << row.what;
        host.run(64);
        EXPECT_EQ(host.patch(), before) << row.what;
    }
}

TEST(StateProperty, MayBeDamaged)
{
    const Home home;
    const Bytes whole = oddState().at(kPatchUri).value;
    Lv2Host host;
    for (std::size_t length = 1; length < whole.size(); length += 97) {
        Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        for (std::size_t at = length / 2; at < length; at += 31)
            cut[at] = static_cast<std::uint8_t>(cut[at] * 7 + 0xf3);
        host.restore({{kPatchUri, {LV2_ATOM__Chunk, cut}}});
        host.events.midi(0, {0x90, 60, 100});
        for (const float x : host.run(256))
            ASSERT_TRUE(std::isfinite(x)) << length;
    }
}

TEST(StateProperty, ComesAndGoesWhileTheSoundRuns)
{
    const Home home;
    const State state = oddState();
    Lv2Host host({.maxBlock = 128});
    std::atomic<bool> done = false;
    std::thread audio([&] {
        while (!done) {
            host.events.midi(0, {0x90, 60, 100});
            host.run(128);
        }
    });
    for (int i = 0; i < 20; ++i) {
        host.restore(state);
        EXPECT_EQ(host.patch(), state.at(kPatchUri).value);
    }
    done = true;
    audio.join();
}

// --- Patches that MIDI asks for -------------------------------------------------------------

TEST(ProgramChange, LoadsOnTheWorkerAndTellsTheHost)
{
    const Home home;
    Lv2Host host({.worker = Offers::Worker::Waiting});
    host.run(64);
    EXPECT_EQ(host.noticesSeen, 0) << "the host has made the instance itself";
    const std::string first = nameOf(host.patch());
    EXPECT_EQ(first, "Bass Carpet QX");

    host.events.midi(5, {0xc0, 0});
    host.run(64);
    host.run(64);
    EXPECT_EQ(nameOf(host.patch()), first);
    EXPECT_EQ(host.runWorker(), 1) << "asked once";
    const Bytes loaded = host.patch();
    EXPECT_EQ(nameOf(loaded), "Acid Lantern QX");
    host.run(64);
    host.run(64);
    EXPECT_EQ(host.noticesSeen, 1);
    EXPECT_EQ(host.patch(), loaded) << "no port has moved";

    host.restore({{kPatchUri, {LV2_ATOM__Chunk, loaded}}});
    host.run(64);
    EXPECT_EQ(host.noticesSeen, 1) << "the host knows what it restores";
    EXPECT_EQ(host.runWorker(), 0);
}

TEST(ProgramChange, PlaysAtOnceWhereTheWorkerIsImmediate)
{
    const Home home;
    Lv2Host host({.worker = Offers::Worker::Immediate});
    host.events.midi(0, {0xc0, 0});
    host.run(64);
    EXPECT_EQ(nameOf(host.patch()), "Acid Lantern QX");
}

TEST(ProgramChange, DoesNothingWithoutAWorker)
{
    const Home home;
    Lv2Host host;
    host.events.midi(0, {0xc0, 0});
    host.run(64);
    host.run(64);
    EXPECT_EQ(nameOf(host.patch()), "Bass Carpet QX");
}

} // namespace
} // namespace zephra::lv2
