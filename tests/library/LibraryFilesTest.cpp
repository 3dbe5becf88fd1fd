// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/LibraryFiles.h"
#include "support/LibraryTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>
#include <vector>

namespace zephra {
namespace {

using test::LibraryTree;
using testing::ElementsAre;
namespace fs = std::filesystem;

/// A tree, and a path in it by its name with slashes.
struct FilesTest : testing::Test {
    PathText at(std::string name) const
    {
        std::ranges::replace(name, '/', '\\');
        return files.root() + name;
    }

    LibraryTree tree{"Bank/Pad.fxp", "Bank/Lead/Solo.fxp", "Other/"};
    LibraryFiles files{tree.root()};
};

TEST(PathText, CutsBetweenCharactersAndRemembersIt)
{
    const std::string umlauts(255, 'x');
    const struct {
        std::string text;
        std::size_t kept;
        bool cut;
    } rows[] = {
        {std::string(511, 'a'), 511, false},
        {std::string(512, 'a'), 511, true},
        {std::string(510, 'a') + "\xc3\xa4", 510, true},
        {std::string(509, 'a') + "\xc3\xa4", 511, false},
        {std::string(600, '\x80'), 511, true},
    };
    for (const auto& row : rows) {
        const PathText path(row.text);
        EXPECT_EQ(path.view().size(), row.kept);
        EXPECT_EQ(path.isCut(), row.cut);
    }
    PathText path(std::string(500, 'a'));
    path += std::string(12, 'b');
    EXPECT_EQ(path.view(), std::string(500, 'a')) << "nothing is appended in part";
    path += "c";
    EXPECT_TRUE(path.isCut()) << "however short it is in the end";
}

TEST_F(FilesTest, NoPathLeadsOutOfTheTree)
{
    fs::create_directory(tree / "../Outside");
    tree.put("../Outside/Keep.fxp", "keep");
    fs::create_directory_symlink(tree / "../Outside", tree / "Link");
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
        EXPECT_FALSE(files.rename(path, at("Taken.fxp")));
        EXPECT_FALSE(files.rename(at("Bank/Pad.fxp"), path));
        EXPECT_FALSE(files.removeFile(path));
        EXPECT_FALSE(files.removeFolder(path));
        EXPECT_FALSE(files.makeFolder(path));
        EXPECT_FALSE(files.createFile(path));
        EXPECT_FALSE(files.copyFile(tree / "Bank/Pad.fxp", path));
        EXPECT_FALSE(files.replaceText(path, "text"));
        EXPECT_FALSE(files.makeNewFolder(path));
        EXPECT_FALSE(files.putCopy(tree / "Bank/Pad.fxp", path));
        EXPECT_FALSE(files.putText(path, "text"));
        EXPECT_FALSE(files.fileExists(path) || files.folderExists(path));
    }
    EXPECT_FALSE(files.removeFolder(at("Link")));
    EXPECT_THAT(tree.names(), ElementsAre("Bank/Lead/Solo.fxp", "Bank/Pad.fxp", "Link", "Other/"));
    EXPECT_EQ(tree.text("../Outside/Keep.fxp"), "keep");
}

TEST_F(FilesTest, RenamingNeverReplaces)
{
    tree.put("Bank/Taken.fxp", "taken");
    const struct {
        const char *from, *to;
        bool done;
    } rows[] = {
        {"Bank/Pad.fxp", "Bank/Taken.fxp", false},
        {"Bank/Pad.fxp", "Bank/TAKEN.fxp", false}, // would hide one of them elsewhere
        {"Bank/Pad.fxp", "Bank/lead", false},
        {"Bank/Pad.fxp", "Missing/Pad.fxp", false},
        {"Bank/None.fxp", "Bank/None.fxp", false},
        {"Other", "bank", false},
        {"Bank/Pad.fxp", "Bank/Pad.fxp", true},
        {"Bank/Pad.fxp", "Bank/PAD.fxp", true}, // only itself is in the way
        {"Bank/PAD.fxp", "Other/Pad.fxp", true},
        {"Other", "OTHER", true},
    };
    for (const auto& row : rows)
        EXPECT_EQ(files.rename(at(row.from), at(row.to)), row.done) << row.from << " " << row.to;
    EXPECT_THAT(tree.names(), ElementsAre("Bank/Lead/Solo.fxp", "Bank/Taken.fxp", "OTHER/Pad.fxp"));
    EXPECT_EQ(tree.text("Bank/Taken.fxp"), "taken");
    EXPECT_EQ(tree.text("OTHER/Pad.fxp"), "Bank/Pad.fxp") << "the contents came along";
}

TEST_F(FilesTest, NewFilesAppearOnlyWhereNothingIs)
{
    EXPECT_FALSE(files.createFile(at("Bank/PAD.fxp")));
    EXPECT_FALSE(files.copyFile(tree / "Bank/Lead/Solo.fxp", at("Bank/pad.fxp")));
    EXPECT_FALSE(files.copyFile(tree / "Bank", at("Bank/Folder.fxp")));
    EXPECT_TRUE(files.createFile(at("Bank/New.fxp")));
    EXPECT_TRUE(files.copyFile(tree / "Bank/Lead/Solo.fxp", at("Bank/Copy.fxp")));
    EXPECT_TRUE(files.makeFolder(at("BANK"))) << "there is one";
    EXPECT_FALSE(files.makeFolder(at("Bank/Pad.fxp")));
    EXPECT_FALSE(files.makeFolder(at("One/Two"))) << "one level at a time";
    EXPECT_TRUE(files.makeFolder(at("One")));
    EXPECT_TRUE(files.replaceText(at("Bank/Pad.fxp"), "new"));
    EXPECT_THAT(tree.names(), ElementsAre("Bank/Copy.fxp", "Bank/Lead/Solo.fxp", "Bank/New.fxp",
                                          "Bank/Pad.fxp", "One/", "Other/"));
    EXPECT_EQ(tree.text("Bank/Copy.fxp"), "Bank/Lead/Solo.fxp");
    EXPECT_EQ(tree.text("Bank/Pad.fxp"), "new");
}

TEST_F(FilesTest, ReadOnlyTreesStayAsTheyAre)
{
    const LibraryFiles readOnly(tree.root(), LibraryFiles::Access::ReadOnly);
    EXPECT_FALSE(readOnly.rename(at("Bank/Pad.fxp"), at("Bank/New.fxp")));
    EXPECT_FALSE(readOnly.removeFile(at("Bank/Pad.fxp")) || readOnly.removeFolder(at("Bank")) ||
                 readOnly.makeFolder(at("New")) || readOnly.createFile(at("New.fxp")) ||
                 readOnly.copyFile(tree / "Bank/Pad.fxp", at("New.fxp")) ||
                 readOnly.replaceText(at("Bank/Pad.fxp"), "") ||
                 readOnly.putText(at("Bank/Pad.fxp"), "") || readOnly.makeNewFolder(at("New")) ||
                 readOnly.putCopy(tree / "Bank/Lead/Solo.fxp", at("Bank/Pad.fxp")));
    EXPECT_TRUE(readOnly.fileExists(at("Bank/PAD.FXP")));
    EXPECT_EQ(tree.text("Bank/Pad.fxp"), "Bank/Pad.fxp");
}

TEST_F(FilesTest, FoldersGoWithAllInThemButNotWhatLinksPointTo)
{
    fs::create_directory_symlink(tree / "Other", tree / "Bank/Link");
    tree.put("Other/Keep.txt", "");
    tree.put("Bank/Lead/deep/deeper/x.bin", "");
    ASSERT_EQ(::mkfifo((tree / "Bank/pipe").c_str(), 0600), 0);
    EXPECT_TRUE(files.removeFolder(at("Bank/")));
    EXPECT_FALSE(files.removeFile(at("Other"))) << "a folder is no file";
    EXPECT_THAT(tree.names(), ElementsAre("Other/Keep.txt"));
}

TEST_F(FilesTest, FolderContentsAreSortedWithoutCaseAndFreeOfOddThings)
{
    for (const char* name : {"b.fxp", "A.fxp", "a.fxp", "B/", "_x", ".hidden", "back\\slash"})
        tree.put(std::string("Other/") + name + (std::string(name) == "B/" ? "x" : ""), "");
    fs::create_symlink(tree / "Bank/Pad.fxp", tree / "Other/link.fxp");
    ASSERT_EQ(::mkfifo((tree / "Other/pipe.fxp").c_str(), 0600), 0);
    std::vector<std::string> names;
    for (const auto& name : files.readFolder(at("Other")))
        names.push_back(name.text + (name.isFolder ? "/" : ""));
    EXPECT_THAT(names, ElementsAre(".hidden", "_x", "A.fxp", "a.fxp", "B/", "b.fxp"));
    EXPECT_TRUE(files.readFolder(at("Missing")).empty());
}

} // namespace
} // namespace zephra
