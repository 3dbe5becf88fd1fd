// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/LibraryHost.h"
#include "support/TempFolder.h"

#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zephra::test {

/// A library that shows its messages to a test.
struct RecordingLibraryHost : LibraryHost {
    void showMessage(std::string_view, std::string_view text) override { texts.emplace_back(text); }
    void showProgress(std::size_t done, std::size_t whole) override { progress = {done, whole}; }

    std::vector<std::string> texts;
    std::pair<std::size_t, std::size_t> progress; ///< done, of how many
};

/// A soundbank root on disk. Names that end with "/" are folders; all files hold their own name.
class LibraryTree {
public:
    LibraryTree(std::initializer_list<const char*> names)
    {
        std::filesystem::create_directories(root());
        for (const std::string name : names) {
            if (name.ends_with('/'))
                std::filesystem::create_directories(root() / name);
            else
                put(name, name);
        }
    }

    std::filesystem::path root() const { return folder / "Soundbanks"; }
    std::filesystem::path operator/(const std::filesystem::path& name) const
    {
        return root() / name;
    }

    void put(const std::string& name, std::string_view text) const
    {
        folder.put("Soundbanks/" + name, {text.begin(), text.end()});
    }
    std::string text(const std::string& name) const
    {
        const auto bytes = fileBytes(root() / name);
        return {bytes.begin(), bytes.end()};
    }

    /// All files and empty folders, sorted; but the list of favourites.
    std::vector<std::string> names() const
    {
        namespace fs = std::filesystem;
        std::vector<std::string> found;
        for (const auto& at : fs::recursive_directory_iterator(root())) {
            const std::string name = at.path().lexically_relative(root()).string();
            const bool isFolder = at.is_directory() && !at.is_symlink();
            if (name != "Favourites.db" && (!isFolder || fs::is_empty(at)))
                found.push_back(isFolder ? name + "/" : name);
        }
        std::ranges::sort(found);
        return found;
    }

private:
    TempFolder folder;
};

} // namespace zephra::test
