// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace zephra::test {

/// A folder of its own that goes with this object.
class TempFolder {
public:
    TempFolder()
    {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "zephra-test-XXXXXX").string();
        root = ::mkdtemp(pattern.data());
    }
    ~TempFolder() { std::filesystem::remove_all(root); }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::filesystem::path operator/(const std::filesystem::path& name) const { return root / name; }
    const std::filesystem::path& path() const { return root; }

    /// Writes a file and returns its path.
    std::string put(const std::filesystem::path& name, const std::vector<std::uint8_t>& bytes) const
    {
        const std::filesystem::path place = root / name;
        std::filesystem::create_directories(place.parent_path());
        std::ofstream(place, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        return place.string();
    }

    /// Files and folders directly in it.
    std::ptrdiff_t count() const
    {
        return std::distance(std::filesystem::directory_iterator(root), {});
    }

private:
    std::filesystem::path root;
};

inline std::vector<std::uint8_t> fileBytes(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace zephra::test
