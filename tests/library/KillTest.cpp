// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchLibrary.h"
#include "support/LibraryTree.h"
#include "support/ZipBytes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <functional>
#include <map>
#include <string>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zephra {
namespace {

using test::LibraryTree;

/// What one process does to a library, by itself.
struct Command {
    const char* name;
    std::function<void(PatchLibrary&)> run;
    int mostCopies = 1; ///< of one patch, afterwards
    int leastOfTrash = 1;
    int leastFavourites = 1;
};

PatchEntry entry(const PatchLibrary& l, const char* path) { return *l.findByPath(l.root() + path); }
PatchFolder folder(const PatchLibrary& l, const char* path)
{
    return *l.folderByPath(l.root() + path);
}
PatchEntry x(const PatchLibrary& l) { return entry(l, "A\\Own\\x.fxp"); }
PatchEntry y(const PatchLibrary& l) { return entry(l, "A\\y.fxp"); }

PathText made;
const Command kCommands[] = {
    {"move", [](auto& l) { l.movePatchToBank("B", x(l), true, true); }},
    {"rename", [](auto& l) { l.renamePatch("n", x(l), true, true); }},
    {"case", [](auto& l) { l.renamePatch("X", x(l), true, true); }},
    {"rename bank", [](auto& l) { l.renameFolder("C", folder(l, "A\\"), true, true); }},
    {"rename category", [](auto& l) { l.renameFolder("C", folder(l, "A\\Own\\"), true, true); }},
    {"trash",
     [](auto& l) {
         l.moveToTrash(PatchLibrary::Entries{x(l), y(l)});
     }},
    {"restore", [](auto& l) { l.restoreAll(); }},
    {"purge", [](auto& l) { l.clearTrash(); }, 1, 0},
    {"delete bank", [](auto& l) { l.deleteBank(folder(l, "Empty\\")); }},
    {"create", [](auto& l) { l.createBank("N", true) && l.createPatchFile("n", made, true); }},
    {"duplicate", [](auto& l) { l.duplicatePatch(x(l)); }, 2},
    {"import patch", [](auto& l) { l.importPatch(nativePath(y(l).path), made); }, 2},
    {"import folder", [](auto& l) { l.importFolder(nativePath(l.root() + "A"), made); }, 2},
    {"import archive", [](auto& l) { l.importZip(nativePath(l.root() + "Pack.zip"), made); }, 2},
    {"favourites", [](auto& l) { l.setFavourite(y(l), true, true) && l.clearFavourites(); }, 1, 1,
     0},
};

/// True on the way into a system call that may change a disk. Whoever dies ahead of another one
/// leaves the same behind as ahead of the next of these.
bool isAboutToChangeTheDisk(pid_t child)
{
    __ptrace_syscall_info info{};
    ::ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
    if (info.op != PTRACE_SYSCALL_INFO_ENTRY)
        return false;
    switch (info.entry.nr) {
    case SYS_openat: return (info.entry.args[2] & O_CREAT) != 0;
    case SYS_write:
    case SYS_fdatasync:
    case SYS_renameat:
    case SYS_renameat2:
    case SYS_linkat:
    case SYS_unlinkat:
    case SYS_mkdirat: return true;
    default: return false;
    }
}

/// Carries a command out in a process of its own, which dies ahead of its `fatal`-th change of the
/// disk, from 0. False if it came to its end before that.
bool killAt(int fatal, const LibraryTree& tree, const Command& command)
{
    const pid_t child = ::fork();
    if (child == 0) {
        test::RecordingLibraryHost host;
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            ::_exit(1);
        ::raise(SIGSTOP);
        PatchLibrary library(tree.root(), host, LibraryFiles::Access::ReadWrite, {});
        command.run(library);
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    for (int changes = 0; WIFSTOPPED(status);) {
        if (isAboutToChangeTheDisk(child) && changes++ == fatal) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            return true;
        }
        ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        ::waitpid(child, &status, 0);
    }
    EXPECT_EQ(status, 0) << command.name;
    return false;
}

/// Every patch by its contents, and the files that hold it.
std::map<std::string, int> copiesOfPatches(const LibraryTree& tree)
{
    std::map<std::string, int> copies;
    for (const std::string& name : tree.names())
        if (name.ends_with(".fxp") || name.ends_with(".bin"))
            ++copies[tree.text(name)];
    copies.erase(""); // files that were just made
    return copies;
}

TEST(Kill, AProcessThatDiesAnywhereLosesAndDoublesNothing)
{
    if (const pid_t child = ::fork(); child == 0)
        ::_exit(::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 ? 0 : 1);
    int status = 0;
    ::wait(&status);
    if (status != 0)
        GTEST_SKIP() << "processes cannot be traced here";

    int points = 0;
    for (const Command& command : kCommands)
        for (int fatal = 0, more = 1; more; ++fatal, ++points) {
            const LibraryTree tree{"A/Own/x.fxp", "A/y.fxp",    "A/z.bin",
                                   "B/own/w.fxp", "Empty/Own/", "user/u.fxp"};
            tree.put("Favourites.db", "A\\Own\\x.fxp\nB\\own\\w.fxp");
            tree.put("Pack.zip", test::zipBytes({{"Own/x.fxp", "A/Own/x.fxp"},
                                                 {"y.fxp", "A/y.fxp", true},
                                                 {"config.ini", ""}}));
            const auto before = copiesOfPatches(tree);
            more = killAt(fatal, tree, command);
            SCOPED_TRACE(command.name + (" ahead of change " + std::to_string(fatal)));
            auto after = copiesOfPatches(tree);
            for (const auto& [patch, count] : before) {
                EXPECT_LE(after[patch], command.mostCopies) << patch;
                EXPECT_GE(after[patch], patch == "A/z.bin" ? command.leastOfTrash : 1) << patch;
            }
            EXPECT_EQ(after.size(), before.size()) << "half a patch";
            const std::string favourites = tree.text("Favourites.db");
            EXPECT_THAT(favourites, testing::MatchesRegex("([A-Za-z\\\\]+\\.fxp\n?)*"));
            EXPECT_GE(std::ranges::count(favourites, '.'), command.leastFavourites);
            ASSERT_FALSE(HasFailure());
        }
    EXPECT_GT(points, 60);
}

} // namespace
} // namespace zephra
