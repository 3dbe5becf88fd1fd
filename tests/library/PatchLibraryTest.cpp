// SPDX-License-Identifier: GPL-3.0-or-later
#include "LibraryRig.h"

#include <array>
#include <sys/stat.h>

namespace zephra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Library : LibraryRig {
    Names pathsOf(const BoundedList<PatchEntry>& entries) const
    {
        Names paths;
        for (const PatchEntry& entry : entries) {
            paths.emplace_back(entry.path.view().substr(library->root().view().size()));
            std::ranges::replace(paths.back(), '\\', '/');
        }
        return paths;
    }
    /// Rows of a column but those that every library has, the first ones and perhaps the last.
    static Names ownRows(const std::vector<PatchGroup>& column, std::size_t first, std::size_t last)
    {
        Names names;
        for (std::size_t row = first; row + last < column.size(); ++row)
            names.push_back(column[row].name);
        return names;
    }
    Names banks() const { return ownRows(library->columns().banks, 3, 1); }
    Names categories() const { return ownRows(library->columns().categories, 6, 0); }
};

// --- Scan -----------------------------------------------------------------------------------

TEST_F(Library, ListsPatchesOfTheFirstTwoLevelsByName)
{
    const std::string longest(123, 'n');
    std::string wide = "\xc3\xa4"; // two bytes
    while (wide.size() < 240)
        wide += "\xc3\xa4";
    open({"b.fxp", "A/a.FXP", "A/Lead/c.fxp", "A/Lead/x/d.fxp", "A/notes.txt", "A/.hidden.fxp",
          ".Bank/e.fxp", "A/gone.bin", "Z/Empty/", "A/fxp", "A/Lead/.fxp", "Z/back\\slash.fxp"});
    std::filesystem::create_symlink(*tree / "b.fxp", *tree / "A/link.fxp");
    ASSERT_EQ(::mkfifo((*tree / "A/pipe.fxp").c_str(), 0600), 0);
    tree->put("Z/" + longest + ".fxp", "");
    tree->put("Z/" + longest + "n.fxp", "");
    tree->put("Z/" + wide + ".fxp", "");
    const std::string deep = std::string(120, 'B') + "/" + std::string(120, 'c') + "/";
    tree->put(deep + "z.fxp", "");
    tree->put(deep + wide + ".fxp", ""); // its path does not fit
    library->reload(false);
    EXPECT_THAT(pathsOf(library->entries()),
                ElementsAre("A/a.FXP", "b.fxp", "A/Lead/c.fxp", "Z/" + longest + ".fxp",
                            deep + "z.fxp", "Z/" + wide + ".fxp"));
    EXPECT_THAT(pathsOf(library->trash()), ElementsAre("A/gone.bin"));
    for (std::size_t i = 0; i < library->entries().size(); ++i)
        EXPECT_EQ(library->entries().at(i).id, i);
    EXPECT_THAT(host.texts, IsEmpty());
}

TEST_F(Library, SpecialBanksGetTheirSpellingUnlessBothExist)
{
    open({"USER/a.fxp", "genetics/b.fxp"});
    EXPECT_THAT(tree->names(), ElementsAre("Genetics/b.fxp", "User/a.fxp"));
    EXPECT_EQ(library->bankNameOf(entry("User/a.fxp")), "User");
    open({"User/a.fxp", "user/b.fxp"});
    EXPECT_THAT(tree->names(), ElementsAre("User/a.fxp", "user/b.fxp"));
    EXPECT_THAT(banks(), ElementsAre("user"));
}

TEST_F(Library, FindsByPathWithoutCaseButPrefersTheExactOne)
{
    open({"Bank/Pad.fxp", "Bank/pad.fxp", "Bank/Lead.fxp"});
    EXPECT_EQ(entry("bank/LEAD.fxp").fileName(), "Lead.fxp");
    for (const char* exact : {"Pad.fxp", "pad.fxp"})
        EXPECT_EQ(entry(std::string("Bank/") + exact).fileName(), exact);
    EXPECT_EQ(library->findByPath(path("Bank/None.fxp")), nullptr);
    EXPECT_EQ(library->entries().at(3).path, "") << "an index beyond the list";
    EXPECT_THAT(host.texts, ElementsAre("Index out of range [3] / max: 3 (Code: 1)"));
}

// --- Columns --------------------------------------------------------------------------------

TEST_F(Library, ColumnsHoldBanksAndTheCategoriesOfAll)
{
    open({"Zoo/lead/a.fxp", "Alpha/Lead/b.fxp", "Alpha/Drums/", "Poly/Drones/c.fxp", "Trash/d.fxp",
          "favourites/Lead/e.fxp", "Beta/All Patches/h.fxp", "Init Patch/f.fxp", "Genetics/g.fxp",
          "Zoo/Deep Bass/i.fxp", "root.fxp", "Bass/loose.fxp", "User/mine.fxp", "Zoo/bank.fxp"});
    tree->put("Beta/config.ini", "AddCategories= Bells , drones,,Drums,\n");
    library->reload(true);
    EXPECT_THAT(banks(), ElementsAre("Alpha", "Beta", "Zoo")) << "none called like a category";
    EXPECT_THAT(categories(), ElementsAre("Bells", "drones", "", "Drums", "Deep Bass"));
    EXPECT_EQ(library->columns().categories[2].folders.size(), 2u)
        << "one row for both banks, none for the one out of sight";
    EXPECT_THAT(shown(), ElementsAre("a", "b", "bank", "c", "i", "loose", "mine", "root"))
        << "neither hidden folders nor the bred ones";
    for (const auto& [place, bank, category] : std::initializer_list<std::array<const char*, 3>>{
             {"root.fxp", "", ""},
             {"Zoo/bank.fxp", "Zoo", ""},
             {"Zoo/lead/a.fxp", "Zoo", "Lead"},
             {"Zoo/Deep Bass/i.fxp", "Zoo", "Deep bass"},
             {"Bass/loose.fxp", "", "Bass"},
             {"Poly/Drones/c.fxp", "Poly", "Drones"},
             {"Beta/All Patches/h.fxp", "Beta", ""}}) {
        EXPECT_EQ(library->bankNameOf(entry(place)), bank) << place;
        EXPECT_EQ(library->categoryNameOf(entry(place)), category) << place;
    }
}

// --- Authors --------------------------------------------------------------------------------

TEST(AuthorCodes, StandBehindTheLastSpaceFromLastToFirst)
{
    const std::pair<const char*, Names> rows[] = {
        {"Bass Carpet QX", {"QX"}},
        {"Three A+BBBB+CC", {"CC", "BBBB", "A"}},
        {"Old Hand Tek", {"TK"}},
        {"Deep Pad", {"Pad"}}, // cannot be told from a code
    };
    for (const auto& [name, codes] : rows)
        EXPECT_EQ(authorCodesOf(name), codes) << name;
    for (const char* name : {"Four A+B+C+D", "Late AB+Carpet", "Open AB+", "Trailing ", "QX",
                             "Long ABCD+EFGH+IJKL", ""})
        EXPECT_EQ(authorCodesOf(name), Names()) << name;
}

TEST_F(Library, AuthorsComeFromTheBanksThatTellOfThem)
{
    open({"A/x AB.fxp", "A/y CD+AB.fxp", "B/z ZZ.fxp", "B/plain.fxp"});
    tree->put("A/config.ini",
              "; the makers\r\nauthorcode = AB\r\nAuthorName = " + std::string(70, 'n') +
                  "\r\nAuthorCode2=CD\r\nAuthorName2=Second\r\nAuthorCode3=EF\n");
    tree->put("B/config.ini", "AuthorCode=AB\nAuthorName=Too late\n[x]\nAuthorCode2=ZZ\n"
                              "AuthorName2=In a section\n");
    library->reload(true);
    EXPECT_THAT(library->authorNamesOf(entry("A/y CD+AB.fxp")),
                ElementsAre(std::string(63, 'n'), "Second"));
    EXPECT_THAT(library->authorNamesOf(entry("B/z ZZ.fxp")), IsEmpty());
    library->filter.authorRow = 0;
    EXPECT_THAT(shown(), ElementsAre("z ZZ")) << "the unknown ones";
    library->filter.authorRow = 1;
    EXPECT_THAT(shown(), ElementsAre("x AB", "y CD+AB"));
    library->filter.authorRow = 2;
    EXPECT_THAT(shown(), ElementsAre("y CD+AB"));
    library->moveToTrash(entry("B/z ZZ.fxp"), true);
    EXPECT_THAT(shown(), ElementsAre("y CD+AB")) << "the same author in another row";
    library->moveToTrash(entry("A/y CD+AB.fxp"), true);
    EXPECT_THAT(shown(), ElementsAre("plain", "x AB")) << "the author has gone";
}

TEST_F(Library, DamagedBankDescriptionsCountAsNone)
{
    open({"A/x AB.fxp"});
    for (const std::string& text :
         {std::string("\xff\xfe\0\0[[[", 7), std::string(200000, '='), std::string(100000, '\n'),
          "AddCategories=" + std::string(600, 'c') + "\nAuthorCode=AB", std::string(1, '\0'),
          std::string("AddCategories=..,a\\b,c/d,.x,trash\n")}) {
        tree->put("A/config.ini", text);
        library->reload(true);
        EXPECT_THAT(banks(), ElementsAre("A"));
        EXPECT_THAT(categories(), IsEmpty());
        EXPECT_THAT(library->authorNamesOf(entry("A/x AB.fxp")), IsEmpty());
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
    };
    open({"A/a.fxp", "B/b.fxp", "C/two\nlines.fxp"});
    EXPECT_TRUE(std::filesystem::is_regular_file(*tree / "Favourites.db"));
    for (const auto& row : rows) {
        tree->put("Favourites.db", row.text);
        library->reload(false);
        EXPECT_EQ(tree->text("Favourites.db"), row.kept) << row.what;
    }
    library->setFavourite(entry("C/two\nlines.fxp"), true, true);
    EXPECT_EQ(tree->text("Favourites.db"), "");
    // What could not be read is not known, and never written over.
    open({"A/a.fxp", "list"});
    std::filesystem::remove(*tree / "Favourites.db");
    std::filesystem::create_symlink("list", *tree / "Favourites.db");
    library->reload(false);
    library->setFavourite(entry("A/a.fxp"), true, false);
    EXPECT_EQ(library->favourites().size(), 1u);
    EXPECT_EQ(tree->text("Favourites.db"), "list");
}

// --- Filter ---------------------------------------------------------------------------------

struct FilteredLibrary : Library {
    FilteredLibrary()
    {
        open({"A/Lead/Solo Flute.fxp", "A/Bass/Low.fxp", "A/Plain.fxp", "B/lead/Sole.fxp",
              "B/Bass/Slap.fxp", "Loose.fxp", "Genetics/1.fxp", "Genetics/2.fxp",
              "A/Lead/Old.bin"});
    }
};

TEST_F(FilteredLibrary, CategoriesCountWhateverIsSelected)
{
    select(nullptr, {"Lead"});
    EXPECT_THAT(shown(), ElementsAre("Sole", "Solo Flute"));
    EXPECT_EQ(library->view.categoryCounts[0], 2) << "Bass";
    select("Trash");
    library->filter.searchText = "solo";
    EXPECT_THAT(shown(), ElementsAre("Old")) << "the trash is not searched";
}

TEST_F(FilteredLibrary, FavouritesTakeTheListsPlaceWithoutBanks)
{
    tree->put("Favourites.db", "B\\lead\\Sole.fxp\nA\\Plain.fxp\nGone\\Lost.fxp\nGenetics\\1.fxp");
    library->reload(false);
    EXPECT_TRUE(library->isFavourite(entry("A/Plain.fxp")));
    EXPECT_FALSE(library->isFavourite(entry("A/Bass/Low.fxp")));
    select("Favourites");
    EXPECT_THAT(shown(), ElementsAre("Lost", "Plain", "Sole"));
    select("Favourites", {"Lead"});
    EXPECT_THAT(shown(), ElementsAre("Sole"));
    library->setFavourite(*library->view.rows[0], false, false);
    EXPECT_THAT(library->view.rows, IsEmpty()) << "rows look into the list";
    const PathText& held = library->favourites().at(2).path;
    ASSERT_TRUE(library->movePatchFile(held, path("A/New.fxp"), true, false));
    EXPECT_EQ(tree->text("Favourites.db"), "Genetics\\1.fxp\nGone\\Lost.fxp\nA\\New.fxp");
}

TEST_F(FilteredLibrary, SteppingStaysInsideTheListAndFollowsTheSelection)
{
    const auto step = [&](int delta) { return library->stepPatch(delta)->name(); };
    shown("A/Plain.fxp");
    EXPECT_EQ(step(1), "Slap");
    EXPECT_EQ(step(100), "Solo Flute");
    EXPECT_EQ(step(1), "Solo Flute");
    EXPECT_EQ(step(-100), "Loose");
    for (const int row : {0, 2, 5})
        library->view.select(row, true);
    EXPECT_EQ(step(-1), "Plain") << "from the row selected last";
    EXPECT_EQ(step(-1), "Loose");
    EXPECT_EQ(step(1), "Plain");
    library->filter.searchText = "nothing like it";
    EXPECT_THAT(shown(), IsEmpty());
    EXPECT_EQ(library->stepPatch(1), nullptr);
    EXPECT_EQ(library->view.selectedCount, 0);
}

} // namespace
} // namespace zephra
