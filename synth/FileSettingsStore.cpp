// SPDX-License-Identifier: GPL-3.0-or-later
#include "synth/FileSettingsStore.h"

#include "common/WholeFile.h"

#include <cstdlib>
#include <system_error>
#include <utility>

namespace zephra {

namespace fs = std::filesystem;

namespace {

/// Value of an environment variable, empty if unset.
fs::path environmentPath(const char* name)
{
    const char* value = std::getenv(name);
    return value ? fs::path(value) : fs::path();
}

} // namespace

FileSettingsStore::FileSettingsStore(fs::path settingsFolder) : folder(std::move(settingsFolder)) {}

std::optional<std::vector<std::uint8_t>> FileSettingsStore::read(std::string_view name)
{
    if (folder.empty())
        return std::nullopt;
    RegularFile file(folder / name);
    if (file.error() || file.size() > kMaxBytes)
        return std::nullopt;
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(file.size()));
    if (file.read(bytes) != bytes.size())
        return std::nullopt;
    return bytes;
}

bool FileSettingsStore::write(std::string_view name, std::span<const std::uint8_t> bytes)
{
    if (folder.empty())
        return false;
    std::error_code error;
    fs::create_directories(folder, error);
    return !replaceFile(folder / name, bytes);
}

fs::path FileSettingsStore::defaultFolder()
{
    if (fs::path replaced = environmentPath("ZEPHRA_SETTINGS_DIR"); !replaced.empty())
        return replaced;
    fs::path config = environmentPath("XDG_CONFIG_HOME");
    if (!config.is_absolute()) { // relative ones are to be ignored
        const fs::path home = environmentPath("HOME");
        if (home.empty())
            return {};
        config = home / ".config";
    }
    return config / "Quillon Audio" / "Zephra";
}

} // namespace zephra
