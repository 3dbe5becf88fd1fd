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

constexpr int kCutoff = 34;
constexpr int kEffects = 56;

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

/// The control value of a patch.
float cutoffOf(const Bytes& chunk)
{
    PluginParameters values;
    readChunk(chunk, values);
    return values.getValue(filter_cutoff);
}

TEST(StateProperty, BringsThePatchBackInAFreshProcess)
{
    // The ports of the one who saves stand where they have nothing to do with the patch: MIDI has
    // loaded it.
    const Home home;
    std::array<float, kNumHostParameters> ports{};
    State state;
    {
        Lv2Host host({.worker = Offers::Worker::Immediate});
        host.controls[kCutoff] = 12000.0f;
        host.controls[kEffects] = 1.0f;
        host.run(64);
        host.events.midi(0, {0xc0, 0});
        host.run(64);
        ports = host.controls;
        state = host.save();
    }
    const Bytes& chunk = state.at(kPatchUri).value;
    EXPECT_LT(cutoffOf(chunk), 0.8f);

    enum Moment { Before, While, After };
    const struct {
        const char* what;
        Moment portsCome; ///< of the state: with the first block, as it is read, later
        bool automated;   ///< the host moves the cutoff while it loads the song, and back
    } rows[] = {
        {"host sets the ports at once", Before, false},
        {"host sets the ports while it plays", While, false},
        {"host sets the ports later", After, false},
        {"automation", Before, true},
    };
    for (const auto& row : rows) {
        const auto after = test::inFreshProcess([&] {
            Lv2Host host;
            if (row.portsCome == After)
                host.run(64);
            host.restore(state, [&] {
                if (row.portsCome == While) {
                    host.controls = ports;
                    host.run(64);
                }
            });
            if (row.portsCome == After)
                host.run(64);
            host.controls = ports;
            if (row.automated)
                host.controls[kCutoff] = portScale(kCutoff).fromNormalised(0.5f);
            host.run(64);
            host.controls = ports; // back, if it was moved
            host.run(64);
            const Bytes bytes = host.patch();
            return std::vector<float>(bytes.begin(), bytes.end());
        });
        const Bytes bytes(after.begin(), after.end());
        if (row.automated)
            EXPECT_FLOAT_EQ(cutoffOf(bytes), portScale(kCutoff).toNormalised(ports[kCutoff]));
        else
            EXPECT_EQ(bytes, chunk) << row.what;
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

TEST(StateProperty, ComesAndGoesWhileTheSoundRuns)
{
    const Home home;
    const State state = oddState();
    Lv2Host host({.maxBlock = 128});
    host.run(128); // ports act once they have been seen
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
    const auto room = std::exchange(host.noticeRoom, 16);
    host.run(64);
    EXPECT_EQ(host.noticesSeen, 0) << "no room";
    host.noticeRoom = room;
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
