// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/LibraryPlaces.h"
#include "support/TempFolder.h"

#include <cstdlib>
#include <filesystem>

namespace zephra::lv2 {

/// A user's home for plug-ins of this process while it lives: the library holds the factory bank
/// "Showcase", there are no settings.
struct Home {
    Home()
    {
        ::setenv("ZEPHRA_DATA_ROOT", folder.path().c_str(), 1);
        ::setenv("ZEPHRA_SETTINGS_DIR", (folder / "settings").c_str(), 1);
        std::filesystem::create_directory(folder / "Soundbanks");
        std::filesystem::copy(ZEPHRA_SOUNDBANKS "/Showcase", folder / "Soundbanks/Showcase",
                              std::filesystem::copy_options::recursive);
    }

    test::TempFolder folder;
};

} // namespace zephra::lv2
