// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/AsciiCase.h"
#include "common/PathText.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace zephra {

/// The folder tree of the soundbanks, and the only way to change it. Paths are full paths with
/// backslashes, as `root()` begins them; here they are turned round for the system.
///
/// Nothing outside the tree is ever touched: a path that was cut, that is not strictly below the
/// root, or that holds "." or ".." is refused, and no link inside the tree is followed. Names are
/// compared without regard to the case of A to Z: what exists under another case is in the way.
/// Operations that fail change nothing, unless they say so. [!audio]
class LibraryFiles {
public:
    enum class Access { ReadWrite, ReadOnly };

    /// The folder may be missing. A relative path is taken from the working directory.
    explicit LibraryFiles(const std::filesystem::path& soundbankRoot,
                          Access allowed = Access::ReadWrite);

    ~LibraryFiles();

    /// For a command on many files: while it lasts, the names in a folder are read once only. What
    /// other processes bring meanwhile is still never replaced, but may differ in case only.
    class Batch {
    public:
        explicit Batch(LibraryFiles& libraryFiles);
        ~Batch();
        Batch(const Batch&) = delete;
        Batch& operator=(const Batch&) = delete;

    private:
        LibraryFiles& files;
    };

    /// Which file lies under a path. One that is written anew is another.
    struct Identity {
        std::uint64_t device = 0, inode = 0;
        std::int64_t size = -1, seconds = 0, nanoseconds = 0; ///< of the last change

        bool operator==(const Identity&) const = default;
    };
    Identity identityOf(const PathText& path) const;

    /// With a backslash at the end. Empty if the path is too long or holds a backslash of its
    /// own: there are no files then.
    const PathText& root() const noexcept { return rootText; }
    /// What is behind the root; empty if the path is not below it.
    std::string_view belowRoot(std::string_view path) const noexcept;

    struct Name {
        std::string text;
        bool isFolder = false;
    };
    /// Files and folders in a folder, sorted without regard to case. No links, pipes and devices,
    /// and no names that a path cannot hold. A folder that cannot be read is empty.
    std::vector<Name> readFolder(const PathText& folder) const;
    /// At most `mostBytes` from the start of a file.
    std::string readText(const PathText& path, std::size_t mostBytes, std::error_code& error) const;

    bool fileExists(const PathText& path) const;
    bool folderExists(const PathText& path) const;
    bool isTaken(const PathText& path) const; ///< by anything, links and pipes included

    /// False if something else is there under the new name, or under one that differs in case.
    /// Renaming to the same path does nothing.
    bool rename(const PathText& from, const PathText& to) const;
    bool removeFile(const PathText& path) const;
    bool removeEmptyFile(const PathText& path) const;
    /// One level. A folder that exists is fine.
    bool makeFolder(const PathText& path) const;
    bool makeNewFolder(const PathText& path) const; ///< none may exist
    using Spares = std::function<bool(std::string_view fileName)>;
    /// With everything in it; links go, what they point to stays. A file that is spared keeps its
    /// folder too. On failure a part is gone.
    bool removeFolder(const PathText& path, const Spares& spares) const;
    bool removeEmptyFolder(const PathText& path) const;
    /// A new, empty file.
    bool createFile(const PathText& path) const;
    /// A new file, which appears when it is complete. The source may lie anywhere.
    bool copyFile(const std::filesystem::path& source, const PathText& path) const;
    /// Puts a file in place of what was there, when it is complete.
    bool replaceText(const PathText& path, std::string_view text) const;

    // Quickly, for many files: in place of what was there, but a power cut may leave empty ones
    // until `flush` has waited for the disk.
    bool putCopy(const std::filesystem::path& source, const PathText& path) const;
    bool putText(const PathText& path, std::string_view text) const;
    void flush() const;

private:
    class Handle;
    struct Place;
    struct KnownNames;
    enum class Manner { New, Replace, ReplaceQuickly };
    using Fill = std::function<bool(int file)>;

    std::string nameInTheWay(int folder, const std::string& name, std::string_view own) const;
    std::multiset<std::string, NoCaseLess>* knownNamesOf(int folder) const;
    bool nowHolds(const Place& place, bool made) const;
    Handle openRoot() const;
    Handle openFolder(const PathText& folder) const;
    std::optional<Place> placeOf(const PathText& path) const;
    std::optional<Place> writablePlaceOf(const PathText& path) const;
    bool copyTo(const Place& place, const std::filesystem::path& source, Manner manner) const;
    bool writeTo(const Place& place, std::string_view text, Manner manner) const;
    bool writeAside(const Place& place, const Fill& fill, Manner manner) const;

    std::unique_ptr<KnownNames> known; ///< during a batch
    std::filesystem::path rootPath;
    PathText rootText;
    Access access;
};

/// Files and folders in any folder of the system, and links to such, sorted as those of the
/// library. A folder that cannot be read is empty.
std::vector<LibraryFiles::Name> readForeignFolder(const std::filesystem::path& folder);

/// A path of the library as the system knows it.
std::filesystem::path nativePath(std::string_view libraryPath);
/// A path of the system as the library writes it.
PathText libraryPath(const std::filesystem::path& path);

} // namespace zephra
