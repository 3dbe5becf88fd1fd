// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/LibraryMessages.h"
#include "library/ZipReader.h"
#include "LibraryRig.h"
#include "support/ZipBytes.h"

#include <filesystem>
#include <sys/stat.h>

namespace zephra {
namespace {

namespace fs = std::filesystem;
using test::ZipFile;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

/// Sources lie in the folder "Outside" beside the library.
struct Import : LibraryRig {
    fs::path outside(const std::string& name) const { return tree->root() / "../Outside" / name; }
    fs::path putOutside(const std::string& name, std::string_view text = "patch") const
    {
        tree->put("../Outside/" + name, text);
        return outside(name);
    }
    fs::path zip(const std::string& name, const std::vector<ZipFile>& files) const
    {
        return putOutside(name, test::zipBytes(files));
    }
    /// Of importing by the kind of the source.
    Names changesOf(const fs::path& source, bool expected = true)
    {
        made = PathText();
        return changes(
            [&] {
                return source.extension() == ".fxp"   ? library->importPatch(source, made)
                       : source.extension() == ".zip" ? library->importZip(source, made)
                                                      : library->importFolder(source, made);
            },
            expected);
    }

    PathText made;
};

TEST_F(Import, AFolderBecomesABankAndItsLastFoldersCategories)
{
    open({});
    for (const char* name :
         {"Top.fxp", "Bass/Low.FXP", "Old/bass/Low.fxp", "Old/Lead/Solo.fxp", "Old/pack/Own.fxp",
          "Trash/Seen.fxp", "Old/trash/Seen 2.fxp", "Trash (1)/Seen.fxp", ".hidden/x.fxp", ".x.fxp",
          "Line\nFeed/x.fxp", "Bell\a.fxp", "readme.txt", "Bass/config.ini", "config.ini",
          "Sub/Config.ini", "2/3/4/5/6/7/8/9/10/Deep.fxp", "2/3/4/5/6/7/8/9/10/11/TooDeep.fxp"})
        putOutside(std::string("Pack/") + name, name);
    fs::create_directory_symlink(outside("Pack/Old"), outside("Pack/2/3/4/5/6/7/8/9/Here too"));
    EXPECT_THAT(changesOf(outside("Pack")),
                UnorderedElementsAre("+Pack/Top.fxp", "+Pack/Bass/Low.FXP", "+Pack/Lead/Solo.fxp",
                                     "+Pack/Own.fxp", "+Pack/config.ini",
                                     "+Pack/Trash (1)/Seen.fxp", "+Pack/trash (2)/Seen.fxp",
                                     "+Pack/trash (2)/Seen 2.fxp", "+Pack/10/Deep.fxp"));
    EXPECT_EQ(made, path("Pack/"));
    EXPECT_THAT(host.texts, IsEmpty());
    EXPECT_THAT(host.progress, Pair(10, 10)) << "patches and one description";
    EXPECT_EQ(shown().size(), 8u) << "nothing is out of sight";
    EXPECT_EQ(tree->text("Pack/Bass/Low.FXP"), "Old/bass/Low.fxp") << "the later one";
    EXPECT_EQ(tree->text("Pack/config.ini"), "Bass/config.ini") << "the first one";
    for (const char* source : {"Pack/", "Pack/Bass/.."})
        changesOf(outside(source));
    EXPECT_EQ(made, path("Pack (2)/"));
}

TEST_F(Import, AnArchiveBecomesABankOfTheItemsWithSoundNames)
{
    open({});
    std::string longName;
    while (longName.size() < 480)
        longName += "\xf0\x9f\x8e\xb9";
    const struct {
        ZipFile file;
        const char* place; ///< in the bank; empty: none
    } rows[] = {
        {{"Pack/", ""}, ""},
        {{"Top.fxp", "top"}, "Top.fxp"},
        {{"Pack/Bass/Low.fxp", "first"}, ""},
        {{"Pack\\Bass\\Deflated.fxp", std::string(70000, 'd'), true}, "Bass/Deflated.fxp"},
        {{"Other/BASS/LOW.fxp", "last"}, "Bass/Low.fxp"},
        {{"Other/BASS/LOW.fxp", "wrong checksum", false, 0, 1}, ""},
        {{"C:\\Lead\\Drive.fxp", "drive"}, "Lead/Drive.fxp"},
        {{"D:Drive.fxp", "drive"}, "Drive.fxp"},
        {{"//host/Lead/Absolute.fxp", "absolute"}, "Lead/Absolute.fxp"},
        {{"pack/Own.fxp", "own"}, "Own.fxp"},
        {{"Favourites/Seen.fxp", "seen"}, "Favourites (1)/Seen.fxp"},
        {{"Top.fxp/" + longName + ".fxp", "too long a path"}, ""},
        {{"Folder.fxp", "", false, 0, 0, 0, 0x10}, ""},
        {{"Empty.fxp", "", true}, "Empty.fxp"},
        {{"\201ber/D\374nn.fxp", "code page"}, "\201ber/D\374nn.fxp"},
        {{"\201/Wrong.fxp", "no UTF-8", false, 0x800}, "\201/Wrong.fxp"},
        {{"Sub/config.ini", "AuthorCode=AA\n"}, ""},
        {{"config.ini", "AuthorCode=AB\nAuthorName=Ada\nAddCategories=Drums\n"}, "config.ini"},
        {{"Config.ini", "no"}, ""},
        {{"../Up.fxp", "no"}, ""},
        {{"Bass/../../Up.fxp", "no"}, ""},
        {{"..\\Up.fxp", "no"}, ""},
        {{"Bass/../Round.fxp", "no"}, ""},
        {{"./Here.fxp", "no"}, ""},
        {{"Bass/.Hidden.fxp", "no"}, ""},
        {{"Pack/.hidden/x.fxp", "no"}, ""},
        {{std::string("Nul\0.fxp", 8), "no"}, ""},
        {{"Line\nFeed/x.fxp", "no"}, ""},
        {{std::string(124, 'n') + ".fxp", "no"}, ""},
        {{std::string(600, 'f') + "/Far.fxp", "no"}, ""},
        {{"Encrypted.fxp", "no", false, 1}, ""},
        {{"Long.fxp", "no", true, 0, 0, 1u << 30}, ""},
        {{"Short.fxp", "no", true, 0, 0, 0xffffffff}, ""},
        {{"Late.fxp", "late"}, "Late.fxp"},
        {{"readme.txt", "no"}, ""},
    };
    std::vector<ZipFile> files;
    Names expected;
    for (const auto& row : rows) {
        files.push_back(row.file);
        if (*row.place)
            expected.push_back(std::string("+Pack/") + row.place);
    }
    EXPECT_THAT(changesOf(zip("Pack.zip", files)), UnorderedElementsAreArray(expected));
    EXPECT_THAT(host.texts, IsEmpty()) << "nothing is said about the others";
    EXPECT_EQ(host.progress.first, host.progress.second);
    for (const auto& row : rows)
        EXPECT_TRUE(!*row.place || tree->text(std::string("Pack/") + row.place) == row.file.data)
            << row.place;
    EXPECT_TRUE(library->columns().categoryRowNamed("drums") >= 0) << "the bank tells about itself";
    EXPECT_FALSE(fs::exists(tree->root() / "Up.fxp") || fs::exists(outside("../Up.fxp")));
}

TEST_F(Import, RefusalsAreToldAndLeaveNothing)
{
    open({"Taken/x.fxp", "File"});
    for (int number = 1; number <= 32; ++number)
        fs::create_directory(tree->root() / ("taken (" + std::to_string(number) + ")"));
    select(nullptr, {"Poly"});
    for (const char* name : {"Empty/readme.txt", "Taken/x.fxp", ".dots/x.fxp", "back\\slash/x.fxp",
                             "back\\slash.fxp", "Folder.zip/x.fxp", "Folder.fxp/x"})
        putOutside(name);
    putOutside(std::string(128, 'n') + "/x.fxp");
    ASSERT_EQ(::mkfifo(outside("Pipe.zip").c_str(), 0600), 0);
    const ZipFile patch{"x.fxp", "x"}, config{"config.ini", ""}, folder{"a.fxp/", ""};
    const std::pair<const char*, std::vector<fs::path>> rows[] = {
        {kNoBankName,
         {"/", "", outside(".dots"), outside("back\\slash"), outside(std::string(128, 'n')),
          zip(".zip.zip", {patch})}},
        {kBankNotMade, {outside("Taken"), zip("TAKEN.zip", {patch})}},
        {kNothingToImport,
         {outside("Missing"), outside("Empty"), zip("Config.zip", {config, folder})}},
        {kArchiveNotOpened,
         {outside("Missing.zip"), putOutside("Text.zip", "no archive"), outside("Folder.zip"),
          outside("Pipe.zip")}},
        {kFileNotImported,
         {zip("Secret.zip", {{"Lead/x.fxp", "x", false, 1}, config}), outside("Missing.fxp"),
          outside("back\\slash.fxp"), outside("Folder.fxp")}},
    };
    for (const auto& [message, sources] : rows)
        for (const fs::path& source : sources) {
            EXPECT_THAT(changesOf(source, false), IsEmpty()) << source;
            EXPECT_THAT(host.texts, ElementsAre(message)) << source;
            EXPECT_TRUE(made.empty());
        }
    EXPECT_FALSE(library->importPatch(putOutside("Wrong.txt"), made));
    const std::string whole = test::zipBytes({patch, config, {"Lead/y.fxp", "y", true}});
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_THAT(changesOf(putOutside("Cut.zip", whole.substr(0, size)), false), IsEmpty());
}

TEST_F(Import, BanksTakeNoNameThatIsInUse)
{
    open({"file", "A/x.fxp"});
    fs::create_directories(outside("Target"));
    fs::create_symlink(outside("Target"), tree->root() / "Link");
    for (const std::string name : {"File", "Link", "a", "Trash", "bass"}) {
        putOutside(name + "/x.fxp");
        EXPECT_THAT(changesOf(outside(name)), ElementsAre("+" + name + " (1)/x.fxp"));
    }
    EXPECT_TRUE(fs::is_empty(outside("Target")));
    putOutside("user/x.fxp");
    EXPECT_THAT(changesOf(outside("user")), ElementsAre("+User/x.fxp"));
    EXPECT_EQ(made, path("User/"));
}

TEST_F(Import, FoldersAreWalkedThroughLinksButOnce)
{
    open({"A/Lead/x.fxp"});
    putOutside("Pack/Bass/x.fxp");
    putOutside("Far/y.fxp");
    const std::pair<fs::path, const char*> links[] = {
        {outside("Pack"), "Bass/Round"}, {outside("Far"), "Poly"}, {outside("Far"), "Vintage"},
        {tree->root(), "Library"},       {"/nowhere", "None.fxp"}, {"/dev/zero", "Endless.fxp"},
        {"/proc/self/mem", "config.ini"}}; // the last cannot be read
    for (const auto& [target, link] : links)
        fs::create_symlink(target, outside("Pack") / link);
    ASSERT_EQ(::mkfifo(outside("Pack/Pipe.fxp").c_str(), 0600), 0);
    EXPECT_THAT(changesOf(outside("Pack")),
                UnorderedElementsAre("+Pack/Bass/x.fxp", "+Pack/Poly/y.fxp", "+Pack/Lead/x.fxp"));
    EXPECT_THAT(host.texts, IsEmpty()) << "all patches came";
    fs::create_symlink("/proc/self/mem", outside("Pack/Bass/z.fxp"));
    EXPECT_EQ(changesOf(outside("Pack")).size(), 3u);
    EXPECT_THAT(host.texts, ElementsAre(kFileNotImported));
    EXPECT_THAT(changesOf(tree->root() / "A"), ElementsAre("+A (1)/Lead/x.fxp"));
}

TEST_F(Import, CompanionsOfPatchesGoToTheirOwnFolder)
{
    open({});
    const fs::path waves = outside("Waves");
    putOutside("Waves/Pack/old.wav");
    library->registerCompanionType(waves, "wav", "Restart, please.");
    library->registerCompanionType(outside("Silent"), "mid", "");
    library->registerCompanionType(waves, "aif", "Not this.");
    changesOf(zip("Pack.zip", {{"x.fxp", "x"}, {"Sub/a.WAV", "wave"}, {"b.mid", ""}}));
    EXPECT_THAT(host.texts, ElementsAre("Restart, please."));
    EXPECT_EQ(test::fileBytes(waves / "Pack (1)/a.WAV").size(), 4u);
    EXPECT_FALSE(fs::exists(outside("Silent"))) << "companions need a folder that exists";
    putOutside("Pack/x.fxp");
    putOutside("Pack/c.wav");
    fs::create_symlink("/proc/self/mem", outside("Pack/d.aif")); // cannot be read
    changesOf(outside("Pack"));
    EXPECT_THAT(host.texts, ElementsAre("Restart, please."));
    EXPECT_TRUE(fs::exists(waves / "Pack (1) (1)/c.wav")) << "named after the new bank";
    EXPECT_FALSE(fs::exists(waves / "Pack (1) (2)")) << "nothing would be in it";
}

TEST_F(Import, ArchivesAreReadWithinBounds)
{
    open({});
    const std::string most(ZipReader::kMostItemBytes, 'm');
    ZipReader reader(zip("Bomb.zip", {{"long.fxp", most + "m", true}, {"x.fxp", most, true}}));
    ASSERT_EQ(reader.names().size(), 2u);
    std::string bytes;
    EXPECT_FALSE(reader.read(0, bytes)) << "one byte too long";
    int sound = 0;
    while (sound < 100 && reader.read(1, bytes) && bytes == most)
        ++sound;
    EXPECT_EQ(sound, 64) << "1 GiB in all";
}

} // namespace
} // namespace zephra
