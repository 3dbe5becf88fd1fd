// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "synth/SettingsStore.h"

#include <filesystem>

namespace zephra {

/// One file a value, holding its bytes as they are. Names are plain file names.
class FileSettingsStore : public SettingsStore {
public:
    /// The folder is made at the first write. An empty path: nothing is stored.
    explicit FileSettingsStore(std::filesystem::path settingsFolder = defaultFolder());

    std::optional<std::vector<std::uint8_t>> read(std::string_view name) override;
    /// Writes a file aside, then renames it over the old one.
    bool write(std::string_view name, std::span<const std::uint8_t> bytes) override;

    /// ZEPHRA_SETTINGS_DIR if set, else "Quillon Audio/Zephra" below XDG_CONFIG_HOME, which
    /// defaults to ~/.config; empty without a home.
    static std::filesystem::path defaultFolder();

private:
    std::filesystem::path folder;
};

} // namespace zephra
