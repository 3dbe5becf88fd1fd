// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/LibraryMessages.h"
#include "LibraryRig.h"

#include <sys/stat.h>
#include <unistd.h>

namespace zephra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;
using namespace std::string_literals;

/// What zephra-library does not reach, or not in one process.
struct Commands : LibraryRig {
    bool toBank(const char* from, const char* bank)
    {
        return library->movePatchToBank(bank, entry(from), true, true).has_value();
    }
    bool rename(const char* from, const std::string& name, bool report = true)
    {
        return library->renamePatch(name, entry(from), report, true).has_value();
    }
    bool renameFolder(const char* from, const char* name)
    {
        return library->renameFolder(name, folder(from), true, true);
    }
    void expectRefusal(const Act& act, const Names& texts)
    {
        EXPECT_THAT(changes(act, false), IsEmpty());
        EXPECT_EQ(host.texts, texts);
    }
};

TEST_F(Commands, RefusalsChangeNothingAndSayWhy)
{
    open({"A/x.fxp", "B/X.fxp", "A/y.fxp", "A/y.bin", "Trash/", "blocked"});
    for (const char* bank : {"B", "None", "blocked", "..", "Trash"})
        expectRefusal([&] { return toBank("A/x.fxp", bank); }, {kMoveBlocked});
    for (const auto& name : {std::string("Y"), std::string(300, 'n')})
        expectRefusal([&] { return rename("A/x.fxp", name); }, {kMoveBlocked});
    expectRefusal([&] { return rename("A/x.fxp", "Y", false); }, {});
    for (const char* name : {"all patches", "b"})
        expectRefusal([&] { return renameFolder("A", name); }, {kBankExists});
    expectRefusal([&] { return library->createBank("Favourites", true); }, {});
    expectRefusal([&] { return library->moveToTrash({entry("A/y.fxp")}); }, {kTrashBlocked});
    expectRefusal([&] { return library->restoreAll(); }, {kRestoreBlocked});
    expectRefusal([&] { return library->deletePermanently(entry("A/x.fxp"), true); }, {});
    expectRefusal([&] { return library->setFavourite(entry("A/y.bin"), true, true); }, {});
}

TEST_F(Commands, MovesReturnWhatTheScanFindsIfThereIsOne)
{
    open({"A/Lead/x.fxp", "loose.fxp"});
    const auto unseen = library->renamePatch(".dot", entry("A/Lead/x.fxp"), true, true);
    ASSERT_TRUE(unseen);
    EXPECT_EQ(library->categoryNameOf(*unseen), "") << "out of sight, it has no folder";
    ASSERT_TRUE(library->renamePatch("Top", entry("loose.fxp"), true, false));
    EXPECT_EQ(library->findByPath(path("Top.fxp")), nullptr) << "not before the next scan";
}

TEST_F(Commands, ABatchSeesWhatItHasMovedGoesOnAfterAFailureAndTellsOnce)
{
    open({"A/x.fxp", "A/y.fxp", "B/X.fxp", "B/z.fxp", "C/Z.fxp"});
    PatchLibrary other(tree->root(), host); // whose favourite is kept
    other.setFavourite(entry("A/x.fxp"), true, true);
    library->setFavourites({entry("B/z.fxp"), entry("B/X.fxp")}, true);
    auto patches = library->favourites().all(); // x, X, z
    patches.push_back(entry("A/y.fxp"));
    EXPECT_THAT(changes([&] { return library->movePatchesToBank("C", patches).size() == 2; }, true),
                UnorderedElementsAreArray({"-A/x.fxp", "+C/x.fxp", "-A/y.fxp", "+C/y.fxp"}));
    EXPECT_THAT(host.texts, ElementsAre(kMoveBlocked));
    EXPECT_NE(library->findByPath(path("C/y.fxp")), nullptr) << "it was scanned at the end";
    EXPECT_EQ(tree->text("Favourites.db"), "C\\x.fxp\nB\\X.fxp\nB\\z.fxp");
    tree->put("C/t.bin", "");
    library->reload(false);
    EXPECT_TRUE(library->moveToTrash({entry("C/t.bin"), entry("C/y.fxp")}));
    EXPECT_THAT(tree->names(),
                ElementsAre("A/", "B/X.fxp", "B/z.fxp", "C/Z.fxp", "C/x.fxp", "C/y.bin"))
        << "in the trash the same command deletes";
}

TEST_F(Commands, ACopyThatFailsLeavesNothing)
{
    open({"A/Pad AB.fxp", "A/Lead/Pad.fxp"});
    for (int i = 1; i <= 100; ++i)
        tree->put("A/Pad " + std::to_string(i) + " AB.fxp", "");
    EXPECT_FALSE(library->duplicatePatch(entry("A/Pad AB.fxp"))) << "the numbers are used up";
    std::filesystem::remove(*tree / "A/Lead/Pad.fxp");
    select("User", {"SFX"});
    EXPECT_FALSE(library->duplicatePatch(entry("A/Lead/Pad.fxp")));
    EXPECT_FALSE(std::filesystem::exists(*tree / "User")) << "no folder made for it";
}

TEST_F(Commands, CategoriesAreRenamedInAllBanks)
{
    open({"A/Own/x.fxp", "B/own/y.fxp", "B/Other/z.fxp", "C/Own/", "C/file", "B/new", "AA/v.fxp"},
         {});
    library->setFavourites({entry("A/Own/x.fxp"), entry("AA/v.fxp")}, true);
    expectRefusal([&] { return renameFolder("A/Own", "oTHER"); }, {kFolderExists});
    expectRefusal([&] { return renameFolder("A/Own", "own"); }, {kFolderExists});
    EXPECT_THAT(changes([&] { return renameFolder("A/Own", "New"); }, false),
                UnorderedElementsAreArray({"-A/Own/x.fxp", "+A/New/x.fxp", "-C/Own/", "+C/New/"}))
        << "one bank fails, the others go on";
    EXPECT_TRUE(renameFolder("A", "Zoo"));
    EXPECT_EQ(tree->text("Favourites.db"), "AA\\v.fxp\nZoo\\New\\x.fxp");
}

TEST_F(Commands, FoldersGoOnlyWithoutPatchesEvenUnscannedOnes)
{
    const Act deleteBank = [&] { return library->deleteBank(folder("A")); };
    const Act deleteLead = [&] { return library->deleteCategory(folder("B/lead")); };
    open({"A/Lead/x.bin", "A/Poly/y.bin", "B/lead/read me.txt"});
    expectRefusal(deleteBank, {kBankHoldsTrash + "2"s});
    expectRefusal(deleteLead, {kFolderHoldsTrash + "1"s}); // the other bank counts too
    EXPECT_TRUE(library->clearTrash());
    EXPECT_THAT(changes(deleteLead, true),
                UnorderedElementsAreArray({"-A/Lead/", "-B/lead/read me.txt"}));
    tree->put("A/fresh.fxp", "from another program");
    expectRefusal(deleteBank, {kBankHoldsPatches + "1"s});
    open({"Bass/Lead/x.fxp", "A/Bass/"});
    expectRefusal([&] { return library->deleteCategory(folder("A/Bass")); },
                  {kFolderHoldsPatches + "1"s}); // beside the banks, deeper down
}

TEST_F(Commands, NewFoldersAndPatchesGoWhereTheBrowserPoints)
{
    open({"A/lead/x.fxp", "User/config.ini"});
    for (const char* name : {"New", "new"}) // a bank that exists is fine
        EXPECT_TRUE(library->createBank(name, true));
    EXPECT_THAT(tree->names(),
                ElementsAre("A/lead/x.fxp", "New/", "Newconfig.ini", "User/config.ini"))
        << "the description of the user's bank lands beside the new one";
    const struct {
        const char* bank;
        std::initializer_list<const char*> categories;
        const char* file;
    } rows[] = {
        {nullptr, {}, "User/n.fxp"},        {"A", {}, "A/n.fxp"},
        {"A", {"Lead"}, "A/lead/n.fxp"},    {"A", {"Poly"}, "A/Poly/n.fxp"},
        {"A", {"Poly", "Bass"}, "A/n.fxp"}, {"Trash", {}, "User/n.fxp"},
        {"Genetics", {}, "Genetics/n.fxp"},
    };
    for (const auto& row : rows) {
        open({"A/lead/x.fxp"});
        PathText made;
        select(row.bank, row.categories);
        EXPECT_TRUE(library->createPatchFile("n", made, true)) << row.file;
        EXPECT_EQ(made, path(row.file));
        tree->put(row.file, "kept");
        select(row.bank, row.categories);
        EXPECT_FALSE(library->createPatchFile("N", made, true));
        EXPECT_EQ(tree->text(row.file), "kept");
        EXPECT_THAT(host.texts, ElementsAre(kMoveBlocked));
    }
}

TEST_F(Commands, WhatTheSystemRefusesIsReported)
{
    open({"A/inner/file.txt", "B/x.fxp", "B/y.bin"});
    const auto setModes = [&](mode_t mode) {
        for (const char* place : {"..", "", "A", "A/inner", "B"})
            ::chmod((*tree / place).c_str(), mode);
    };
    setModes(0555);
    const bool isRoot = ::getuid() == 0;
    ASSERT_EQ(isRoot ? ::seteuid(65534) : 0, 0); // nobody
    EXPECT_FALSE(library->deleteBank(folder("A")));
    EXPECT_FALSE(toBank("B/x.fxp", "A"));
    EXPECT_FALSE(library->moveToTrash({entry("B/x.fxp")}));
    EXPECT_FALSE(library->restoreAll());
    EXPECT_FALSE(library->clearTrash() || library->duplicatePatch(entry("B/x.fxp")));
    ASSERT_EQ(isRoot ? ::seteuid(0) : 0, 0);
    setModes(0755);
    EXPECT_THAT(host.texts,
                ElementsAre(kBankNotRemoved, kMoveBlocked, kTrashBlocked, kRestoreBlocked));
    EXPECT_THAT(tree->names(), ElementsAre("A/inner/file.txt", "B/x.fxp", "B/y.bin"));
}

} // namespace
} // namespace zephra
