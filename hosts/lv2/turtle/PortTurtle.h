// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace zephra::lv2 {

/// A section of the panel: the controls whose names begin with a prefix, unless an earlier group
/// has them.
struct PortGroup {
    const char* symbol;
    const char* name;
    const char* prefixes[3]; ///< unused ones are nullptr
};

inline constexpr PortGroup kPortGroups[] = {
    {"osc_1", "Oscillator 1", {"osc_1_"}},
    {"osc_2", "Oscillator 2", {"osc_2_"}},
    {"osc_3", "Oscillator 3", {"osc_3_"}},
    {"mixer", "Mixer", {"mixer_"}},
    {"filter_env", "Filter Envelope", {"filter_env_"}},
    {"filter", "Filter", {"filter_"}},
    {"amplifier", "Amplifier Envelope", {"amplifier_"}},
    {"volume", "Volume and Unison", {"volume", "unison_"}},
    {"effects", "Effects", {"fx_"}},
    {"matrix", "Modulation Matrix", {"velocity_", "aftertouch_", "modwheel_"}},
    {"controllers", "Controllers", {"controls_", "tuning_", "modwheel"}},
    {"options", "Back Panel", {"opts_"}},
};

// Values of lv2:port.

/// Events, sound and latency.
std::string signalPorts();
/// The control with this host index; `start` is its port's value in a new instrument.
std::string controlPort(int index, float start);

/// Symbol of the port of a control.
const char* portSymbol(int index);

} // namespace zephra::lv2
