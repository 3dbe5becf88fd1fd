// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandsRig.h"
#include "library/LibraryMessages.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace zephra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;

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
        {"to a bank that has no folder yet",
         [&] { return toBank("A/Lead/x.fxp", "User"); },
         {"-A/Lead/x.fxp", "+User/Lead/x.fxp"}},
        {"to where it is", [&] { return toBank("A/Lead/x.fxp", "A"); }, {}},
    };
    for (const auto& row : rows) {
        open({"A/Lead/x.fxp", "A/Poly/y.FXP", "A/z.fxp", "B/lead/w.fxp", "Genetics/g.fxp",
              "loose.fxp", "Lead/root.fxp"});
        EXPECT_THAT(changes(row.act, true), UnorderedElementsAreArray(row.changes)) << row.what;
        EXPECT_THAT(host.texts, IsEmpty()) << row.what;
    }
}

TEST_F(Commands, BlockedMovesChangeNothingAndSayWhy)
{
    open({"A/x.fxp", "B/X.fxp", "A/y.fxp", "A/y.bin", "Trash/"});
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
        {"a bank out of sight",
         [&] {
             return library->movePatchToBank("Trash", entry("A/x.fxp"), true, true).has_value();
         },
         {kMoveBlocked}},
        {"a bank that would go out of sight",
         [&] { return library->renameFolder("all patches", folder("A"), true, true); },
         {kBankExists}},
        {"a new one", [&] { return library->createBank("Favourites", true); }, {}},
        {"bank name taken",
         [&] { return library->renameFolder("b", folder("A"), true, true); },
         {kBankExists}},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(changes(row.act, false), IsEmpty()) << row.what;
        EXPECT_EQ(host.texts, row.texts) << row.what;
    }
}

TEST_F(Commands, ABatchSeesWhatItHasMoved)
{
    open({"A/x.fxp", "B/X.fxp", "B/y.fxp", "C/z.fxp"});
    EXPECT_THAT(changes(
                    [&] {
                        return library
                                   ->movePatchesToBank(
                                       "C", {entry("A/x.fxp"), entry("B/X.fxp"), entry("B/y.fxp")})
                                   .size() == 2;
                    },
                    true),
                UnorderedElementsAreArray({"-A/x.fxp", "+C/x.fxp", "-B/y.fxp", "+C/y.fxp"}));
    EXPECT_THAT(host.texts, ElementsAre(kMoveBlocked));
}

TEST_F(Commands, FavouritesOfAnotherInstrumentAreKept)
{
    open({"A/x.fxp", "A/y.fxp"});
    PatchLibrary other(tree->root(), host);
    other.setFavourite(entry("A/x.fxp"), true, true);
    library->setFavourite(entry("A/y.fxp"), true, true);
    EXPECT_EQ(tree->text("Favourites.db"), "A\\x.fxp\nA\\y.fxp");
    other.renamePatch("z", entry("A/x.fxp"), true, true);
    library->moveToTrash(entry("A/y.fxp"), true);
    EXPECT_EQ(tree->text("Favourites.db"), "A\\z.fxp");
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
    const auto unseen = library->renamePatch(".dot", entry("A/Lead/X.fxp"), true, true);
    ASSERT_TRUE(unseen);
    EXPECT_EQ(library->categoryNameOf(*unseen), "");
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

} // namespace
} // namespace zephra
