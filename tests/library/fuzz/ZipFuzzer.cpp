// SPDX-License-Identifier: GPL-3.0-or-later
// Damaged ZIP archives, imported into a library whose other files must stay as they are: nothing
// comes but one bank, with patches at most one folder deep, and nothing beside the library.
#include "FuzzPlace.h"
#include "library/ZipReader.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace {

using namespace zephra;
namespace fs = std::filesystem;

bool isImported(const fs::path& file, const fs::path& bank)
{
    const fs::path below = file.lexically_relative(bank);
    const auto depth = std::distance(below.begin(), below.end());
    const bool isPatch = equalNoCase(file.extension().string(), ".fxp") && depth <= 2;
    return fs::is_regular_file(fs::symlink_status(file))
               ? (isPatch || below == "config.ini") &&
                     fs::file_size(file) <= ZipReader::kMostItemBytes
               : fs::is_directory(fs::symlink_status(file)) && depth == 1;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // The library, and beside it room for one archive.
    static const fs::path place = test::makeFuzzPlace("Soundbanks/Bank"),
                          root = place / "Soundbanks", bank = root / "Pack";
    static test::SilentHost host;
    static PatchLibrary library(root, host);
    std::ofstream(place / "Pack.zip", std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));

    PathText made;
    const bool done = library.importZip(place / "Pack.zip", made);
    bool clean = fs::exists(bank) == done;
    if (done)
        clean &= std::ranges::all_of(
            fs::recursive_directory_iterator(bank),
            [](const fs::directory_entry& at) { return isImported(at.path(), bank); });
    fs::remove_all(bank);
    const auto count = [](const fs::path& folder) {
        return std::distance(fs::directory_iterator(folder), {});
    };
    constexpr int kInPlace = 2; // the archive and the library
    constexpr int kInRoot = 2;  // the bank and the list of favourites
    if (!clean || count(place) != kInPlace || count(root) != kInRoot)
        std::abort();
    return 0;
}
