// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "support/PluginPeers.h"

#include <gtest/gtest.h>

#include <climits>

namespace zephra {
namespace {

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
            synth.setControlValue(control.id, control.scale - step, false);
            synth.setParameter(control.hostIndex, told);
            EXPECT_EQ(synth.getControlValue(control.id), step) << control.name;
            synth.setControlValue(control.id, control.scale - step, false);
            const float sixDigits = std::stof(std::to_string(told)); // as some hosts keep it
            synth.setParameterAutomated(control.hostIndex, sixDigits);
            EXPECT_EQ(synth.getControlValue(control.id), step) << control.name;
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
