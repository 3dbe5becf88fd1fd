// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "support/FreshProcess.h"
#include "support/PluginPeers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zephra {
namespace {

using test::inFreshProcess;
using test::Plugin;

TEST(Identity, IsAnInstrumentOfTwoOutputs)
{
    const Plugin plugin;
    const VstXSynth alone;
    const EffectIdentity& identity = alone.identity();
    EXPECT_EQ(identity.uniqueId, 0x5a504852) << "Z, P, H, R";
    EXPECT_EQ(identity.numPrograms, 1);
    EXPECT_EQ(identity.numParameters, 75);
    EXPECT_EQ(identity.numInputs, 0);
    EXPECT_EQ(identity.numOutputs, 2);
    EXPECT_EQ(identity.flags, 0x130u);
    EXPECT_EQ(plugin.synth->identity().flags, 0x131u) << "and an editor";

    char text[64];
    EXPECT_TRUE(alone.getEffectName(text));
    EXPECT_STREQ(text, "The Zephra");
    EXPECT_TRUE(alone.getVendorString(text));
    EXPECT_STREQ(text, "Quillon Audio");

    for (const char* can : {"receiveVstEvents", "receiveVstMidiEvent", "receiveVstTimeInfo"})
        EXPECT_EQ(alone.canDo(can), 1) << can;
    for (const char* cannot : {"", "sendVstEvents", "receiveVstEvent", "bypass"})
        EXPECT_EQ(alone.canDo(cannot), -1) << cannot;
    EXPECT_EQ(alone.canDo(nullptr), -1);

    PinProperties pin;
    EXPECT_TRUE(alone.getOutputProperties(1, pin));
    EXPECT_STREQ(pin.label.data(), "Vstx 2");
    EXPECT_EQ(pin.flags, 3);
    EXPECT_FALSE(alone.getOutputProperties(2, pin));
    EXPECT_FALSE(alone.getOutputProperties(-1, pin));
}

TEST(Program, NamesAreCutForTheHostBetweenLettersAndKeptLonger)
{
    VstXSynth synth;
    char text[24];
    synth.getProgramName(text);
    EXPECT_STREQ(text, "Init Patch");
    synth.setProgramName("Glockenspiele, Gr\xc3\xb6\xc3\x9f"
                         "e\xc3\xa4, 1234567890");
    synth.getProgramName(text);
    EXPECT_STREQ(text, "Glockenspiele, Gr\xc3\xb6\xc3\x9f"
                       "e");
    EXPECT_EQ(synth.programName().size(), 31u);
    synth.setProgramName(nullptr);
    EXPECT_EQ(synth.programName(), "");
}

TEST(HostWheel, ReachesTheOpenEditorOnly)
{
    constexpr int kHost = fourCharacters("stCA"), kWheel = fourCharacters("Whee");
    const struct {
        const char* vendor;
        int first, second;
        bool open, used;
    } kCases[] = {
        {"", kHost, kWheel, true, true},          {"", kHost, kWheel, false, false},
        {"", kHost, kHost, true, false},          {"", kWheel, 0, true, false},
        {"Quillon Audio", kWheel, 0, true, true}, {"Quillon Audio", kHost, 0, true, false},
    };
    for (const auto& test : kCases) {
        Plugin plugin(test.vendor);
        plugin.editor->open = test.open;
        const bool used = plugin.synth->vendorSpecific(test.first, test.second, nullptr, 2.0f) == 1;
        EXPECT_EQ(used, test.used) << test.first << ", " << test.second;
        EXPECT_EQ(plugin.editor->wheel, used ? 2.0f : 0.0f);
    }
    EXPECT_EQ(VstXSynth().vendorSpecific(kHost, kWheel, nullptr, 2.0f), 0);
}

TEST(Settings, RatesAndSizesComeIntoTheirRange)
{
    VstXSynth synth;
    EXPECT_EQ(synth.sampleRate(), 44100.0);
    EXPECT_EQ(synth.blockSize(), 1024);
    constexpr std::pair<double, double> kRates[] = {{96000, 96000}, {22050, 44100},
                                                    {-1, 44100},    {1e9, 384000},
                                                    {NAN, 44100},   {INFINITY, 44100}};
    for (const auto& [asked, given] : kRates) {
        synth.setSampleRate(asked);
        EXPECT_EQ(synth.sampleRate(), given) << asked;
        EXPECT_EQ(synth.engine().sampleRate(), given) << asked;
    }
    synth.setSampleRate(44100);
    for (const int size : {0, -5, 1, std::numeric_limits<int>::max()}) {
        synth.setBlockSize(size);
        EXPECT_GE(synth.blockSize(), 1);
        test::EventList list{{5, 0xe0, 0, 0}, {1 << 30, 0x90, 60, 1}, {-3, 0xb0, 1, 1}};
        synth.processEvents(list);
        Plugin::render(synth, 300);
    }
}

/// The first half second of a note, after `prepare` has had its way with the plug-in.
template <class Prepare> std::vector<float> soundAfter(const char* vendor, Prepare prepare)
{
    return inFreshProcess([&] {
        Plugin plugin(vendor);
        plugin.run(4096);
        prepare(*plugin.synth);
        plugin.send({{0, 0x90, 48, 100}});
        return Plugin::render(*plugin.synth, 22050).left;
    });
}

TEST(Vendor, TheMakersHostHearsTwiceTheLevel)
{
    const auto nothing = [](VstXSynth&) {};
    const auto plain = soundAfter("", nothing);
    const auto own = soundAfter("Quillon Audio", nothing);
    ASSERT_GT(test::peak(plain), 0.01f);
    ASSERT_EQ(plain.size(), own.size());
    for (std::size_t i = plain.size() / 2; i < plain.size(); ++i)
        ASSERT_NEAR(own[i], 2.0f * plain[i], 1e-6f) << "sample " << i;
    EXPECT_EQ(soundAfter("Quillon Audio ", nothing), plain) << "compared exactly";
}

TEST(Vendor, SomeHostsHearANewPatchGlideIn)
{
    const auto newPatch = [](VstXSynth& synth) {
        synth.parameters().setValue(filter_cutoff, 1.0f);
        synth.applyCurrentPatch();
    };
    const auto jumping = soundAfter("", newPatch);
    EXPECT_GT(test::peak(jumping), 0.01f);
    EXPECT_EQ(soundAfter("Bitwig", newPatch), jumping);
    EXPECT_NE(soundAfter("Cockos", newPatch), jumping);
    EXPECT_EQ(soundAfter("Cockos", newPatch), soundAfter("Zynewave", newPatch));
}

/// A host that calls back from inside its notification.
struct RenderingHost : HostPeer {
    void updateDisplay() override { rendered = canRender(); }
    void refreshParameters() override { refreshed = canRender(); }
    bool canRender() const
    {
        std::array<float, 8> left{}, right{};
        left.fill(0.5f);
        float* outputs[2] = {left.data(), right.data()};
        synth->process(nullptr, outputs, 8);
        return left[0] != 0.5f;
    }
    VstXSynth* synth = nullptr;
    bool rendered = false, refreshed = false;
};

TEST(NewPatch, TellsHostAndEditorAfterTheSoundIsFreeAgain)
{
    RenderingHost host;
    VstXSynth synth({nullptr, &host, nullptr, {}});
    host.synth = &synth;
    synth.applyCurrentPatch();
    EXPECT_TRUE(host.rendered);
    EXPECT_TRUE(host.refreshed);

    Plugin plugin;
    plugin.synth->applyCurrentPatch();
    EXPECT_EQ(plugin.host.displayUpdates, 1);
    EXPECT_EQ(plugin.host.refreshes, 1);
    EXPECT_EQ(plugin.editor->refreshes, 1);
}

TEST(NewPatch, CutsWhatSoundsAndSoDoesClosing)
{
    for (void (*end)(VstXSynth&) : {+[](VstXSynth& synth) { synth.applyCurrentPatch(); },
                                    +[](VstXSynth& synth) { synth.close(); }}) {
        Plugin plugin;
        plugin.send({{0, 0x90, 48, 100}});
        EXPECT_GT(test::peak(Plugin::render(*plugin.synth, 4096).left), 0.01f);
        end(*plugin.synth);
        plugin.run(4096); // the filter rings on by itself
        EXPECT_LT(test::peak(Plugin::render(*plugin.synth, 4096).left), 1e-3f);
        for (int i = 0; i < 30; ++i)
            plugin.run(4096);
        EXPECT_TRUE(plugin.synth->engine().asleep()) << "no key is remembered";
    }
}

} // namespace
} // namespace zephra
