// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace zephra {

/// Longest text of a control, in characters.
inline constexpr std::size_t kMaxControlText = 511;

/// Present values of other controls that a text depends on.
struct TextContext {
    double osc3Range = 0.0;  ///< control value of osc_3_range
    double osc3LoSync = 0.0; ///< control value of opts_osc_3_lo_sync
};

/// What hosts and the editor show for control value `value` of control `id`; empty for an unknown
/// id. Pure, [any] but allocates. Safe for every value: one that is not a number shows the text of
/// the default, which is what the engine plays then; lists and times outside their range show the
/// nearest row or end. Decimals are separated by a full stop, whatever the locale of the process.
/// A stepped control shows the step that `snapped` would store; a switch is on only at 1 exactly.
/// Example: controlText(filter_cutoff, 0.5) is "841 Hz".
std::string controlText(int id, double value, const TextContext& context = {});

} // namespace zephra
