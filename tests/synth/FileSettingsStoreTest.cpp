// SPDX-License-Identifier: GPL-3.0-or-later
#include "synth/FileSettingsStore.h"

#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sys/stat.h>

namespace zephra {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

TEST(FileSettings, KeepTheBytesAsTheyAreAndWhatCannotBeReadIsAbsent)
{
    const test::TempFolder root;
    const fs::path folder = root / "deep" / "er";
    FileSettingsStore store(folder);
    for (const Bytes& bytes :
         {Bytes{0, 1, 0xff, '\n', '\r', 0}, Bytes{7}, Bytes(SettingsStore::kMaxBytes)}) {
        ASSERT_TRUE(store.write("DataCC", bytes));
        EXPECT_EQ(test::fileBytes(folder / "DataCC"), bytes);
        EXPECT_EQ(store.read("DataCC"), bytes);
    }
    // Where something stands in the way, everything stays as it is.
    root.put("deep/er/folder/inside", {1});
    EXPECT_FALSE(store.write("folder", Bytes{1}));
    EXPECT_FALSE(FileSettingsStore("").write("folder", Bytes{1}));
    EXPECT_FALSE(FileSettingsStore(folder / "DataCC" / "x").write("DataCC", Bytes{1}));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 2) << "nothing left aside";

    root.put("deep/er/long", Bytes(SettingsStore::kMaxBytes + 1));
    ::mkfifo((folder / "pipe").c_str(), 0600);
    fs::create_symlink("/dev/zero", folder / "endless");
    for (const char* name : {"missing", "long", "folder", "pipe", "endless"})
        EXPECT_FALSE(store.read(name)) << name;
}

TEST(FileSettings, LieWhereTheEnvironmentSays)
{
    const struct {
        const char *own, *config, *home, *folder;
    } kCases[] = {
        {"/own", "/config", "/home/me", "/own"},
        {nullptr, "/config", "/home/me", "/config/Quillon Audio/Zephra"},
        {"", "relative", "/home/me", "/home/me/.config/Quillon Audio/Zephra"},
        {nullptr, nullptr, nullptr, ""},
    };
    const auto set = [](const char* name, const char* value) {
        value ? ::setenv(name, value, 1) : ::unsetenv(name);
    };
    for (const auto& row : kCases) {
        set("ZEPHRA_SETTINGS_DIR", row.own);
        set("XDG_CONFIG_HOME", row.config);
        set("HOME", row.home);
        EXPECT_EQ(FileSettingsStore::defaultFolder(), row.folder);
    }
}

} // namespace
} // namespace zephra
