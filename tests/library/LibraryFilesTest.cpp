// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/LibraryFiles.h"
#include "support/LibraryTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>

namespace zephra {
namespace {

using testing::ElementsAre;
namespace fs = std::filesystem;

bool none(std::string_view) { return false; }

/// A tree, and a path in it by its name with slashes.
struct FilesTest : testing::Test {
    PathText at(std::string name) const
    {
        std::ranges::replace(name, '/', '\\');
        return files.root() + name;
    }
    /// Everything that must not touch that path.
    void expectRefusals(const LibraryFiles& tried, const PathText& path) const
    {
        const fs::path source = tree / "Bank/Pad.fxp";
        EXPECT_FALSE(tried.rename(path, at("New.fxp")) || tried.rename(at("Bank/Pad.fxp"), path));
        EXPECT_FALSE(tried.removeFile(path) || tried.removeFolder(path, none) ||
                     tried.removeEmptyFolder(path));
        EXPECT_FALSE(tried.makeFolder(path) || tried.makeNewFolder(path) || tried.createFile(path));
        EXPECT_FALSE(tried.copyFile(source, path) || tried.putCopy(source, path));
        EXPECT_FALSE(tried.replaceText(path, "text") || tried.putText(path, "text"));
    }

    test::LibraryTree tree{"Bank/Pad.fxp", "Bank/Lead/Solo.fxp", "Other/"};
    LibraryFiles files{tree.root()};
};

TEST(PathText, CutsBetweenCharactersAndRemembersIt)
{
    const std::string most(511, 'a'), letter = "\xc3\xa4"; // two bytes
    EXPECT_FALSE(PathText(most).isCut());
    EXPECT_TRUE(PathText(most + "a").isCut());
    EXPECT_EQ(PathText(most.substr(1) + letter).view(), most.substr(1));
    EXPECT_EQ(PathText(most.substr(2) + letter).view(), most.substr(2) + letter);
    PathText path(most);
    path += "bb";
    EXPECT_EQ(path.view(), most) << "nothing is appended in part";
    EXPECT_TRUE(path.isCut());
}

TEST_F(FilesTest, NoPathLeadsOutOfTheTreeAndReadOnlyOnesStayAsTheyAre)
{
    tree.put("../Outside/Keep.fxp", "keep");
    fs::create_directory_symlink(tree / "../Outside", tree / "Link");
    const auto before = tree.names();
    const PathText outside[] = {
        PathText("\\etc\\passwd"),
        PathText(""),
        files.root(),
        at("../Outside/Keep.fxp"),
        at("Bank/../../Outside/Keep.fxp"),
        at("./Keep.fxp"),
        at("Bank//Keep.fxp"),
        at("Link/Keep.fxp"),
        at("Link/../Keep.fxp"),
        files.root() + "..\\Outside/Keep.fxp",
        files.root() + std::string_view("Keep\0.fxp", 9),
        files.root() + std::string(600, 'x'),
    };
    for (const PathText& path : outside) {
        SCOPED_TRACE(path.view());
        expectRefusals(files, path);
        EXPECT_FALSE(files.fileExists(path) || files.folderExists(path));
    }
    EXPECT_FALSE(files.removeFolder(at("Link"), none));
    const LibraryFiles readOnly(tree.root(), LibraryFiles::Access::ReadOnly);
    for (const char* name : {"Bank/Lead/Solo.fxp", "Other", "New"})
        expectRefusals(readOnly, at(name));
    EXPECT_TRUE(readOnly.fileExists(at("Bank/PAD.FXP")));
    EXPECT_EQ(tree.names(), before);
    EXPECT_EQ(tree.text("../Outside/Keep.fxp"), "keep");
}

TEST_F(FilesTest, NothingTakesAPlaceWhereSomethingIs)
{
    for (const char* place : {"Bank/PAD.fxp", "Bank/Pad.fxp", "Missing/New.fxp"}) {
        EXPECT_FALSE(files.rename(at("Bank/Lead/Solo.fxp"), at(place))) << place;
        EXPECT_FALSE(files.createFile(at(place)) || files.makeFolder(at(place))) << place;
        EXPECT_FALSE(files.copyFile(tree / "Bank/Lead/Solo.fxp", at(place))) << place;
    }
    EXPECT_FALSE(files.rename(at("Other"), at("bank")) || files.rename(at("No"), at("No")));
    EXPECT_TRUE(files.rename(at("Other"), at("OTHER"))) << "only itself is in the way";
    EXPECT_TRUE(files.makeFolder(at("BANK"))) << "there is one";
    const std::string large(200000, 'l');
    EXPECT_TRUE(files.replaceText(at("Bank/Pad.fxp"), large));
    EXPECT_TRUE(files.copyFile(tree / "Bank/Pad.fxp", at("OTHER/Copy.fxp")));
    EXPECT_THAT(tree.names(), ElementsAre("Bank/Lead/Solo.fxp", "Bank/Pad.fxp", "OTHER/Copy.fxp"));
    EXPECT_EQ(tree.text("OTHER/Copy.fxp"), large);
}

TEST_F(FilesTest, FoldersGoWithAllInThemButNotWhatLinksPointTo)
{
    fs::create_directory_symlink(tree / "Other", tree / "Bank/Link");
    tree.put("Other/Keep.txt", "");
    tree.put("Bank/Lead/deep/deeper/x.bin", "");
    ASSERT_EQ(::mkfifo((tree / "Bank/pipe").c_str(), 0600), 0);
    EXPECT_FALSE(files.removeFolder(at("Bank/Lead"), [](auto name) { return name == "x.bin"; }));
    EXPECT_TRUE(files.fileExists(at("Bank/Lead/deep/deeper/x.bin"))) << "spared";
    EXPECT_TRUE(files.removeFolder(at("Bank/"), none));
    EXPECT_FALSE(files.removeFile(at("Other"))) << "a folder is no file";
    EXPECT_THAT(tree.names(), ElementsAre("Other/Keep.txt"));
}

} // namespace
} // namespace zephra
