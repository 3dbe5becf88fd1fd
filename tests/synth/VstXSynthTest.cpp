// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "support/FreshProcess.h"
#include "support/PluginPeers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zephra {
namespace {

using test::Plugin;

TEST(HostWheel, ReachesTheOpenEditorOnly)
{
    constexpr int kHost = fourCharacters("stCA"), kWheel = fourCharacters("Whee");
    Plugin other, own("Quillon Audio");
    EXPECT_EQ(other.synth->vendorSpecific(kHost, kWheel, nullptr, 2.0f), 1);
    EXPECT_EQ(other.synth->vendorSpecific(kWheel, 0, nullptr, 2.0f), 0) << "the maker's own way";
    EXPECT_EQ(own.synth->vendorSpecific(kWheel, 0, nullptr, 2.0f), 1);
    other.editor->open = false;
    EXPECT_EQ(other.synth->vendorSpecific(kHost, kWheel, nullptr, 2.0f), 0);
    EXPECT_EQ(other.editor->wheel, 2.0f);
    EXPECT_EQ(VstXSynth().vendorSpecific(kHost, kWheel, nullptr, 2.0f), 0);
}

TEST(Settings, RatesAndSizesComeIntoTheirRange)
{
    VstXSynth synth;
    constexpr std::pair<double, double> kRates[] = {
        {96000, 96000}, {22050, 44100}, {1e9, 384000}, {NAN, 44100}, {INFINITY, 44100}};
    for (const auto& [asked, given] : kRates) {
        synth.setSampleRate(asked);
        EXPECT_EQ(synth.sampleRate(), given) << asked;
        EXPECT_EQ(synth.engine().sampleRate(), given) << asked;
    }
    for (const int size : {0, -5, 1, std::numeric_limits<int>::max()}) {
        synth.setBlockSize(size);
        EXPECT_GE(synth.blockSize(), 1);
        test::EventList list{{5, 0xe0, 0, 0}, {1 << 30, 0x90, 60, 1}, {-3, 0xb0, 1, 1}};
        synth.processEvents(list);
        Plugin::render(synth, 300);
    }
}

/// The first half second of a note, after `prepare` has had its way with the plug-in.
std::vector<float> soundAfter(const char* vendor, void (*prepare)(VstXSynth&))
{
    return test::inFreshProcess([&] {
        Plugin plugin(vendor);
        plugin.run(4096);
        prepare(*plugin.synth);
        plugin.send({{0, 0x90, 48, 100}});
        return Plugin::render(*plugin.synth, 22050).left;
    });
}

TEST(Vendor, TheMakersHostHearsTwiceTheLevelAndSomeHearANewPatchGlideIn)
{
    const auto nothing = [](VstXSynth&) {};
    const auto plain = soundAfter("", nothing), own = soundAfter("Quillon Audio", nothing);
    ASSERT_GT(test::peak(plain), 0.01f);
    for (std::size_t i = plain.size() / 2; i < plain.size(); ++i)
        ASSERT_NEAR(own[i], 2.0f * plain[i], 1e-6f) << "sample " << i;
    EXPECT_EQ(soundAfter("Quillon Audio ", nothing), plain) << "compared exactly";

    const auto newPatch = [](VstXSynth& synth) {
        synth.parameters().setValue(filter_cutoff, 1.0f);
        synth.applyCurrentPatch();
    };
    const auto jumping = soundAfter("", newPatch);
    for (const auto& [vendor, glides] :
         {std::pair("Bitwig", false), {"Cockos", true}, {"Zynewave", true}})
        EXPECT_EQ(soundAfter(vendor, newPatch) != jumping, glides) << vendor;
}

/// A host that calls back from inside its notification.
struct RenderingHost : HostPeer {
    void updateDisplay() override { refreshParameters(); }
    void refreshParameters() override
    {
        float left = 0.5f, right = 0.5f;
        float* outputs[2] = {&left, &right};
        synth->process(nullptr, outputs, 1);
        rendered += left != 0.5f;
    }
    VstXSynth* synth = nullptr;
    int rendered = 0;
};

TEST(NewPatch, TellsTheHostAfterTheSoundIsFreeAgain)
{
    RenderingHost host;
    VstXSynth synth({nullptr, &host, nullptr, {}});
    host.synth = &synth;
    synth.applyCurrentPatch();
    EXPECT_EQ(host.rendered, 2);
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
        EXPECT_TRUE(plugin.fallsAsleep()) << "no key is remembered";
    }
}

} // namespace
} // namespace zephra
