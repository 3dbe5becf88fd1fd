// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Shared.h"
#include "controls/PluginParameters.h"
#include "engine/SynthEngine.h"
#include "synth/AudioGate.h"
#include "synth/EngineRequests.h"

#include <array>

namespace zephra {

class PluginEditor;

/// The way of a control value: into the current preset, which is the truth, on to the engine, and
/// to the screen. Never backwards. [any] unless marked otherwise; two writers of one control at
/// the same moment may leave either value, but always a whole one.
class ControlPath {
public:
    /// Whether the caller is the MIDI intake on the audio thread, which must not wait.
    enum class Origin { Midi, Elsewhere };

    /// All three outlive this object.
    ControlPath(PluginParameters& parameterStore, SynthEngine& soundEngine,
                AudioGate& audioGate) noexcept;

    /// [ui] Before the first block; nullptr: nobody is told of changes.
    void attachEditor(PluginEditor* shownEditor) noexcept { editor = shownEditor; }

    /// Stores and sends a control value; switches and steps are brought to their grid first. Ids
    /// outside 0..153 do nothing. With notifyEditor the open editor shows it; panel_view turns the
    /// panel in any case.
    void setControlValue(int id, float value, bool notifyEditor,
                         Origin origin = Origin::Elsewhere) noexcept;
    /// The same, without a word to the editor.
    void setControlSilently(int id, float value) noexcept;
    /// Sends a control value on its way to the sound without storing it: pitch_wheel too, which no
    /// preset holds. A stepped control that already has this step goes no further.
    void setControlInternal(int id, float value, Origin origin = Origin::Elsewhere) noexcept;
    /// [!audio, or !processing] Sends every stored control from the preset; the pitch wheel goes
    /// to its centre.
    void applyAllControls() noexcept;

    /// Shows a normalised value at an open editor's widget.
    void post(int tag, float normalised) noexcept;

    Shared<float> modWheel{0.0f}; ///< 0..1; reaches the engine with the next block
    std::array<Shared<float>, kMidiChannels> pitchBend; ///< -1..1, likewise
    Shared<bool> timbreIsRouted{false}; ///< a modulation source is Timbre, which takes CC 74
    EngineRequests requests;

private:
    PluginParameters& parameters;
    SynthEngine& engine;
    AudioGate& gate;
    PluginEditor* editor = nullptr;
    /// Last step sent of each stepped control by id; a repeated one stops here, so that it cannot
    /// rebuild voices.
    std::array<Shared<int>, kNumControls> steppedValues;
};

} // namespace zephra
