// SPDX-License-Identifier: GPL-3.0-or-later
// A long life of a small library: commands by lot, after each of which every patch must still be
// there, and in the end nothing open.
#include "CommandsRig.h"

#include <filesystem>
#include <iterator>
#include <random>
#include <set>

namespace zephra {
namespace {

class ManyCommands : public Commands {
protected:
    std::size_t below(std::size_t count)
    {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(lot);
    }
    template <class List> auto any(const List& list) { return list.at(below(list.size())); }
    std::string anyName()
    {
        return any(Names{"Bass", "lead", "User", "Genetics", "x", "X", "y z"});
    }
    PatchFolder anyFolder(bool bank)
    {
        std::vector<PatchFolder> found;
        for (const PatchFolder& folder : library->folders())
            if ((folder.parent == 0) == bank)
                found.push_back(folder);
        return found.empty() ? PatchFolder() : any(found);
    }
    bool act(std::size_t kind)
    {
        PatchLibrary& l = *library;
        PathText made;
        l.filter.bankRow = static_cast<int>(below(l.columns().banks.size()));
        switch (kind) {
        case 0: return l.movePatchToBank(anyName(), any(l.entries()), true, true).has_value();
        case 1: return l.movePatchToCategory(anyName(), any(l.entries()), true, true).has_value();
        case 2: return l.renamePatch(anyName(), any(l.entries()), true, true).has_value();
        case 3: return l.moveToTrash(any(l.entries()), true);
        case 4: return l.restoreAll();
        case 5: return l.createBank(anyName(), true);
        case 6: return l.renameFolder(anyName(), anyFolder(true), true, true);
        case 7: return l.renameFolder(anyName(), anyFolder(false), true, true);
        case 8: return l.deleteBank(anyFolder(true));
        case 9: return l.deleteCategory(anyFolder(false));
        case 10: return l.setFavourite(any(l.entries()), below(2) == 0, true);
        case 11: return l.createPatchFile(anyName(), made, false) && l.discardPatchFile(made);
        default: return !l.trash().empty() && l.restoreFromTrash({any(l.trash())});
        }
    }
    std::multiset<std::string> patches() const
    {
        std::multiset<std::string> found;
        for (const auto* list : {&library->entries(), &library->trash()})
            for (const PatchEntry& entry : *list)
                found.insert(tree->text(tree->root() / nativePath(entry.path)));
        return found;
    }

    static inline std::mt19937 lot{1}; ///< goes on when the test is repeated
};

std::ptrdiff_t openFiles()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST_F(ManyCommands, LoseNoPatchAndLeaveNothingOpen)
{
    open({"A/Bass/a.fxp", "A/b.fxp", "B/Lead/c.fxp", "B/d.fxp", "User/e.fxp", "Genetics/f.fxp"},
         {});
    const std::ptrdiff_t openBefore = openFiles();
    const auto all = patches();
    ASSERT_EQ(all.size(), 6u);
    constexpr int kCommands = 1000;
    int done = 0;
    for (int i = 0; i < kCommands; ++i) {
        while (library->entries().empty())
            library->restoreAll();
        const std::size_t kind = below(13);
        done += act(kind);
        ASSERT_EQ(patches(), all) << "command " << i << " of kind " << kind;
    }
    EXPECT_GT(done, kCommands / 4);
    EXPECT_EQ(openFiles(), openBefore);
}

} // namespace
} // namespace zephra
