// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Shared.h"
#include "controls/ControlIds.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace zephra {

/// A stored value below this counts as unset; kUnset is the form in which that is written.
inline constexpr float kUnsetBelow = -9990.0f;
inline constexpr float kUnset = -9999.0f;

/// The value of one control. Ids never change once made; the value is read and written on every
/// thread.
struct ControlValue {
    std::uint16_t id = 0;
    std::uint16_t page = 0; ///< always 0
    Shared<float> value;

    /// Neither below the mark nor not a number.
    bool isSet() const noexcept { return value.get() > kUnsetBelow; }
};
static_assert(sizeof(ControlValue) == 8);

/// One value for each stored control, in storage order.
using ControlValues = std::array<ControlValue, kNumStoredControls>;

/// One patch in memory.
struct PatchRecord {
    static constexpr std::size_t kMaxName = 27;

    /// [ui] Bytes, ended by a NUL.
    std::array<char, kMaxName + 1> name{};
    ControlValues params; ///< [any]

    /// [ui] Cut at kMaxName bytes; the rest of the field is filled with NULs.
    void setName(std::string_view text) noexcept;
};

} // namespace zephra
