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
#include <vector>

namespace zephra {
namespace {

using test::LibraryTree;

/// What one process does to a library, by itself.
struct Command {
    const char* name;
    std::function<void(PatchLibrary&)> run;
    int mostCopies = 1;  ///< of one patch, afterwards
    int leastCopies = 1; ///< 0: a patch in the trash may go
    std::size_t leastFavourites = 1;
};

PatchEntry entry(const PatchLibrary& library, const char* path)
{
    const PatchEntry* found = library.findByPath(library.root() + path);
    return found ? *found : library.trash().at(0);
}

const PatchFolder& folder(const PatchLibrary& library, const char* path)
{
    return *library.folderByPath(library.root() + path);
}

const std::vector<Command> kCommands = {
    {"move", [](auto& l) { l.movePatchToBank("B", entry(l, "A\\Own\\x.fxp"), true, true); }},
    {"rename", [](auto& l) { l.renamePatch("n", entry(l, "A\\Own\\x.fxp"), true, true); }},
    {"case", [](auto& l) { l.renamePatch("X", entry(l, "A\\Own\\x.fxp"), true, true); }},
    {"rename bank", [](auto& l) { l.renameFolder("C", folder(l, "A\\"), true, true); }},
    {"rename category", [](auto& l) { l.renameFolder("C", folder(l, "A\\Own\\"), true, true); }},
    {"trash",
     [](auto& l) {
         l.moveToTrash({entry(l, "A\\Own\\x.fxp"), entry(l, "A\\y.fxp")});
     }},
    {"restore", [](auto& l) { l.restoreAll(); }},
    {"purge", [](auto& l) { l.clearTrash(); }, 1, 0},
    {"delete bank", [](auto& l) { l.deleteBank(folder(l, "Empty\\")); }},
    {"create",
     [](auto& l) {
         PathText made;
         l.createBank("N", true);
         l.createPatchFile("n", made, true);
     }},
    {"duplicate", [](auto& l) { l.duplicatePatch(entry(l, "A\\Own\\x.fxp")); }, 2},
    {"import patch",
     [](auto& l) {
         PathText made;
         l.importPatch(nativePath(l.root() + "A\\y.fxp"), made);
     },
     2},
    {"import folder",
     [](auto& l) {
         PathText made;
         l.importFolder(nativePath(l.root() + "A"), made);
     },
     2},
    {"import archive",
     [](auto& l) {
         PathText made;
         l.importZip(nativePath(l.root() + "Pack.zip"), made);
     },
     2},
    {"favourites",
     [](auto& l) {
         l.setFavourites({entry(l, "A\\y.fxp")}, true);
         l.clearFavourites();
     },
     1, 1, 0},
};

LibraryTree makeTree()
{
    return {"A/Own/x.fxp", "A/y.fxp", "A/z.bin", "B/own/w.fxp", "Empty/Own/", "user/u.fxp"};
}

constexpr const char* kFavourites = "A\\Own\\x.fxp\nB\\own\\w.fxp";

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
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
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
    EXPECT_TRUE(WIFEXITED(status)) << command.name << " crashed";
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

bool isWhole(const std::string& favourites, std::size_t least)
{
    std::size_t lines = 0;
    for (std::size_t at = 0; at < favourites.size(); ++lines) {
        const std::size_t end = std::min(favourites.find('\n', at), favourites.size());
        if (favourites.substr(at, end - at).find(".fxp") != end - at - 4)
            return false;
        at = end + 1;
    }
    return lines >= least && lines <= 3 && !favourites.ends_with('\n');
}

TEST(Kill, AProcessThatDiesAnywhereLosesAndDoublesNothing)
{
    if (const pid_t child = ::fork(); child == 0)
        ::_exit(::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 ? 0 : 1);
    int status = 0;
    ::wait(&status);
    if (status != 0)
        GTEST_SKIP() << "processes cannot be traced here";

    const std::string archive = test::zipBytes(
        {{"Own/x.fxp", "A/Own/x.fxp"}, {"y.fxp", "A/y.fxp", true}, {"config.ini", ""}});
    int points = 0;
    for (const Command& command : kCommands) {
        for (int fatal = 0, more = 1; more; ++fatal, ++points) {
            const LibraryTree tree = makeTree();
            tree.put("Favourites.db", kFavourites);
            tree.put("Pack.zip", archive);
            const auto before = copiesOfPatches(tree);
            more = killAt(fatal, tree, command);
            const auto after = copiesOfPatches(tree);
            const std::string where =
                std::string(command.name) + " ahead of change " + std::to_string(fatal);
            for (const auto& [patch, count] : before) {
                const auto found = after.find(patch);
                const int copies = found == after.end() ? 0 : found->second;
                EXPECT_LE(copies, command.mostCopies) << patch << ", " << where;
                EXPECT_GE(copies, patch == "A/z.bin" ? command.leastCopies : 1)
                    << patch << ", " << where;
            }
            EXPECT_LE(after.size(), before.size()) << "half a patch, " << where;
            EXPECT_TRUE(isWhole(tree.text("Favourites.db"), command.leastFavourites)) << where;
        }
        EXPECT_FALSE(HasFailure()) << command.name;
    }
    RecordProperty("points", points);
    EXPECT_GT(points, 60);
}

} // namespace
} // namespace zephra
