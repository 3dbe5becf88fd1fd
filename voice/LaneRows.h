// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstring>

namespace zephra {

inline constexpr int kVoices = 8;

// The state of voices is written once, as templates of what holds a value: Single for one voice,
// Lanes for eight voices side by side, and vectors inside a kernel. Their `visit` hands each row
// to `each`, the same row of all objects at once.

template <class T> using Single = T;
template <class T> using Lanes = std::array<T, kVoices>;

/// Access to one lane of `Rows` as a State. Rows of all kinds hold one lane after the other.
template <class Rows, class State> struct LaneAccess {
    State load(std::size_t lane) const noexcept
    {
        State state;
        Rows::visit(
            [lane](auto& value, const auto& row) {
                std::memcpy(&value, reinterpret_cast<const std::byte*>(&row) + lane * sizeof value,
                            sizeof value);
            },
            state, static_cast<const Rows&>(*this));
        return state;
    }
    void store(std::size_t lane, const State& state) noexcept
    {
        Rows::visit(
            [lane](auto& row, const auto& value) {
                std::memcpy(reinterpret_cast<std::byte*>(&row) + lane * sizeof value, &value,
                            sizeof value);
            },
            static_cast<Rows&>(*this), state);
    }
};

} // namespace zephra
