// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandsRig.h"
#include "common/Random15.h"
#include "library/LibraryMessages.h"

#include <gmock/gmock.h>

#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace zephra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;

TEST_F(Commands, TrashKeepsPatchesInTheirPlace)
{
    open({"A/Lead/x.fxp", "A/y.FXP", "A/z.bin"});
    EXPECT_TRUE(library->moveToTrash(entry("A/Lead/x.fxp"), true));
    EXPECT_TRUE(library->moveToTrash(entry("A/y.FXP"), true));
    EXPECT_THAT(tree->names(), ElementsAre("A/Lead/x.bin", "A/y.bin", "A/z.bin"));
    EXPECT_TRUE(library->restoreFromTrash(entry("A/Lead/x.bin"), true));
    EXPECT_EQ(tree->text("A/Lead/x.fxp"), "A/Lead/x.fxp");
    EXPECT_TRUE(library->moveToTrash({entry("A/z.bin"), entry("A/Lead/x.fxp")}))
        << "in the trash the same command deletes";
    EXPECT_THAT(tree->names(), ElementsAre("A/Lead/x.bin", "A/y.bin"));
    tree->put("A/y.fxp", "in the way");
    EXPECT_FALSE(library->restoreAll());
    EXPECT_THAT(host.texts, ElementsAre(kRestoreBlocked)) << "one message for all";
    EXPECT_THAT(tree->names(), ElementsAre("A/Lead/x.fxp", "A/y.bin", "A/y.fxp"));
    EXPECT_TRUE(library->clearTrash());
    EXPECT_THAT(tree->names(), ElementsAre("A/Lead/x.fxp", "A/y.fxp"));
    EXPECT_TRUE(library->trash().empty());
}

TEST_F(Commands, FoldersGoOnlyWithoutPatches)
{
    const Act deleteBank = [&] { return library->deleteBank(folder("A")); };
    const Act deleteLead = [&] { return library->deleteCategory(folder("B/lead")); };
    open({"A/Lead/x.fxp", "A/Poly/y.bin", "A/Poly/z.bin", "B/lead/read me.txt", "User/u.txt"});
    EXPECT_THAT(changes(deleteBank, false), IsEmpty());
    EXPECT_THAT(host.texts, ElementsAre(kBankHoldsPatches + std::string("1")));
    EXPECT_THAT(changes(deleteLead, false), IsEmpty()) << "the other bank counts too";
    EXPECT_THAT(host.texts, ElementsAre(kFolderHoldsPatches + std::string("1")));

    EXPECT_TRUE(library->moveToTrash(entry("A/Lead/x.fxp"), true));
    EXPECT_THAT(changes(deleteBank, false), IsEmpty());
    EXPECT_THAT(host.texts, ElementsAre(kBankHoldsTrash + std::string("3")));
    EXPECT_THAT(changes(deleteLead, false), IsEmpty());
    EXPECT_THAT(host.texts, ElementsAre(kFolderHoldsTrash + std::string("1")));

    EXPECT_TRUE(library->clearTrash());
    EXPECT_THAT(changes(deleteLead, true),
                UnorderedElementsAreArray(Names{"-A/Lead/", "-B/lead/read me.txt"}));
    tree->put("A/fresh.fxp", "from another program");
    EXPECT_THAT(changes(deleteBank, false), IsEmpty()) << "seen though never scanned";
    std::filesystem::remove(*tree / "A/fresh.fxp");
    EXPECT_THAT(changes(deleteBank, true), ElementsAre("-A/Poly/"));
    EXPECT_FALSE(library->deleteBank(folder("User")));
    EXPECT_EQ(tree->text("User/u.txt"), "User/u.txt");

    open({"Bass/Lead/x.fxp", "A/Bass/"});
    EXPECT_THAT(changes([&] { return library->deleteCategory(folder("A/Bass")); }, false),
                IsEmpty())
        << "a category beside the banks holds patches deeper down";
}

TEST_F(Commands, NewFoldersAndPatchesGoWhereTheBrowserPoints)
{
    open({"A/lead/x.fxp", "User/config.ini"});
    EXPECT_THAT(changes([&] { return library->createBank("New", true); }, true),
                UnorderedElementsAreArray(Names{"+New/", "+Newconfig.ini"}))
        << "the description of the user's bank lands beside the new one";
    EXPECT_THAT(changes([&] { return library->createBank("new", true); }, true), IsEmpty())
        << "a bank that exists is fine";
    EXPECT_THAT(changes([&] { return library->createCategory("Pads", true); }, true),
                ElementsAre("+User/Pads/"));

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
        select(row.bank, row.categories);
        PathText made;
        EXPECT_TRUE(library->createPatchFile("n", made, true)) << row.file;
        EXPECT_EQ(made, path(row.file));
        EXPECT_THAT(tree->names(), testing::Contains(row.file));
        select(row.bank, row.categories);
        tree->put(row.file, "kept");
        EXPECT_FALSE(library->createPatchFile("N", made, true));
        EXPECT_EQ(tree->text(row.file), "kept");
        EXPECT_THAT(host.texts, ElementsAre(kMoveBlocked));
        host.texts.clear();
    }
}

TEST_F(Commands, CopiesAreNumberedAheadOfTheAuthors)
{
    const struct {
        const char* source;
        const char* bank;
        std::initializer_list<const char*> categories;
        Names copies;
    } rows[] = {
        {"A/Pad AB.fxp", nullptr, {}, {"A/Pad 1 AB.fxp", "A/Pad 2 AB.fxp"}},
        {"A/Lead/Pad.fxp", nullptr, {}, {"A/Lead/Pad 1.fxp", "A/Lead/Pad 2.fxp"}},
        {"A/Lead/Duo AB+CD.fxp", "A", {"Bass"}, {"A/Bass/Duo AB+CD.fxp", "A/Bass/Duo 1 AB+CD.fxp"}},
        {"A/Lead/Pad.fxp", "User", {}, {"User/Lead/Pad.fxp", "User/Lead/Pad 1.fxp"}},
        {"A/Lead/Pad.fxp", "Genetics", {"Bass"}, {"Genetics/Pad.fxp", "Genetics/Pad 1.fxp"}},
        {"loose.fxp", nullptr, {}, {"User/loose.fxp", "User/loose 1.fxp"}},
    };
    for (const auto& row : rows) {
        open({"A/Pad AB.fxp", "A/Lead/Pad.fxp", "A/Lead/Duo AB+CD.fxp", "loose.fxp"});
        for (const std::string& copy : row.copies) {
            select(row.bank, row.categories);
            const auto made = library->duplicatePatch(entry(row.source));
            ASSERT_TRUE(made) << copy;
            EXPECT_EQ(made->path, path(copy));
            EXPECT_EQ(tree->text(copy), row.source) << copy;
        }
    }
    open({"A/Pad.fxp"});
    for (int i = 1; i <= 100; ++i)
        tree->put("A/Pad " + std::to_string(i) + ".fxp", "");
    library->reload(false);
    EXPECT_FALSE(library->duplicatePatch(entry("A/Pad.fxp"))) << "the numbers are used up";
    EXPECT_THAT(host.texts, IsEmpty());
}

TEST_F(Commands, ABatchGoesOnAfterAFailureAndTellsOnce)
{
    open({"A/x.fxp", "A/y.fxp", "A/z.fxp", "B/x.fxp", "B/y.fxp"});
    library->setFavourites({entry("A/x.fxp"), entry("A/z.fxp")}, true);
    const auto moved = library->movePatchesToBank("B", library->favourites().all());
    ASSERT_EQ(moved.size(), 1u);
    EXPECT_EQ(moved[0].path, path("B/z.fxp"));
    library->movePatchesToBank("B", {entry("A/x.fxp"), entry("A/y.fxp")});
    EXPECT_THAT(host.texts, ElementsAre(kMoveBlocked, kMoveBlocked));
    EXPECT_NE(library->findByPath(path("B/z.fxp")), nullptr) << "it was scanned at the end";
    EXPECT_EQ(tree->text("Favourites.db"), "A\\x.fxp\nB\\z.fxp");
}

/// Does whatever keeps all patches, at random, and copies nothing.
void muddle(PatchLibrary& library, std::uint32_t seed, int commands)
{
    Random15 random;
    random.seed(seed);
    const auto any = [&](const auto& list) {
        return list.at(static_cast<std::size_t>(random.next()) % list.size());
    };
    const std::vector<std::string> names = {"a", "A", "b", "B", "c d AB", "Bass", "User"};
    for (int i = 0; i < commands; ++i) {
        const bool all = random.next() % 2;
        const PatchLibrary::Entries some = library.entries().empty()
                                               ? PatchLibrary::Entries()
                                               : PatchLibrary::Entries{any(library.entries())};
        switch (random.next() % 9) {
        case 0: library.movePatchesToBank(any(names), some); break;
        case 1: library.movePatchesToCategory(any(names), some); break;
        case 2: library.moveToTrash(some); break;
        case 3: library.restoreAll(); break;
        case 4: library.setFavourites(some, all); break;
        case 5: library.createBank(any(names), all); break;
        case 6: library.createCategory(any(names), all); break;
        default:
            if (!some.empty())
                library.renamePatch(any(names), some.front(), true, all);
            if (library.folders().size() > 0)
                library.renameFolder(any(names), any(library.folders()), true, all);
            break;
        }
    }
}

TEST_F(Commands, TwoProgramsAtOnceKeepEveryPatch)
{
    open({"A/1.fxp", "A/Lead/2.fxp", "B/3.fxp", "B/lead/4.fxp", "User/5.fxp", "6.fxp", "A/7.bin"},
         {});
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto before = descriptors();
    const pid_t other = ::fork();
    muddle(*library, other == 0 ? 1 : 2, 300);
    if (other == 0)
        ::_exit(0);
    int status = -1;
    ::waitpid(other, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(descriptors(), before) << "all are closed";

    Names patches;
    for (const std::string& name : tree->names())
        if (!name.ends_with('/'))
            patches.push_back(tree->text(name));
    EXPECT_THAT(patches,
                testing::UnorderedElementsAre("A/1.fxp", "A/Lead/2.fxp", "B/3.fxp", "B/lead/4.fxp",
                                              "User/5.fxp", "6.fxp", "A/7.bin"));
}

/// As long as it lives, this process may not change folders of the mode 0555.
class WithoutRights {
public:
    WithoutRights() { seteuidIfRoot(65534); } // nobody
    ~WithoutRights() { seteuidIfRoot(0); }

private:
    static void seteuidIfRoot(uid_t user)
    {
        if (::getuid() == 0) {
            EXPECT_EQ(::seteuid(user), 0);
        }
    }
};

TEST_F(Commands, WhatTheSystemRefusesIsReported)
{
    open({"A/inner/file.txt", "B/x.fxp", "B/y.bin"});
    for (const auto& place :
         {*tree / "..", *tree / "", *tree / "A", *tree / "A/inner", *tree / "B"})
        ::chmod(place.c_str(), 0555);
    {
        const WithoutRights nobody;
        EXPECT_FALSE(library->deleteBank(folder("A")));
        EXPECT_FALSE(library->movePatchToBank("A", entry("B/x.fxp"), true, true));
        EXPECT_FALSE(library->moveToTrash({entry("B/x.fxp")}));
        EXPECT_FALSE(library->restoreAll());
        EXPECT_FALSE(library->clearTrash() || library->duplicatePatch(entry("B/x.fxp")));
    }
    for (const auto& place :
         {*tree / "..", *tree / "", *tree / "A", *tree / "A/inner", *tree / "B"})
        ::chmod(place.c_str(), 0755);
    EXPECT_THAT(host.texts,
                ElementsAre(kBankNotRemoved, kMoveBlocked, kTrashBlocked, kRestoreBlocked));
    EXPECT_THAT(tree->names(), ElementsAre("A/inner/file.txt", "B/x.fxp", "B/y.bin"));
}

} // namespace
} // namespace zephra
