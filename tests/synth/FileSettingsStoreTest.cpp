// SPDX-License-Identifier: GPL-3.0-or-later
#include "synth/FileSettingsStore.h"

#include "support/FreshProcess.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sys/stat.h>

namespace zephra {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

TEST(FileSettings, KeepTheBytesAsTheyAreInAFileOfThatName)
{
    const test::TempFolder root;
    const fs::path folder = root / "deep" / "er";
    for (const Bytes& bytes : {Bytes{0, 1, 0xff, '\n', '\r', 0, 0x1a}, Bytes{7}}) {
        ASSERT_TRUE(FileSettingsStore(folder).write("DataCC", bytes));
        EXPECT_EQ(test::fileBytes(folder / "DataCC"), bytes);
        EXPECT_EQ(FileSettingsStore(folder).read("DataCC"), bytes);
    }
    // Where something stands in the way, everything stays as it is.
    root.put("deep/er/folder/inside", {1});
    for (const fs::path& place : {folder / "folder", fs::path()})
        EXPECT_FALSE(FileSettingsStore(place.parent_path()).write("folder", Bytes{1}));
    EXPECT_FALSE(FileSettingsStore(folder / "DataCC" / "x").write("DataCC", Bytes{1}));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 2) << "nothing left aside";
}

TEST(FileSettings, ThatCannotBeReadAreAbsent)
{
    const test::TempFolder folder;
    folder.put("limit", Bytes(SettingsStore::kMaxBytes));
    folder.put("long", Bytes(SettingsStore::kMaxBytes + 1));
    fs::create_directory(folder / "folder");
    ::mkfifo((folder / "pipe").c_str(), 0600);
    fs::create_symlink("/dev/zero", folder / "endless");

    FileSettingsStore store(folder.path());
    ASSERT_TRUE(store.read("limit"));
    EXPECT_EQ(store.read("limit")->size(), SettingsStore::kMaxBytes);
    for (const char* name : {"missing", "long", "folder", "pipe", "endless"})
        EXPECT_FALSE(store.read(name)) << name;
    EXPECT_FALSE(FileSettingsStore("").read("limit"));
}

TEST(FileSettings, LieWhereTheEnvironmentSays)
{
    const struct {
        const char *own, *config, *home, *folder;
    } kCases[] = {
        {"/own", "/config", "/home/me", "/own"},
        {nullptr, "/config", "/home/me", "/config/Quillon Audio/Zephra"},
        {"", "", "/home/me", "/home/me/.config/Quillon Audio/Zephra"},
        {nullptr, "relative", "/home/me", "/home/me/.config/Quillon Audio/Zephra"},
        {nullptr, nullptr, nullptr, ""},
    };
    const auto set = [](const char* name, const char* value) {
        value ? ::setenv(name, value, 1) : ::unsetenv(name);
    };
    for (const auto& row : kCases) {
        const auto same = test::inFreshProcess([&] { // which takes the environment with it
            set("ZEPHRA_SETTINGS_DIR", row.own);
            set("XDG_CONFIG_HOME", row.config);
            set("HOME", row.home);
            return std::vector{FileSettingsStore::defaultFolder() == row.folder ? 1.0f : 0.0f};
        });
        EXPECT_EQ(same, std::vector{1.0f}) << row.folder;
    }
}

} // namespace
} // namespace zephra
