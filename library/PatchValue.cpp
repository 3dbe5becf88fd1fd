// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchValue.h"

#include "common/ByteOrder.h"
#include "controls/PatchRecord.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

namespace zephra {

namespace {

/// Id and sub-index as one number to sort by.
using Key = std::uint32_t;

constexpr Key keyOf(std::uint32_t id, std::uint32_t sub) noexcept { return id << 16 | sub; }

/// The values that a target asks for, found in a list of any size.
class WantedValues {
public:
    explicit WantedValues(std::span<const PatchValue> target)
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

    void take(std::span<const std::uint8_t> entry) noexcept
    {
        const float value = littleEndianFloat(entry, 4);
        if (std::isfinite(value) && value < kUnsetBelow)
            return;
        const Key key = keyOf(littleEndian16(entry, 0), littleEndian16(entry, 2));
        if (Wanted* found = find(key))
            found->value = std::isfinite(value) ? value : 0.0f;
    }

    std::optional<float> valueOf(Key key) noexcept
    {
        const Wanted* found = find(key);
        return found ? found->value : std::nullopt;
    }

private:
    struct Wanted {
        Key key;
        std::optional<float> value;
    };

    Wanted* find(Key key) noexcept
    {
        const auto found = std::ranges::lower_bound(wanted, key, {}, &Wanted::key);
        return found != wanted.end() && found->key == key ? &*found : nullptr;
    }

    std::vector<Wanted> wanted; ///< in rising order of keys
};

} // namespace

void mergeValues(std::span<PatchValue> target, std::span<const std::uint8_t> stored)
{
    WantedValues values(target);
    for (; stored.size() >= PatchValue::kBytes; stored = stored.subspan(PatchValue::kBytes))
        values.take(stored.first(PatchValue::kBytes));

    for (PatchValue& value : target) {
        auto found = values.valueOf(keyOf(value.id, value.sub));
        if (!found)
            found = values.valueOf(keyOf(value.id, 0));
        if (found)
            value.value = *found;
    }
}

} // namespace zephra
