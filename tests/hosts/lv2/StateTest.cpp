// SPDX-License-Identifier: GPL-3.0-or-later
#include "hosts/support/Home.h"
#include "hosts/support/Lv2Host.h"
#include "support/FreshProcess.h"

#include <atomic>
#include <thread>

namespace zephra::lv2 {
namespace {

constexpr int kCutoff = 34, kEffects = 56;

class Lv2State : public test::HomeTest {
protected:
    Lv2State() { copyFactoryBank("Showcase"); }

    static std::string nameOf(const Bytes& chunk)
    {
        PluginParameters values;
        readChunk(chunk, values);
        return std::string(values.getPreset(0)->nameText());
    }
    /// Of a patch that no file holds: every control has been moved a little.
    static State oddState()
    {
        Lv2Host host;
        for (int i = 0; i < kNumHostParameters; ++i)
            host.port(i) = portScale(i).fromNormalised(0.123f + 0.0107f * static_cast<float>(i));
        host.run(64);
        return host.save();
    }
};

TEST_F(Lv2State, BringsThePatchBackWheneverTheHostShowsThePorts)
{
    // The ports of the one who saves stand where they have nothing to do with the patch: MIDI has
    // loaded it.
    std::array<float, kNumHostParameters> ports{};
    State state;
    {
        Lv2Host host({.worker = Offers::Worker::Immediate});
        host.port(kCutoff) = 12000.0f;
        host.port(kEffects) = 1.0f;
        host.run(64);
        host.events.midi(0, {0xc0, 0});
        host.run(64);
        EXPECT_LT(host.control(kCutoff), 0.8f);
        ports = host.controls;
        state = host.save();
    }
    const Bytes& chunk = state.at(urid(kPatchUri)).value;

    enum Moment { Before, While, After };
    const struct {
        const char* what;
        Moment portsCome; ///< of the state: before it plays, while it is read, with a later block
        bool automated;   ///< the host moves the cutoff while it loads the song, and back
    } rows[] = {
        {"host sets the ports at once", Before, false},
        {"host begins to play meanwhile, with the ports", While, false},
        {"host begins to play meanwhile and sets the ports later", After, false},
        {"automation", Before, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const auto after = test::inFreshProcess([&] {
            Lv2Host host;
            host.restore(state, [&](LV2_URID property) {
                if (row.portsCome == While)
                    host.controls = ports;
                if (row.portsCome != Before && property == urid(kPortsUri))
                    host.run(64); // the first block
            });
            if (row.portsCome == After)
                host.run(64);
            host.controls = ports;
            if (row.automated)
                host.port(kCutoff) = portScale(kCutoff).fromNormalised(0.5f);
            host.run(64);
            host.controls = ports; // back, if it was moved
            host.run(64);
            const Bytes bytes = host.patch();
            std::vector<float> found(bytes.begin(), bytes.end());
            found.push_back(host.control(kCutoff));
            return found;
        });
        if (row.automated)
            EXPECT_FLOAT_EQ(after.back(), portScale(kCutoff).toNormalised(ports[kCutoff]));
        else
            EXPECT_EQ(Bytes(after.begin(), after.end() - 1), chunk);
    }
}

TEST_F(Lv2State, OfAnotherKindLeavesThePatchAlone)
{
    const Property own = oddState().at(urid(kPatchUri));
    Lv2Host host;
    const Bytes before = host.patch();
    const std::pair<State, LV2_State_Status> rows[] = {
        {{}, LV2_STATE_ERR_NO_PROPERTY},
        {{{urid("urn:other"), own}}, LV2_STATE_ERR_NO_PROPERTY},
        {{{urid(kPatchUri), {urid(LV2_ATOM__String), own.value}}}, LV2_STATE_ERR_BAD_TYPE},
        {{{urid(kPatchUri), {urid(LV2_ATOM__Chunk), {}}}}, LV2_STATE_ERR_NO_PROPERTY},
    };
    for (const auto& [state, status] : rows) {
        EXPECT_EQ(host.restore(state), status);
        host.run(64);
        EXPECT_EQ(host.patch(), before) << status;
    }
}

TEST_F(Lv2State, ComesAndGoesWhileTheSoundRuns)
{
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
        EXPECT_EQ(host.patch(), state.at(urid(kPatchUri)).value);
    }
    done = true;
    audio.join();
}

TEST_F(Lv2State, AProgramChangeLoadsOnTheWorkerAndTellsTheHost)
{
    Lv2Host host({.worker = Offers::Worker::Waiting});
    host.run(64);
    EXPECT_EQ(host.noticesSeen, 0) << "the host has made the instance itself";
    const std::string first = nameOf(host.patch());

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

    host.restore({{urid(kPatchUri), {urid(LV2_ATOM__Chunk), loaded}}});
    host.run(64);
    EXPECT_EQ(host.noticesSeen, 1) << "the host knows what it restores";
    EXPECT_EQ(host.runWorker(), 0);

    for (const auto& [worker, name] : {std::pair{Offers::Worker::Immediate, "Acid Lantern QX"},
                                       {Offers::Worker::None, "Bass Carpet QX"}}) {
        Lv2Host other({.worker = worker});
        other.events.midi(0, {0xc0, 0});
        other.run(64);
        EXPECT_EQ(nameOf(other.patch()), name);
    }
}

} // namespace
} // namespace zephra::lv2
