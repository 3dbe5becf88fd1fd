// SPDX-License-Identifier: GPL-3.0-or-later
#include "synth/FileSettingsStore.h"

#include "support/FreshProcess.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/stat.h>

namespace zephra {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

class FileSettings : public ::testing::Test {
protected:
    void put(const char* name, std::size_t bytes) const
    {
        fs::create_directories(folder());
        std::ofstream(folder() / name, std::ios::binary) << std::string(bytes, 'x');
    }
    fs::path folder() const { return root / "deep" / "er"; }

    test::TempFolder root;
};

TEST_F(FileSettings, KeepsTheBytesAsTheyAreInAFileOfThatName)
{
    const Bytes bytes = {0, 1, 0xff, '\n', '\r', 0, 0x1a};
    ASSERT_TRUE(FileSettingsStore(folder()).write("DataCC", bytes));
    EXPECT_EQ(fs::file_size(folder() / "DataCC"), bytes.size());
    EXPECT_EQ(FileSettingsStore(folder()).read("DataCC"), bytes);

    ASSERT_TRUE(FileSettingsStore(folder()).write("DataCC", Bytes{7}));
    EXPECT_EQ(FileSettingsStore(folder()).read("DataCC"), Bytes{7});
    EXPECT_EQ(std::distance(fs::directory_iterator(folder()), {}), 1) << "nothing left aside";
}

TEST_F(FileSettings, WhatCannotBeReadIsAbsent)
{
    put("empty", 0);
    put("limit", SettingsStore::kMaxBytes);
    put("long", SettingsStore::kMaxBytes + 1);
    fs::create_directory(folder() / "folder");
    ::mkfifo((folder() / "pipe").c_str(), 0600);
    fs::create_symlink("/dev/zero", folder() / "endless");
    fs::create_symlink("nowhere", folder() / "dangling");

    FileSettingsStore store(folder());
    EXPECT_EQ(store.read("empty"), Bytes{});
    ASSERT_TRUE(store.read("limit"));
    EXPECT_EQ(store.read("limit")->size(), SettingsStore::kMaxBytes);
    for (const char* name : {"missing", "long", "folder", "pipe", "endless", "dangling"})
        EXPECT_FALSE(store.read(name)) << name;
    EXPECT_FALSE(FileSettingsStore("").read("empty"));
}

TEST_F(FileSettings, AFailedWriteLeavesEverythingAsItWas)
{
    put("file", 3); // where a folder is wanted
    EXPECT_FALSE(FileSettingsStore(folder() / "file" / "x").write("DataCC", Bytes{1}));
    fs::create_directory(folder() / "DataCC");
    put("DataCC/inside", 1);
    EXPECT_FALSE(FileSettingsStore(folder()).write("DataCC", Bytes{1}));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder()), {}), 2) << "nothing left aside";
    EXPECT_FALSE(FileSettingsStore("").write("DataCC", Bytes{1}));
}

TEST(DefaultSettingsFolder, FollowsTheEnvironment)
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
