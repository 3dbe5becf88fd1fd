// SPDX-License-Identifier: GPL-3.0-or-later
#include "synth/FileSettingsStore.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <string>
#include <system_error>
#include <unistd.h>
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

bool writeAll(int file, std::span<const std::uint8_t> bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(file, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return ::fsync(file) == 0;
}

} // namespace

FileSettingsStore::FileSettingsStore(fs::path settingsFolder) : folder(std::move(settingsFolder)) {}

std::optional<std::vector<std::uint8_t>> FileSettingsStore::read(std::string_view name)
{
    const fs::path path = folder / name;
    std::error_code error;
    // Opening a pipe or a device could wait for ever.
    if (folder.empty() || !fs::is_regular_file(path, error))
        return std::nullopt;

    std::ifstream file(path, std::ios::binary);
    std::vector<std::uint8_t> bytes(kMaxBytes + 1);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    const auto count = static_cast<std::size_t>(file.gcount());
    if (!file.eof() || count > kMaxBytes) // not open, a failed read, or too long
        return std::nullopt;
    bytes.resize(count);
    return bytes;
}

bool FileSettingsStore::write(std::string_view name, std::span<const std::uint8_t> bytes)
{
    if (folder.empty())
        return false;
    std::error_code error;
    fs::create_directories(folder, error);

    const fs::path path = folder / name;
    std::string aside = path.string() + ".XXXXXX"; // two instances may write at once
    const int file = ::mkstemp(aside.data());
    if (file < 0)
        return false;
    bool done = writeAll(file, bytes);
    done = ::close(file) == 0 && done;
    if (done) {
        fs::rename(aside, path, error);
        done = !error;
    }
    if (!done)
        fs::remove(aside, error);
    return done;
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
