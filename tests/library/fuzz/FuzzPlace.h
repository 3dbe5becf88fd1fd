// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/PatchLibrary.h"

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

namespace zephra::test {

struct SilentHost : LibraryHost {
    void showMessage(std::string_view, std::string_view) override {}
};

/// A folder of its own, with `below` in it.
inline std::filesystem::path makeFuzzPlace(const char* below)
{
    namespace fs = std::filesystem;
    const fs::path memory = "/dev/shm"; // thousands of files a second
    std::string pattern =
        ((fs::is_directory(memory) ? memory : fs::temp_directory_path()) / "zephra-fuzz-XXXXXX")
            .string();
    const fs::path place = ::mkdtemp(pattern.data());
    fs::create_directories(place / below);
    return place;
}

} // namespace zephra::test
