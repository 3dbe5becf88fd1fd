// SPDX-License-Identifier: GPL-3.0-or-later
#include "synth/ControlPath.h"

#include "controls/ControlTable.h"
#include "synth/PluginEditor.h"

#include <algorithm>
#include <cmath>

namespace zephra {

namespace {

constexpr int kNoStepYet = -1;
constexpr int kTimbreSource = 5; // control value of a modulation source
constexpr float kWheelCentre = 0.5f;

/// Wheels go to the voices as they are: whatever the host sends ends up in 0..1.
float limited(float value, float ifNotANumber) noexcept
{
    return std::isnan(value) ? ifNotANumber : std::clamp(value, 0.0f, 1.0f);
}

} // namespace

ControlPath::ControlPath(PluginParameters& parameterStore, SynthEngine& soundEngine,
                         AudioGate& audioGate) noexcept
    : parameters(parameterStore), engine(soundEngine), gate(audioGate)
{
    for (auto& step : steppedValues)
        step = kNoStepYet;
}

void ControlPath::setControlValue(int id, float value, bool notifyEditor, Origin origin) noexcept
{
    if (id < 0 || id >= kNumControls)
        return;
    value = static_cast<float>(snapped(id, value));
    parameters.setValue(id, value);
    setControlInternal(id, value, origin);
    if (notifyEditor || id == panel_view)
        post(id, value / controlScale(id));
}

void ControlPath::setControlSilently(int id, float value) noexcept
{
    if (id < 0 || id >= kNumControls)
        return;
    value = static_cast<float>(snapped(id, value));
    parameters.setValue(id, value);
    setControlInternal(id, value);
}

void ControlPath::setControlInternal(int id, float value, Origin origin) noexcept
{
    // A preset may hold anything: what comes straight from there is brought to the grid here.
    value = static_cast<float>(snapped(id, value));
    if (isStepped(id)) {
        Shared<int>& last = steppedValues[static_cast<std::size_t>(id)];
        const int step = static_cast<int>(value);
        if (last == step)
            return;
        last = step;
    }

    switch (id) {
    case modwheel: modWheel = limited(value, defaultValue(modwheel)); break;
    case pitch_wheel:
        for (auto& bend : pitchBend)
            bend = 2.0f * limited(value, kWheelCentre) - 1.0f;
        break;
    case polyphony:
        // Resets voices, so it needs the engine alone. The MIDI intake leaves that to the block
        // it precedes.
        requests.setPolyphony(static_cast<int>(value));
        if (origin == Origin::Elsewhere) {
            const AudioGate::Pause pause(gate);
            requests.carryOut(engine);
        }
        break;
    case modulation_source_1:
    case modulation_source_2:
    case modulation_source_3:
        engine.setControl(id, value);
        timbreIsRouted = std::ranges::any_of(
            std::array{modulation_source_1, modulation_source_2, modulation_source_3},
            [this](int source) {
                return steppedValues[static_cast<std::size_t>(source)] == kTimbreSource;
            });
        break;
    default: engine.setControl(id, value); break;
    }
}

void ControlPath::applyAllControls() noexcept
{
    for (auto& step : steppedValues)
        step = kNoStepYet;
    for (const int id : kStorageOrder)
        setControlInternal(id, parameters.getValue(id));
    setControlInternal(pitch_wheel, kWheelCentre);
}

void ControlPath::post(int tag, float normalised) noexcept
{
    if (editor && editor->isOpen())
        editor->postValue(tag, normalised);
}

} // namespace zephra
