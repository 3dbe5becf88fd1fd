// SPDX-License-Identifier: GPL-3.0-or-later
// Long lives of a small library: commands by lot, in the course of which no patch may get lost.
#include "LibraryRig.h"

#include <iterator>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

namespace zephra {
namespace {

struct ManyCommands : LibraryRig {
    ManyCommands()
    {
        open({"A/Bass/a.fxp", "A/b.fxp", "B/Lead/c.fxp", "B/lead/d.fxp", "User/e.fxp",
              "Genetics/f.fxp", "g.fxp", "A/h.bin"},
             {});
        all = patches();
        openBefore = openFiles();
    }
    template <class List> auto any(const List& list) { return list.at(lot() % list.size()); }
    /// Whatever keeps all patches and copies none.
    bool act()
    {
        PatchLibrary& l = *library;
        PathText made;
        const std::string name = any(Names{"Bass", "lead", "User", "Genetics", "x", "X", "y z AB"});
        const bool rescan = lot() % 4 != 0, isEmpty = l.entries().empty();
        const PatchEntry patch = isEmpty ? PatchEntry() : any(l.entries());
        const PatchFolder place = l.folders().empty() ? PatchFolder() : any(l.folders());
        l.filter.bankRow = static_cast<int>(lot() % l.columns().banks.size());
        switch (isEmpty ? 5 : lot() % 13) {
        case 0: return l.movePatchToBank(name, patch, true, rescan).has_value();
        case 1: return l.movePatchesToCategory(name, {patch}).size() == 1;
        case 2: return l.renamePatch(name, patch, true, rescan).has_value();
        case 3: return l.moveToTrash(patch, rescan);
        case 4: return !l.trash().empty() && l.restoreFromTrash({any(l.trash())});
        case 5: return l.restoreAll();
        case 6: return l.createBank(name, rescan);
        case 7: return l.createCategory(name, rescan);
        case 8: return l.renameFolder(name, place, true, rescan);
        case 9: return l.deleteBank(place);
        case 10: return l.deleteCategory(place);
        case 11: return l.setFavourite(patch, rescan, rescan);
        default: return l.createPatchFile(name, made, false) && l.discardPatchFile(made);
        }
    }
    Names patches() const
    {
        Names found;
        for (const std::string& name : tree->names())
            if (!name.ends_with('/'))
                found.push_back(tree->text(name));
        std::ranges::sort(found);
        return found;
    }
    static std::ptrdiff_t openFiles()
    {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    std::mt19937 lot{1};
    Names all;
    std::ptrdiff_t openBefore = 0;
};

TEST_F(ManyCommands, LoseNoPatchAndLeaveNothingOpen)
{
    constexpr int kCommands = 1000;
    int done = 0;
    for (int i = 0; i < kCommands; ++i) {
        done += act();
        ASSERT_EQ(patches(), all) << "command " << i;
    }
    EXPECT_GT(done, kCommands / 5);
    EXPECT_EQ(openFiles(), openBefore);
}

TEST_F(ManyCommands, OfTwoProgramsAtOnceLoseNoPatch)
{
    const pid_t other = ::fork();
    lot.seed(other == 0 ? 2 : 3);
    for (int i = 0; i < 300; ++i)
        act();
    if (other == 0)
        ::_exit(0);
    int status = -1;
    ::waitpid(other, &status, 0);
    EXPECT_EQ(status, 0);
    const Names found = patches(); // an empty file that one made, the other may have renamed
    EXPECT_TRUE(std::ranges::includes(found, all)) << testing::PrintToString(found);
}

} // namespace
} // namespace zephra
