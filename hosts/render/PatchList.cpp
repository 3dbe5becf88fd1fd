// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/PatchList.h"

#include "library/PatchLibrary.h"
#include "song/Failure.h"

#include <filesystem>
#include <ostream>
#include <system_error>

namespace zephra::render {
namespace {

/// Lists have no place for messages of the library.
struct SilentHost : LibraryHost {
    void showMessage(std::string_view, std::string_view) override {}
};

} // namespace

void requireFolder(const std::string& path)
{
    std::error_code error;
    if (!std::filesystem::is_directory(path, error))
        throw fileFailure(path, error ? error.message() : "this is not a folder");
}

void listPatches(const std::string& soundbankRoot, std::ostream& out)
{
    requireFolder(soundbankRoot);
    SilentHost host;
    const PatchLibrary library(soundbankRoot, host, LibraryFiles::Access::ReadOnly);
    const auto column = [](const std::string& text) { return oneLine(text.empty() ? "-" : text); };
    for (const PatchEntry& entry : library.entries())
        out << column(library.bankNameOf(entry)) << '\t' << column(library.categoryNameOf(entry))
            << '\t' << column(std::string(entry.name())) << '\t'
            << column(nativePath(entry.path).string()) << '\n';
}

} // namespace zephra::render
