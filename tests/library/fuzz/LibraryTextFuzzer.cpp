// SPDX-License-Identifier: GPL-3.0-or-later
// Damaged "config.ini" and "Favourites.db" in a library of one bank, which must come out of it as
// it was: nothing is written but the list of favourites, and that stays inside the library.
#include "FuzzPlace.h"
#include "library/BankConfig.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace {

using namespace zephra;
namespace fs = std::filesystem;

fs::path makeTree()
{
    const fs::path root = test::makeFuzzPlace("Bank/Lead");
    std::ofstream(root / "Bank/Lead/Solo AB.fxp");
    return root;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const fs::path root = makeTree();
    static test::SilentHost host;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    for (const char* name : {"Bank/config.ini", "Favourites.db"})
        std::ofstream(root / name, std::ios::binary) << text;

    const PatchLibrary library(root, host);
    const PatchEntry& patch = library.entries().at(0);
    const bool whole = library.entries().size() == 1 && library.authorNamesOf(patch).size() <= 1 &&
                       library.categoryNameOf(patch) == "Lead";
    for (const PatchEntry& favourite : library.favourites())
        if (favourite.path.isCut() || favourite.path.view().find("\\..\\") != std::string::npos ||
            !favourite.path.view().starts_with(library.root().view()))
            std::abort();
    if (!whole)
        std::abort();
    return 0;
}
