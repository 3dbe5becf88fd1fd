// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchValue.h"

#include "common/ByteOrder.h"
#include "controls/PatchRecord.h"

#include <algorithm>
#include <cmath>

namespace zephra {

ValueMerge::ValueMerge(std::span<PatchValue> targetValues) : target(targetValues)
{
    wanted.reserve(2 * target.size());
    for (const PatchValue& value : target) {
        wanted.push_back({keyOf(value.id, value.sub), {}});
        wanted.push_back({keyOf(value.id, 0), {}});
    }
    std::ranges::sort(wanted, {}, &Wanted::key);
    const auto sameKey = [](const Wanted& a, const Wanted& b) { return a.key == b.key; };
    wanted.erase(std::unique(wanted.begin(), wanted.end(), sameKey), wanted.end());
}

void ValueMerge::take(std::span<const std::uint8_t> stored) noexcept
{
    for (; stored.size() >= PatchValue::kBytes; stored = stored.subspan(PatchValue::kBytes)) {
        const float value = littleEndianFloat(stored, 4);
        const float taken = std::isfinite(value) ? value : 0.0f;
        Wanted* const entry = find(keyOf(littleEndian16(stored, 0), littleEndian16(stored, 2)));
        if (entry && taken >= kUnsetBelow)
            entry->value = taken;
    }
}

void ValueMerge::apply() noexcept
{
    for (PatchValue& value : target) {
        const Wanted* found = find(keyOf(value.id, value.sub));
        if (found && !found->value)
            found = find(keyOf(value.id, 0));
        if (found && found->value)
            value.value = *found->value;
    }
}

ValueMerge::Wanted* ValueMerge::find(Key key) noexcept
{
    const auto found = std::ranges::lower_bound(wanted, key, {}, &Wanted::key);
    return found != wanted.end() && found->key == key ? &*found : nullptr;
}

} // namespace zephra
