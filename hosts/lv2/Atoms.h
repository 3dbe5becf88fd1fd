// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <lv2/atom/atom.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zephra::lv2 {

// Walks over what a host has put into an atom. Sizes in it are not believed: nothing beyond the
// size of the whole is read, and damage ends the walk. [audio]

/// Distance from one item to the next: its size in steps of eight bytes.
constexpr std::size_t padded(std::size_t size) noexcept { return (size + 7) & ~std::size_t{7}; }

/// Calls each(LV2_Atom_Event) for the events of a sequence whose body is complete.
template <class Each> void forEachEvent(const LV2_Atom_Sequence& sequence, Each each)
{
    const std::size_t size = sequence.atom.size; // of all behind the atom's own head
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&sequence.body);
    std::size_t at = sizeof(LV2_Atom_Sequence_Body);
    while (at + sizeof(LV2_Atom_Event) <= size) {
        const auto& event = *reinterpret_cast<const LV2_Atom_Event*>(bytes + at);
        const std::size_t length = sizeof(LV2_Atom_Event) + event.body.size;
        if (length > size - at)
            return;
        each(event);
        at += padded(length);
    }
}

/// Calls each(key, value) for the properties of an object whose value is complete.
template <class Each> void forEachProperty(const LV2_Atom_Object& object, Each each)
{
    const std::size_t size = object.atom.size;
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&object.body);
    std::size_t at = sizeof(LV2_Atom_Object_Body);
    while (at + sizeof(LV2_Atom_Property_Body) <= size) {
        const auto& property = *reinterpret_cast<const LV2_Atom_Property_Body*>(bytes + at);
        const std::size_t length = sizeof(LV2_Atom_Property_Body) + property.value.size;
        if (length > size - at)
            return;
        each(property.key, property.value);
        at += padded(length);
    }
}

/// The value behind an atom's head; zero if the atom is too small for it.
template <class Number> Number numberIn(const LV2_Atom& atom) noexcept
{
    Number number{};
    if (atom.size >= sizeof number)
        std::memcpy(&number, &atom + 1, sizeof number);
    return number;
}

} // namespace zephra::lv2
