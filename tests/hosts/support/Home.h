// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace zephra::test {

/// A user's home for the plug-ins of a test: an empty library, and settings that nobody has made.
class HomeTest : public testing::Test {
protected:
    HomeTest()
    {
        ::setenv("ZEPHRA_DATA_ROOT", (home / "data").c_str(), 1);
        ::setenv("ZEPHRA_SETTINGS_DIR", (home / "settings").c_str(), 1);
        std::filesystem::create_directories(soundbanks());
    }
    std::filesystem::path soundbanks() const { return home / "data/Soundbanks"; }
    void copyFactoryBank(const char* name) const
    {
        std::filesystem::copy(std::filesystem::path(ZEPHRA_SOUNDBANKS) / name, soundbanks() / name,
                              std::filesystem::copy_options::recursive);
    }

    TempFolder home;
};

} // namespace zephra::test
