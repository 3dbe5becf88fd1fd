// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "support/FreshProcess.h"
#include "support/PluginPeers.h"

#include <gtest/gtest.h>

#include <climits>
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
    EXPECT_EQ(other.editor->wheel, 2.0f);
    EXPECT_EQ(other.synth->vendorSpecific(kWheel, 0, nullptr, 2.0f), 0) << "the maker's own way";
    EXPECT_EQ(own.synth->vendorSpecific(kWheel, 0, nullptr, 2.0f), 1);
    other.editor->open = false;
    EXPECT_EQ(other.synth->vendorSpecific(kHost, kWheel, nullptr, 2.0f), 0);
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

TEST(NewPatch, TellsTheHostAfterTheSoundIsFreeAgain)
{
    struct RenderingHost : HostPeer { // from inside its notification
        void updateDisplay() override
        {
            float left = 0.5f, right = 0.5f;
            float* outputs[2] = {&left, &right};
            synth->process(nullptr, outputs, 1);
            rendered = left != 0.5f;
        }
        VstXSynth* synth = nullptr;
        bool rendered = false;
    } host;
    VstXSynth synth({nullptr, &host, nullptr, {}});
    host.synth = &synth;
    synth.applyCurrentPatch();
    EXPECT_TRUE(host.rendered);
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

using Moves = std::vector<std::pair<int, float>>;

class Parameters : public testing::Test {
protected:
    test::Plugin plugin;
    VstXSynth& synth = *plugin.synth;
};

TEST_F(Parameters, StepsSurviveTheHostExactly)
{
    for (const ControlInfo& control : kControls) {
        if (control.kind == ControlKind::Continuous || !control.isAutomatable() ||
            !control.isStored())
            continue;
        for (float step = 0; step <= control.scale; ++step) {
            synth.setControlValue(control.id, step, false);
            const float told = synth.getParameter(control.hostIndex);
            for (const float kept : {told, std::stof(std::to_string(told))}) { // by six digits
                synth.setParameter(control.hostIndex, 1.0f - told);
                synth.setParameterAutomated(control.hostIndex, kept);
                EXPECT_EQ(synth.getControlValue(control.id), step) << control.name;
            }
        }
    }
}

TEST_F(Parameters, WhatDoesNotExistReadsZeroAndDoesNothing)
{
    char text[64];
    for (const int number :
         {-1, 0, 6, 75, kNumControls, +pitch_wheel, 9999, NoParameter, INT_MIN}) {
        if (number != 0 && number != 6) { // indexes, but not controls
            synth.setParameter(number, 1.0f);
            synth.setParameterAutomated(number, 1.0f);
            EXPECT_EQ(synth.getParameter(number), 0.0f);
            synth.getParameterName(number, text);
            EXPECT_STREQ(text, "-/-");
        }
        if (number != 75) {
            synth.setControlValue(number, 1.0f, true);
            synth.setControlSilently(number, 1.0f);
            synth.notifyHostAutomate(number);
            EXPECT_EQ(synth.getControlValue(number), 0.0f) << number;
            EXPECT_EQ(synth.controlName(number), "-/-") << number;
        }
    }
    plugin.run(64);
    EXPECT_EQ(synth.engine().performance.pitchBendNow[0], 0.0f) << "not even the pitch wheel";
    EXPECT_TRUE(plugin.host.automated.empty());
}

TEST_F(Parameters, TextsReachTheHost)
{
    char text[64];
    for (int index = 0; index < kNumHostParameters; ++index) {
        synth.getParameterDisplay(index, text);
        EXPECT_EQ(synth.formatParameter(index, synth.getParameter(index)), text) << index;
    }
    synth.getParameterDisplay(0, nullptr);
    synth.setControlValue(opts_osc_3_lo_sync, 1.0f, false);
    synth.setControlValue(osc_3_range, 0.0f, false);
    EXPECT_EQ(synth.formatControl(osc_3_semi), "1/2") << "oscillator 3 follows the tempo";
}

TEST_F(Parameters, TheOpenEditorShowsWhatOthersChangeWithoutAnEchoOfItsOwnGesture)
{
    synth.setParameter(12, 0.4f);
    synth.setControlValue(pb_range_up, 12.0f, true);
    synth.setControlValue(volume, 0.1f, false);
    synth.setControlSilently(volume, 0.2f);
    synth.setParameterAutomated(1, 0.3f);
    synth.setControlValue(panel_view, 0.3f, false); // asks for the back panel
    synth.setControlSilently(panel_view, 1.0f);
    const Moves shown = {{osc_1_range, 0.4f}, {pb_range_up, 0.25f}, {panel_view, 0.0f}};
    EXPECT_EQ(plugin.editor->posts, shown);
    plugin.editor->open = false;
    synth.parameterBeingEdited = 1;
    synth.setParameter(1, 0.9f);
    synth.setParameter(12, 0.6f);
    EXPECT_EQ(plugin.editor->posts, shown);
    EXPECT_EQ(synth.getParameter(1), 0.3f);
    synth.setParameterAutomated(1, 0.8f); // automation is no echo
    EXPECT_EQ(synth.getParameter(1), 0.8f);

    synth.notifyHostAutomate(osc_1_range);
    synth.notifyHostAutomate(polyphony); // hosts do not see it
    EXPECT_EQ(plugin.host.automated, (Moves{{12, 0.6f}}));
    VstXSynth().notifyHostAutomate(osc_1_range); // nobody listens
}

TEST_F(Parameters, APatchCentresThePitchWheelAndBringsItsOwnModWheel)
{
    const Performance& now = synth.engine().performance;
    synth.setControlInternal(pitch_wheel, 1.0f);
    plugin.run(64);
    EXPECT_EQ(now.pitchBendNow[9], 1.0f);
    synth.parameters().setValue(modwheel, 0.75f);
    synth.applyCurrentPatch();
    plugin.run(64);
    for (const float bend : now.pitchBendNow)
        EXPECT_EQ(bend, 0.0f);

    plugin.send({{0, 0xe3, 0, 0}});
    plugin.run(64);
    EXPECT_EQ(now.pitchBendNow[3], -1.0f);
    synth.setBlockSize(256); // centres it too
    plugin.run(64);
    EXPECT_EQ(now.pitchBendNow[3], 0.0f);
    EXPECT_EQ(now.modWheelNow, 0.75f) << "the mod wheel stays";
}

} // namespace
} // namespace zephra
