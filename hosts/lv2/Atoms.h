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

/// Calls each(item) for the items of a container whose value, the atom `value` and the bytes
/// behind it, is complete. `Head` is what stands ahead of the first.
template <class Head, class Item, class Container, class Each>
void forEachItem(const Container& container, LV2_Atom Item::*value, Each each)
{
    const std::size_t size = container.atom.size; // of all behind the container's own atom
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&container.body);
    std::size_t at = sizeof(Head);
    while (at + sizeof(Item) <= size) {
        const auto& item = *reinterpret_cast<const Item*>(bytes + at);
        const std::size_t length = sizeof(Item) + (item.*value).size;
        if (length > size - at)
            return;
        each(item);
        at += padded(length);
    }
}

/// Calls each(LV2_Atom_Event).
template <class Each> void forEachEvent(const LV2_Atom_Sequence& sequence, Each each)
{
    forEachItem<LV2_Atom_Sequence_Body>(sequence, &LV2_Atom_Event::body, each);
}

/// Calls each(key, value).
template <class Each> void forEachProperty(const LV2_Atom_Object& object, Each each)
{
    forEachItem<LV2_Atom_Object_Body>(
        object, &LV2_Atom_Property_Body::value,
        [&](const LV2_Atom_Property_Body& item) { each(item.key, item.value); });
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
