// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchChunk.h"
#include "library/PatchLibrary.h"
#include "library/ProgramFile.h"
#include "support/LibraryTree.h"
#include "support/RandomPatch.h"
#include "support/ZipBytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <span>

namespace zephra {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// A library of one patch that takes in whatever bytes there are. True if it came out as it should.
class HostileInput {
public:
    using Take = bool (HostileInput::*)(const Bytes& bytes);

    /// A program file: what is loaded can be played and shown, and comes back from what is written.
    bool patch(const Bytes& bytes)
    {
        tree.put("../x.fxp", text(bytes));
        const auto loaded = readPatchFileForBreeding(tree / "../x.fxp");
        if (!loaded)
            return true;
        const PatchRecord& record = *loaded->getPreset(0);
        PluginParameters again;
        readChunk(writeChunk(record, 0), again);
        const PatchRecord& copy = *again.getPreset(0);
        return isSound(record) && isSound(copy) && copy.info == record.info &&
               std::ranges::equal(words(copy), words(record)) &&
               record.nameText().starts_with(copy.nameText());
    }
    /// "config.ini" and "Favourites.db": the patch stays, and favourites are inside the library.
    bool descriptions(const Bytes& bytes)
    {
        for (const char* name : {"Bank/config.ini", "Favourites.db"})
            tree.put(name, text(bytes));
        library.reload(true);
        const bool inside = std::ranges::all_of(library.favourites(), [&](const PatchEntry& at) {
            return !at.path.isCut() && at.path.view().starts_with(library.root().view()) &&
                   at.path.view().find("\\..\\") == std::string_view::npos;
        });
        return inside && library.entries().size() == 1 &&
               library.categoryNameOf(library.entries().at(0)) == "Lead" &&
               library.authorNamesOf(library.entries().at(0)).size() <= 1;
    }
    /// A ZIP archive: nothing comes but one bank of patches at most one folder deep.
    bool archive(const Bytes& bytes)
    {
        namespace fs = std::filesystem;
        tree.put("../Pack.zip", text(bytes));
        PathText made;
        const bool done = library.importZip(tree / "../Pack.zip", made);
        const auto isFit = [](const std::string& name) {
            return name.starts_with("Pack/") && std::ranges::count(name, '/') <= 2 &&
                   (equalNoCase(fs::path(name).extension().string(), ".fxp") ||
                    name == "Pack/config.ini" || name.ends_with('/')); // nothing could be unpacked
        };
        const auto names = tree.names();
        const auto strange = std::ranges::count_if(names, std::not_fn(isFit));
        fs::remove_all(tree / "Pack");
        fs::remove(tree / "../Pack.zip");
        fs::remove(tree / "../x.fxp");
        const fs::directory_iterator beside(tree / "..");
        constexpr int kOwn = 2; // the patch and its bank's description
        return strange == kOwn && (names.size() > kOwn) == done && std::distance(beside, {}) == 1;
    }

private:
    static std::string_view text(const Bytes& bytes)
    {
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }
    static std::span<const std::uint32_t> words(const PatchRecord& record)
    {
        return std::span(record.presetInts).first(record.presetIntCount);
    }
    static bool isSound(const PatchRecord& record)
    {
        return record.name.back() == '\0' && record.info[PatchRecord::kInfoTextBytes - 1] == '\0' &&
               record.presetIntCount <= PatchRecord::kMaxPresetInts &&
               std::ranges::all_of(record.params, [](const ControlValue& param) {
                   return std::isfinite(param.value.get());
               });
    }

    test::LibraryTree tree{"Bank/Lead/Solo AB.fxp", "Bank/config.ini"};
    test::RecordingLibraryHost host;
    PatchLibrary library{tree.root(), host};
};

Bytes bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

/// Some bytes changed, gone, or there twice.
Bytes damaged(Bytes bytes, std::mt19937& lot)
{
    for (unsigned edits = lot() % 6; edits > 0 && !bytes.empty(); --edits) {
        const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(lot() % bytes.size());
        const auto end = at + std::min<std::ptrdiff_t>(1 + lot() % 30, bytes.end() - at);
        const Bytes part(at, end);
        switch (lot() % 9) {
        case 0: bytes.erase(at, bytes.end()); break;
        case 1: bytes.erase(at, end); break;
        case 2: bytes.insert(at, part.begin(), part.end()); break;
        case 3: std::fill(at, std::min(at + 4, end), lot() % 2 ? 0xff : 0); break;
        default: *at = static_cast<std::uint8_t>(lot()); break;
        }
    }
    return bytes;
}

TEST(HostileInput, LeavesTheLibraryAsItShouldBe)
{
    HostileInput library;
    std::mt19937 lot(1);
    const auto expectWell = [&](const char* kind, HostileInput::Take take, const Bytes& seed) {
        const Bytes bytes = damaged(seed, lot);
        EXPECT_TRUE((library.*take)(bytes)) << kind << ": " << testing::PrintToString(bytes);
    };
    test::RandomPatch random(2);
    PluginParameters parameters;
    PatchRecord& record = *parameters.getPreset(0);
    const std::string text = "AuthorCode=AB\nAuthorName=Ada\nAddCategories=Drums,Bells\n"
                             "Bank\\Lead\\Solo AB.fxp\nBank\\Gone.fxp\n[x]\n";
    const Bytes archive = bytesOf(test::zipBytes({{"Bass/Low.fxp", std::string(300, 'x'), true},
                                                  {"../Pack/Top.fxp", "top"},
                                                  {"Lead/config.ini", "AuthorCode=AB\n"}}));
    for (int i = 0; i < 2000; ++i) {
        random.fill(record);
        Bytes file = programFileBytes(record, 0);
        file[60 + 512] = static_cast<std::uint8_t>(i % 8); // the revision
        expectWell("patch", &HostileInput::patch, file);
        expectWell("archive", &HostileInput::archive, archive);
        if (i % 4 == 0)
            expectWell("descriptions", &HostileInput::descriptions, bytesOf(text));
        ASSERT_FALSE(testing::Test::HasFailure());
    }
}

} // namespace
} // namespace zephra
