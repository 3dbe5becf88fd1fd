// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/Random15.h"
#include "library/LibraryMessages.h"
#include "library/NameRule.h"
#include "library/PatchLibrary.h"
#include "support/LibraryTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace zephra {
namespace {

using test::LibraryTree;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;
using Names = std::vector<std::string>;

/// A library on a tree. Paths and names of folders are written with slashes.
class Commands : public testing::Test {
protected:
    using Act = std::function<bool()>;

    void open(std::initializer_list<const char*> names,
              std::vector<std::string> categories = PatchLibrary::kBuiltInCategories)
    {
        tree = std::make_unique<LibraryTree>(names);
        library = std::make_unique<PatchLibrary>(
            tree->root(), host, LibraryFiles::Access::ReadWrite, std::move(categories));
        host.texts.clear();
    }
    PathText path(std::string name) const
    {
        std::ranges::replace(name, '/', '\\');
        return library->root() + name;
    }
    PatchEntry entry(const std::string& name) const
    {
        const PatchEntry* found = library->findByPath(path(name));
        for (const PatchEntry& inTrash : library->trash())
            if (inTrash.path == path(name))
                found = &inTrash;
        EXPECT_NE(found, nullptr) << name;
        return found ? *found : PatchEntry();
    }
    PatchFolder folder(const std::string& name) const
    {
        const PatchFolder* found = library->folderByPath(path(name + "/"));
        EXPECT_NE(found, nullptr) << name;
        return found ? *found : PatchFolder();
    }
    void select(const char* bank, std::initializer_list<const char*> categories)
    {
        library->filter.bankRow = bank ? library->columns().bankRowNamed(bank) : -1;
        library->filter.categorySelected.assign(library->columns().categories.size(), false);
        for (const char* name : categories)
            library->filter.categorySelected.at(
                static_cast<std::size_t>(library->columns().categoryRowNamed(name))) = true;
    }
    /// What a command did to the disk: what went, marked "-", and what came, "+". A folder does not
    /// come by being emptied.
    Names changes(const Act& act, bool expected)
    {
        const Names before = tree->names();
        host.texts.clear();
        EXPECT_EQ(act(), expected);
        const Names after = tree->names();
        Names found;
        for (const std::string& name : before)
            if (!std::ranges::binary_search(after, name))
                found.push_back("-" + name);
        for (const std::string& name : after)
            if (std::ranges::none_of(before, [&](const std::string& old) {
                    return name.ends_with('/') ? old.starts_with(name) : old == name;
                }))
                found.push_back("+" + name);
        return found;
    }

    test::RecordingLibraryHost host;
    std::unique_ptr<LibraryTree> tree;
    std::unique_ptr<PatchLibrary> library;
};

TEST(NameRule, LimitsLengthAndCharacters)
{
    std::string umlauts;
    for (int i = 0; i < 64; ++i)
        umlauts += "\xc3\xa4";
    const std::string bad = "The following characters are not allowed in the name of the bank:\n\n"
                            "   /   \\  :  *  <  >  | ";
    const struct {
        std::string name, text;
    } rows[] = {
        {std::string(64, 'n'), ""},
        {umlauts, ""},
        {"Really? \"Yes\"", ""},
        {std::string(65, 'n'), "The maximum bank name length is 64 characters."},
        {umlauts + "n", "The maximum bank name length is 64 characters."},
        {"", bad},
        {".", bad},
        {"..", bad},
        {".hidden", bad},
        {"a/b", bad},
        {"a\\b", bad},
        {"a:b", bad},
        {"a*b", bad},
        {"<", bad},
        {">", bad},
        {"|", bad},
    };
    for (const auto& row : rows) {
        test::RecordingLibraryHost host;
        EXPECT_EQ(checkName(row.name, "bank", host), row.text.empty()) << row.name;
        EXPECT_EQ(host.texts, row.text.empty() ? Names() : Names{row.text}) << row.name;
    }
}

TEST_F(Commands, PatchesMoveBetweenBanksAndCategories)
{
    const auto toBank = [this](const char* from, const char* bank) {
        return library->movePatchToBank(bank, entry(from), true, true).has_value();
    };
    const auto toCategory = [this](const char* from, const char* category) {
        return library->movePatchToCategory(category, entry(from), true, true).has_value();
    };
    const struct {
        const char* what;
        Act act;
        Names changes;
    } rows[] = {
        {"to the category's folder as the bank spells it",
         [&] { return toBank("A/Lead/x.fxp", "B"); },
         {"-A/Lead/x.fxp", "+B/lead/x.fxp"}},
        {"to a category that the bank lacks",
         [&] { return toBank("A/Poly/y.FXP", "B"); },
         {"-A/Poly/y.FXP", "+B/Poly/y.fxp"}},
        {"without a category", [&] { return toBank("A/z.fxp", "B"); }, {"-A/z.fxp", "+B/z.fxp"}},
        {"within the bank",
         [&] { return toCategory("A/z.fxp", "SFX"); },
         {"-A/z.fxp", "+A/SFX/z.fxp"}},
        {"to the bank's own level",
         [&] { return toCategory("A/Lead/x.fxp", ""); },
         {"-A/Lead/x.fxp", "+A/x.fxp"}},
        {"out of Genetics",
         [&] { return toCategory("Genetics/g.fxp", "Bass"); },
         {"-Genetics/g.fxp", "+User/Bass/g.fxp"}},
        {"a loose one",
         [&] { return toCategory("loose.fxp", "Bass"); },
         {"-loose.fxp", "+Bass/loose.fxp"}},
        {"to where it is", [&] { return toBank("A/Lead/x.fxp", "A"); }, {}},
    };
    for (const auto& row : rows) {
        open({"A/Lead/x.fxp", "A/Poly/y.FXP", "A/z.fxp", "B/lead/w.fxp", "Genetics/g.fxp",
              "loose.fxp"});
        EXPECT_THAT(changes(row.act, true), UnorderedElementsAreArray(row.changes)) << row.what;
        EXPECT_THAT(host.texts, IsEmpty()) << row.what;
    }
}

TEST_F(Commands, BlockedMovesChangeNothingAndSayWhy)
{
    open({"A/x.fxp", "B/X.fxp", "A/y.fxp", "A/y.bin", "A/.file"});
    tree->put("blocked", "a file in place of a bank");
    const struct {
        const char* what;
        Act act;
        Names texts;
    } rows[] = {
        {"the name is taken but for case",
         [&] { return library->movePatchToBank("B", entry("A/x.fxp"), true, true).has_value(); },
         {kMoveBlocked}},
        {"no such bank",
         [&] { return library->movePatchToBank("None", entry("A/x.fxp"), true, true).has_value(); },
         {kMoveBlocked}},
        {"a file instead of a bank",
         [&] {
             return library->movePatchToBank("blocked", entry("A/x.fxp"), true, true).has_value();
         },
         {kMoveBlocked}},
        {"out of the tree",
         [&] { return library->movePatchToBank("..", entry("A/x.fxp"), true, true).has_value(); },
         {kMoveBlocked}},
        {"a category out of the tree",
         [&] {
             return library->movePatchToCategory("..\\..", entry("A/x.fxp"), true, true)
                 .has_value();
         },
         {kMoveBlocked}},
        {"renamed to another",
         [&] { return library->renamePatch("Y", entry("A/x.fxp"), true, true).has_value(); },
         {kMoveBlocked}},
        {"too long a name",
         [&] {
             return library->renamePatch(std::string(300, 'n'), entry("A/x.fxp"), true, true)
                 .has_value();
         },
         {kMoveBlocked}},
        {"in silence",
         [&] { return library->renamePatch("Y", entry("A/x.fxp"), false, true).has_value(); },
         {}},
        {"two of a name in the trash",
         [&] { return library->moveToTrash({entry("A/y.fxp")}); },
         {kTrashBlocked}},
        {"two of a name out of it",
         [&] { return library->restoreFromTrash({entry("A/y.bin")}); },
         {kRestoreBlocked}},
        {"gone for good only from the trash",
         [&] { return library->deletePermanently(entry("A/x.fxp"), true); },
         {}},
        {"bank name taken",
         [&] { return library->renameFolder("b", folder("A"), true, true); },
         {kBankExists}},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(changes(row.act, false), IsEmpty()) << row.what;
        EXPECT_EQ(host.texts, row.texts) << row.what;
    }
}

TEST_F(Commands, RenamedPatchesAreFoundAgain)
{
    open({"A/Lead/x.fxp", "root.fxp"});
    const auto renamed = library->renamePatch("X", entry("A/Lead/x.fxp"), true, true);
    ASSERT_TRUE(renamed);
    EXPECT_EQ(renamed->path, path("A/Lead/X.fxp"));
    EXPECT_EQ(library->entries().at(renamed->id).path, renamed->path);
    const auto unscanned = library->renamePatch("Top", entry("root.fxp"), true, false);
    ASSERT_TRUE(unscanned);
    EXPECT_EQ(unscanned->path, path("Top.fxp"));
    EXPECT_EQ(library->findByPath(path("Top.fxp")), nullptr) << "not before the next scan";
    EXPECT_THAT(tree->names(), ElementsAre("A/Lead/X.fxp", "Top.fxp"));
}

TEST_F(Commands, FavouritesFollowEveryMove)
{
    const struct {
        const char* what;
        Act act;
        const char* kept;
    } rows[] = {
        {"renamed",
         [&] { return library->renamePatch("n", entry("A/Own/x.fxp"), true, true).has_value(); },
         "A\\Own\\n.fxp\nA\\y.fxp"},
        {"bank", [&] { return library->renameFolder("Zoo", folder("A"), true, true); },
         "Zoo\\Own\\x.fxp\nZoo\\y.fxp"},
        {"category", [&] { return library->renameFolder("New", folder("A/Own"), true, true); },
         "A\\New\\x.fxp\nA\\y.fxp"},
        {"moved",
         [&] {
             return !library->movePatchesToBank("User", {entry("A/Own/x.fxp"), entry("A/y.fxp")})
                         .empty();
         },
         "User\\Own\\x.fxp\nUser\\y.fxp"},
        {"trash", [&] { return library->moveToTrash({entry("A/y.fxp")}); }, "A\\Own\\x.fxp"},
        {"off", [&] { return library->setFavourite(entry("A/y.fxp"), false, true); },
         "A\\Own\\x.fxp"},
        {"on twice",
         [&] {
             return library->setFavourites({entry("AB/z.fxp"), entry("AB/z.fxp")}, true);
         },
         "A\\Own\\x.fxp\nA\\y.fxp\nAB\\z.fxp"},
        {"clear", [&] { return library->clearFavourites(); }, ""},
    };
    for (const auto& row : rows) {
        open({"A/Own/x.fxp", "A/y.fxp", "AB/z.fxp", "B/own/w.fxp", "User/"}, {});
        library->setFavourites({entry("A/y.fxp"), entry("A/Own/x.fxp")}, true);
        EXPECT_TRUE(row.act()) << row.what;
        EXPECT_EQ(tree->text("Favourites.db"), row.kept) << row.what;
        EXPECT_THAT(host.texts, IsEmpty()) << row.what;
    }
    tree->put("A/t.bin", "");
    library->reload(false);
    EXPECT_FALSE(library->setFavourite(entry("A/t.bin"), true, true)) << "no patch";
}

TEST_F(Commands, CategoriesAreRenamedInAllBanksUnlessTheInstrumentHasItsOwn)
{
    open({"A/Own/x.fxp", "B/own/y.fxp", "B/Other/z.fxp", "C/Own/", "C/file"}, {});
    EXPECT_THAT(
        changes([&] { return library->renameFolder("oTHER", folder("A/Own"), true, true); }, false),
        IsEmpty());
    EXPECT_THAT(host.texts, ElementsAre(kFolderExists));
    EXPECT_FALSE(library->renameFolder("own", folder("A/Own"), true, true)) << "not even its case";
    tree->put("B/new", "in the way");
    EXPECT_THAT(
        changes([&] { return library->renameFolder("New", folder("A/Own"), true, true); }, false),
        UnorderedElementsAreArray(Names{"-A/Own/x.fxp", "+A/New/x.fxp", "-C/Own/", "+C/New/"}))
        << "one bank fails, the others go on";

    open({"A/Own/x.fxp", "User/y.fxp", "Genetics/z.fxp"});
    for (const char* name : {"A/Own", "User", "Genetics"}) {
        EXPECT_THAT(
            changes([&] { return library->renameFolder("N", folder(name), true, true); }, false),
            IsEmpty())
            << name;
        EXPECT_THAT(host.texts, IsEmpty()) << name;
    }
    EXPECT_TRUE(library->renameFolder("a", folder("A"), true, true)) << "a bank's case may change";
}

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
