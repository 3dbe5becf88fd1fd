// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace zephra {

/// One value of a patch as it is stored.
struct PatchValue {
    static constexpr std::size_t kBytes = 8; ///< id, sub, value; little-endian

    std::uint16_t id = 0;  ///< control id
    std::uint16_t sub = 0; ///< sub-index, 0 for all controls of today
    float value = 0.0f;    ///< control value
};

/// Merges stored lists into a list of values, the target: each target value becomes what was stored
/// for its id and sub-index, or else for its id and sub-index 0; what was not stored stays. Of
/// duplicates the last one counts. What is not finite is taken as 0; what is below -9990 counts as
/// not stored.
///
/// Keeps what the target asks for and nothing of the lists, which may be of any length and hold
/// anything.
class ValueMerge {
public:
    explicit ValueMerge(std::span<PatchValue> targetValues); ///< outlives this object

    /// Takes in a list of whole PatchValues.
    void take(std::span<const std::uint8_t> stored) noexcept;
    /// Writes what was found into the target, whose order and length stay.
    void apply() noexcept;

private:
    /// Id and sub-index as one number to sort by.
    using Key = std::uint32_t;
    struct Wanted {
        Key key = 0;
        std::optional<float> value;
    };

    static constexpr Key keyOf(std::uint32_t id, std::uint32_t sub) noexcept
    {
        return id << 16 | sub;
    }
    /// nullptr if the target does not ask for it.
    Wanted* find(Key key) noexcept;

    std::span<PatchValue> target;
    std::vector<Wanted> wanted; ///< in rising order of keys
};

} // namespace zephra
