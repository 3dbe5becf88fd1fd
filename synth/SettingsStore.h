// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace zephra {

/// Named binary values of the user, common to all instances of the plug-in. [ui]
class SettingsStore {
public:
    static constexpr std::size_t kMaxBytes = 1 << 20; ///< a larger value counts as absent

    virtual ~SettingsStore() = default;

    /// Nothing if there is no such value or it cannot be read.
    virtual std::optional<std::vector<std::uint8_t>> read(std::string_view name) = 0;
    /// Replaces the value; on failure the old one stays.
    virtual bool write(std::string_view name, std::span<const std::uint8_t> bytes) = 0;
};

} // namespace zephra
