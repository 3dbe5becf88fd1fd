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

/// Access to one lane of a state. Rows of all kinds hold one lane after the other.
template <template <template <class> class> class Rows, template <class> class Row>
struct LaneAccess {
    Rows<Single> load(std::size_t lane) const noexcept
    {
        Rows<Single> state;
        const auto take = [lane](auto& value, const auto& row) {
            const auto* const values = reinterpret_cast<const std::byte*>(&row);
            std::memcpy(&value, values + lane * sizeof value, sizeof value);
        };
        Rows<Row>::visit(take, state, static_cast<const Rows<Row>&>(*this));
        return state;
    }
    void store(std::size_t lane, const Rows<Single>& state) noexcept
    {
        const auto put = [lane](auto& row, const auto& value) {
            auto* const values = reinterpret_cast<std::byte*>(&row);
            std::memcpy(values + lane * sizeof value, &value, sizeof value);
        };
        Rows<Row>::visit(put, static_cast<Rows<Row>&>(*this), state);
    }
};

} // namespace zephra
