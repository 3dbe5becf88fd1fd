// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchLibrary.h"
#include "support/LibraryTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace zephra {
namespace {

using test::LibraryTree;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

std::vector<std::string> namesOf(const std::vector<PatchGroup>& column)
{
    std::vector<std::string> names;
    for (const PatchGroup& group : column)
        names.push_back(group.name);
    return names;
}

/// Rows of the browser's columns but those that every library has.
std::vector<std::string> banksOf(const PatchLibrary& library)
{
    auto names = namesOf(library.columns().banks);
    EXPECT_EQ(names.front(), "Favourites");
    EXPECT_EQ(names.back(), "Trash");
    return {names.begin() + 3, names.end() - 1};
}

std::vector<std::string> categoriesOf(const PatchLibrary& library)
{
    const auto names = namesOf(library.columns().categories);
    return {names.begin() + 6, names.end()};
}

std::vector<std::string> pathsOf(const BoundedList<PatchEntry>& entries,
                                 const PatchLibrary& library)
{
    std::vector<std::string> paths;
    for (const PatchEntry& entry : entries)
        paths.emplace_back(entry.path.view().substr(library.root().view().size()));
    return paths;
}

class Library : public testing::Test {
protected:
    PatchLibrary& open(const LibraryTree& tree)
    {
        library = std::make_unique<PatchLibrary>(tree.root(), host);
        return *library;
    }
    const PatchEntry& entry(const std::string& path)
    {
        const PatchEntry* found = library->findByPath(library->root() + path);
        EXPECT_NE(found, nullptr) << path;
        static const PatchEntry kNone;
        return found ? *found : kNone;
    }
    std::vector<std::string> shown(std::string_view current = {})
    {
        library->buildView(current);
        std::vector<std::string> names;
        for (const PatchEntry* row : library->view.rows)
            names.emplace_back(row->name());
        return names;
    }
    void selectCategories(std::initializer_list<const char*> names)
    {
        library->filter.categorySelected.assign(library->columns().categories.size(), false);
        for (const char* name : names)
            library->filter.categorySelected.at(
                static_cast<std::size_t>(library->columns().categoryRowNamed(name))) = true;
    }
    void selectBank(const char* name)
    {
        library->filter.bankRow = library->columns().bankRowNamed(name);
        EXPECT_GE(library->filter.bankRow, 0) << name;
    }

    test::RecordingLibraryHost host;
    std::unique_ptr<PatchLibrary> library;
};

// --- Scan -----------------------------------------------------------------------------------

TEST_F(Library, ListsPatchesOfTheFirstTwoLevelsByName)
{
    const std::string longest(127, 'n'), tooLong(128, 'n');
    const std::string umlauts = "\xc3\xa4\xc3\xb6\xc3\xbc.fxp"; // 7 characters in 10 bytes
    LibraryTree tree{"b.fxp",       "A/a.FXP",       "A/Lead/c.fxp", "A/Lead/x/d.fxp",
                     "A/notes.txt", "A/.hidden.fxp", ".Bank/e.fxp",  "A/gone.bin",
                     "Z/Empty/",    "A/fxp",         "A/Lead/.fxp",  "Z/pipe\\name.fxp"};
    tree.put("Z/" + longest.substr(4) + ".fxp", "");
    tree.put("Z/" + tooLong.substr(4) + ".fxp", "");
    tree.put("Z/" + umlauts, "");
    open(tree);
    EXPECT_THAT(pathsOf(library->entries(), *library),
                ElementsAre("A\\a.FXP", "b.fxp", "A\\Lead\\c.fxp",
                            "Z\\" + longest.substr(4) + ".fxp", "Z\\" + umlauts));
    EXPECT_THAT(pathsOf(library->trash(), *library), ElementsAre("A\\gone.bin"));
    for (std::size_t i = 0; i < library->entries().size(); ++i)
        EXPECT_EQ(library->entries().at(i).id, i);
    EXPECT_THAT(host.texts, IsEmpty());
}

TEST_F(Library, PathsThatDoNotFitAreLeftOut)
{
    LibraryTree tree{};
    const std::string bank(120, 'b'), category(120, 'c'), patch(250, 'p');
    tree.put(bank + "/" + category + "/short.fxp", "");
    // Two bytes a character: few enough characters for a name, too many bytes for the path.
    std::string wide;
    for (int i = 0; i < 120; ++i)
        wide += "\xc3\xa4";
    tree.put(bank + "/" + category + "/" + wide + ".fxp", "");
    open(tree);
    EXPECT_EQ(library->entries().size(), library->root().view().size() + 486 > 511 ? 1u : 2u);
    EXPECT_THAT(host.texts, IsEmpty());
}

TEST_F(Library, SpecialBanksGetTheirSpellingUnlessBothExist)
{
    LibraryTree tree{"USER/a.fxp", "genetics/b.fxp"};
    open(tree);
    EXPECT_THAT(tree.names(), ElementsAre("Genetics/b.fxp", "User/a.fxp"));
    EXPECT_EQ(library->columns().bankRowOf(entry("User\\a.fxp").folderId),
              library->columns().userRow);

    LibraryTree twins{"User/a.fxp", "user/b.fxp"};
    open(twins);
    EXPECT_THAT(twins.names(), ElementsAre("User/a.fxp", "user/b.fxp"));
    EXPECT_THAT(banksOf(*library), ElementsAre("user"));
}

TEST_F(Library, FindsByPathWithoutCaseButPrefersTheExactOne)
{
    LibraryTree tree{"Bank/Pad.fxp", "Bank/pad.fxp", "Bank/Lead.fxp"};
    open(tree);
    EXPECT_EQ(entry("bank\\LEAD.fxp").fileName(), "Lead.fxp");
    EXPECT_EQ(entry("Bank\\pad.fxp").fileName(), "pad.fxp");
    EXPECT_EQ(entry("Bank\\Pad.fxp").fileName(), "Pad.fxp");
    EXPECT_EQ(library->findByPath(library->root() + "Bank\\None.fxp"), nullptr);
    EXPECT_EQ(library->entries().at(3).path, "") << "an index beyond the list";
    EXPECT_THAT(host.texts, ElementsAre("Index out of range [3] / max: 3 (Code: 1)"));
}

// --- Columns --------------------------------------------------------------------------------

TEST_F(Library, ColumnsHoldBanksAndTheCategoriesOfAll)
{
    LibraryTree tree{"Zoo/lead/a.fxp",    "Alpha/Lead/b.fxp",   "Alpha/Drums/",
                     "Poly/Drones/c.fxp", "Trash/d.fxp",        "favourites/Lead/e.fxp",
                     "Beta/All Patches/", "Init Patch/f.fxp",   "Genetics/g.fxp",
                     "Beta/config.ini",   "Zoo/Deep Bass/h.fxp"};
    tree.put("Beta/config.ini", "AddCategories= Bells , drones,,Drums,\n");
    open(tree);
    EXPECT_THAT(banksOf(*library), ElementsAre("Alpha", "Beta", "Zoo"))
        << "a folder called like a category is no bank";
    EXPECT_THAT(categoriesOf(*library), ElementsAre("Bells", "drones", "", "Drums", "Deep Bass"));
    const PatchGroup& lead = library->columns().categories[2];
    EXPECT_EQ(lead.folders.size(), 2u) << "one row for both banks, none for the one out of sight";
    EXPECT_EQ(library->columns().categories[4].displayName, "SFX");
    EXPECT_EQ(library->columns().categories[10].displayName, "Deep bass");
    EXPECT_THAT(shown(), ElementsAre("a", "b", "c", "h"))
        << "neither hidden folders nor the bred ones";
}

TEST_F(Library, NamesOfEntriesFollowTheirFolders)
{
    LibraryTree tree{
        "root.fxp",       "Zoo/bank.fxp",  "Zoo/bass/low.fxp",   "Zoo/Own Kind/odd.fxp",
        "Bass/loose.fxp", "User/mine.fxp", "Poly/Lead/deep.fxp", "Zoo/All Patches/hidden.fxp"};
    open(tree);
    const struct {
        const char *path, *bank, *category;
    } rows[] = {
        {"root.fxp", "", ""},
        {"Zoo\\bank.fxp", "Zoo", ""},
        {"Zoo\\bass\\low.fxp", "Zoo", "Bass"},
        {"Zoo\\Own Kind\\odd.fxp", "Zoo", "Own kind"},
        {"Bass\\loose.fxp", "", "Bass"},
        {"User\\mine.fxp", "User", ""},
        {"Poly\\Lead\\deep.fxp", "Poly", "Lead"},
        {"Zoo\\All Patches\\hidden.fxp", "Zoo", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(library->bankNameOf(entry(row.path)), row.bank) << row.path;
        EXPECT_EQ(library->categoryNameOf(entry(row.path)), row.category) << row.path;
    }
}

TEST_F(Library, CountsPatchesOfBanksAndOfCategoriesAcrossBanks)
{
    LibraryTree tree{"A/1.fxp", "A/Lead/2.fxp", "A/Lead/3.bin", "B/lead/4.fxp", "B/Poly/5.fxp"};
    open(tree);
    const PatchFolder& bank = *library->folderByPath(library->root() + "A\\");
    const PatchFolder& lead = *library->folderByPath(library->root() + "A\\Lead\\");
    EXPECT_EQ(library->countPatches(bank, false), 2);
    EXPECT_EQ(library->countPatches(bank, true), 1);
    EXPECT_EQ(library->countCategoryPatches(lead, false), 2);
    EXPECT_EQ(library->countCategoryPatches(lead, true), 1);
}

// --- Authors --------------------------------------------------------------------------------

TEST(AuthorCodes, StandBehindTheLastSpaceFromLastToFirst)
{
    const struct {
        const char* name;
        std::vector<std::string> codes;
    } rows[] = {
        {"Bass Carpet QX", {"QX"}},
        {"Slow Brass AB+CD", {"CD", "AB"}},
        {"Three A+BBBB+CC", {"CC", "BBBB", "A"}},
        {"Old Hand Tek", {"TK"}},
        {"Deep Pad", {"Pad"}}, // cannot be told from a code
        {"Four A+B+C+D", {}},
        {"Bass Carpet", {}},
        {"Late AB+Carpet", {}},
        {"Open AB+", {}},
        {"Trailing ", {}},
        {"QX", {}},
        {"Long ABCD+EFGH+IJKL", {}}, // 14 bytes
        {"", {}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(authorCodesOf(row.name), row.codes) << row.name;
    EXPECT_EQ(splitAuthors("Slow Brass AB+CD").base, "Slow Brass");
    EXPECT_EQ(splitAuthors("Slow Brass AB+CD").authors, " AB+CD");
    EXPECT_EQ(splitAuthors("Bass Carpet").base, "Bass Carpet");
}

TEST_F(Library, AuthorsComeFromTheBanksThatTellOfThem)
{
    LibraryTree tree{"A/x AB.fxp", "A/y CD+AB.fxp", "B/z ZZ.fxp", "B/plain.fxp"};
    tree.put("A/config.ini",
             "; the makers\r\nauthorcode = AB\r\nAuthorName = " + std::string(70, 'n') +
                 "\r\nAuthorCode2=CD\r\nAuthorName2=Second\r\nAuthorCode3=EF\n");
    tree.put("B/config.ini", "AuthorCode=AB\nAuthorName=Too late\n[x]\nAuthorCode2=ZZ\n"
                             "AuthorName2=In a section\n");
    open(tree);
    EXPECT_THAT(library->authorNamesOf(entry("A\\y CD+AB.fxp")),
                ElementsAre(std::string(63, 'n'), "Second"));
    EXPECT_THAT(library->authorNamesOf(entry("B\\z ZZ.fxp")), IsEmpty());
    std::vector<std::string> codes;
    for (const auto& [code, name] : library->authorsMet())
        codes.push_back(code);
    EXPECT_THAT(codes, ElementsAre("---", "AB", "CD"));

    library->filter.authorRow = 0;
    EXPECT_THAT(shown(), ElementsAre("z ZZ"));
    library->filter.authorRow = 2;
    EXPECT_THAT(shown(), ElementsAre("y CD+AB"));
    library->moveToTrash(entry("B\\z ZZ.fxp"), true);
    EXPECT_THAT(shown(), ElementsAre("y CD+AB")) << "the same author in another row";
    library->moveToTrash(entry("A\\y CD+AB.fxp"), true);
    EXPECT_THAT(shown(), ElementsAre("plain", "x AB")) << "the author has gone";
}

TEST_F(Library, DamagedBankDescriptionsCountAsNone)
{
    const std::string longList = "AddCategories=" + std::string(600, 'c') + "\nAuthorCode=AB";
    for (const std::string& text :
         {std::string("\xff\xfe\0\0[[[", 7), std::string(200000, '='), std::string(100000, '\n'),
          longList, std::string(1, '\0'), std::string("AddCategories=..,a\\b,c/d,.x,trash\n")}) {
        LibraryTree tree{"A/x AB.fxp", "A/config.ini"};
        tree.put("A/config.ini", text);
        open(tree);
        EXPECT_THAT(banksOf(*library), ElementsAre("A"));
        EXPECT_THAT(categoriesOf(*library), IsEmpty());
        EXPECT_THAT(library->authorNamesOf(entry("A\\x AB.fxp")), IsEmpty());
    }
}

// --- Favourites -----------------------------------------------------------------------------

TEST_F(Library, FavouritesAreReadSortedAndWrittenBack)
{
    const std::string longLine(512, 'l');
    const struct {
        const char* what;
        std::string text, kept;
    } rows[] = {
        {"order and line ends", "B/b.fxp\r\nA\\a.fxp\n\n", "A\\a.fxp\nB\\b.fxp"},
        {"another case", "b\\B.FXP\na\\A.fxp", "A\\a.fxp\nB\\b.fxp"},
        {"a file that has gone", "Gone\\g.fxp\nA\\a.fxp", "A\\a.fxp\nGone\\g.fxp"},
        {"too short, too long", "x.f\n" + longLine + "\nA\\a.fxp", "A\\a.fxp"},
        {"outside", "..\\..\\x.fxp\n\\etc\\x.fxp\nA\\.\\x.fxp\nA\\\\x.fxp\nA\\a.fxp", "A\\a.fxp"},
        {"junk", std::string("\0\xff\n\x01", 4), ""},
        {"nothing", "", ""},
    };
    for (const auto& row : rows) {
        LibraryTree tree{"A/a.fxp", "B/b.fxp"};
        tree.put("Favourites.db", row.text);
        open(tree);
        EXPECT_EQ(tree.text("Favourites.db"), row.kept) << row.what;
    }
    LibraryTree bare{"A/a.fxp"};
    open(bare);
    EXPECT_TRUE(std::filesystem::is_regular_file(bare / "Favourites.db"));
    LibraryTree split{"A/a\nb.fxp"};
    open(split);
    library->setFavourite(library->entries().at(0), true, true);
    EXPECT_EQ(split.text("Favourites.db"), "") << "no name of two lines";
    // What could not be read is not known, and never written over.
    LibraryTree odd{"A/a.fxp", "list"};
    std::filesystem::create_symlink("list", odd / "Favourites.db");
    open(odd);
    library->setFavourite(library->entries().at(0), true, false);
    EXPECT_EQ(library->favourites().size(), 1u);
    EXPECT_EQ(odd.text("Favourites.db"), "list");
}

// --- Filter ---------------------------------------------------------------------------------

struct FilteredLibrary : Library {
    FilteredLibrary() { open(tree); }
    LibraryTree tree{"A/Lead/Solo Flute.fxp", "A/Bass/Low.fxp",  "A/Plain.fxp",
                     "B/lead/Sole.fxp",       "B/Bass/Slap.fxp", "Loose.fxp",
                     "Genetics/1.fxp",        "Genetics/2.fxp",  "A/Lead/Old.bin"};
};

TEST_F(FilteredLibrary, BankAndCategoriesNarrowTheList)
{
    EXPECT_THAT(shown(), ElementsAre("Loose", "Low", "Plain", "Slap", "Sole", "Solo Flute"));
    selectCategories({"Lead"});
    EXPECT_THAT(shown(), ElementsAre("Sole", "Solo Flute")) << "of both banks";
    EXPECT_EQ(library->view.categoryCounts[0], 2) << "Bass has two, selected or not";
    selectCategories({"Lead", "Bass"});
    selectBank("B");
    EXPECT_THAT(shown(), ElementsAre("Slap", "Sole"));
    library->filter.uncategorizedOnly = true;
    selectBank("A");
    EXPECT_THAT(shown(), ElementsAre("Plain"));
    library->filter.bankRow = -1;
    EXPECT_THAT(shown(), ElementsAre("Loose", "Plain"));
    library->filter.uncategorizedOnly = false;
    selectCategories({});
    selectBank("Genetics");
    EXPECT_THAT(shown(), ElementsAre("2", "1")) << "the newest first";
}

TEST_F(FilteredLibrary, OneCharacterSearchesForTheFirstMoreForAnyPart)
{
    const struct {
        const char* text;
        std::vector<std::string> names;
    } rows[] = {
        {"l", {"Loose", "Low"}}, {"LO", {"Loose", "Low", "Solo Flute"}},
        {"o f", {"Solo Flute"}}, {"1", {}},
        {"\xc3\xa4", {}},        {"", {"Loose", "Low", "Plain", "Slap", "Sole", "Solo Flute"}},
    };
    for (const auto& row : rows) {
        library->filter.searchText = row.text;
        EXPECT_THAT(shown(), ElementsAreArray(row.names)) << row.text;
    }
    library->filter.searchText = "solo";
    selectBank("Trash");
    EXPECT_THAT(shown(), ElementsAre("Old")) << "the trash is not searched";
}

TEST_F(FilteredLibrary, FavouritesTakeTheListsPlaceWithoutBanks)
{
    tree.put("Favourites.db", "B\\lead\\Sole.fxp\nA\\Plain.fxp\nGone\\Lost.fxp\nGenetics\\1.fxp");
    library->reload(false);
    EXPECT_TRUE(library->isFavourite(entry("A\\Plain.fxp")));
    EXPECT_FALSE(library->isFavourite(entry("A\\Bass\\Low.fxp")));
    selectBank("Favourites");
    EXPECT_THAT(shown(), ElementsAre("Lost", "Plain", "Sole"));
    selectCategories({"Lead"});
    EXPECT_THAT(shown(), ElementsAre("Sole"));

    library->setFavourite(*library->view.rows[0], false, false);
    EXPECT_THAT(library->view.rows, IsEmpty()) << "rows look into the list";
    const PathText& path = library->favourites().at(2).path;
    ASSERT_TRUE(library->movePatchFile(path, library->root() + "A\\New.fxp", true, false));
    EXPECT_EQ(tree.text("Favourites.db"), "Genetics\\1.fxp\nGone\\Lost.fxp\nA\\New.fxp");
}

TEST_F(FilteredLibrary, SteppingStaysInsideTheListAndFollowsTheSelection)
{
    shown(entry("A\\Plain.fxp").path);
    EXPECT_EQ(library->stepPatch(1)->name(), "Slap");
    EXPECT_EQ(library->stepPatch(100)->name(), "Solo Flute");
    EXPECT_EQ(library->stepPatch(1)->name(), "Solo Flute");
    EXPECT_EQ(library->stepPatch(-100)->name(), "Loose");
    for (const int row : {0, 2, 5})
        library->view.select(row, true);
    EXPECT_EQ(library->stepPatch(-1)->name(), "Plain") << "from the row selected last";
    EXPECT_EQ(library->stepPatch(-1)->name(), "Loose");
    EXPECT_EQ(library->stepPatch(1)->name(), "Plain");
    library->filter.searchText = "nothing like it";
    EXPECT_THAT(shown(), IsEmpty());
    EXPECT_EQ(library->stepPatch(1), nullptr);
    EXPECT_EQ(library->view.selectedCount, 0);
}

} // namespace
} // namespace zephra
