// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Shared.h"
#include "controls/ControlIds.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <string_view>

namespace zephra {

/// A stored value below this counts as unset; kUnset is the form in which that is written.
inline constexpr float kUnsetBelow = -9990.0f;
inline constexpr float kUnset = -9999.0f;

/// Whether a value is a finite number above the mark of unset ones.
inline bool isSetValue(float value) noexcept { return std::isfinite(value) && value > kUnsetBelow; }

/// The value of one control. Ids never change once made; the value is read and written on every
/// thread.
struct ControlValue {
    std::uint16_t id = 0;
    std::uint16_t page = 0; ///< always 0
    Shared<float> value;

    bool isSet() const noexcept { return isSetValue(value); }
};
static_assert(sizeof(ControlValue) == 8);

/// One value for each stored control, in storage order.
using ControlValues = std::array<ControlValue, kNumStoredControls>;

/// One patch in memory. Texts are bytes, UTF-8 by intention, ended by a NUL. [ui] unless marked
/// otherwise.
struct PatchRecord {
    static constexpr std::size_t kMaxName = 31;        ///< bytes besides the NUL
    static constexpr std::size_t kMaxPresetInts = 64;  ///< words
    static constexpr std::size_t kInfoBytes = 560;     ///< the whole block
    static constexpr std::size_t kInfoTextBytes = 512; ///< its text, with the NUL
    static constexpr std::size_t paramCount = kNumStoredControls;

    /// Words that some patches bring along: kept and passed on, never read.
    std::array<std::uint32_t, kMaxPresetInts> presetInts{};
    std::size_t presetIntCount = 0; ///< most words that a patch has brought so far
    std::array<char, kMaxName + 1> name{};
    ControlValues params; ///< [any]
    std::array<char, kInfoBytes> info{};

    /// Cut at kMaxName bytes, never inside a UTF-8 sequence; NULs fill the rest of the field.
    void setName(std::string_view text) noexcept;
    std::string_view nameText() const noexcept { return name.data(); }
    /// What the patch is and how it is played, up to 511 bytes; the block behind it is cleared.
    void setInfoText(std::string_view text) noexcept;
    std::string_view infoText() const noexcept;
};

} // namespace zephra
