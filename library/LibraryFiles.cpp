// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/LibraryFiles.h"

#include "common/AsciiCase.h"
#include "common/WholeFile.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace zephra {

namespace fs = std::filesystem;

/// An open file or folder.
class LibraryFiles::Handle {
public:
    explicit Handle(int opened = -1) noexcept : number(opened) {}
    Handle(Handle&& other) noexcept : number(std::exchange(other.number, -1)) {}
    Handle& operator=(Handle&& other) noexcept
    {
        std::swap(number, other.number);
        return *this;
    }
    ~Handle() { close(); }

    explicit operator bool() const noexcept { return number >= 0; }
    int get() const noexcept { return number; }
    bool close() noexcept
    {
        const int closing = std::exchange(number, -1);
        return closing < 0 || ::close(closing) == 0;
    }

private:
    int number;
};

/// Where a path leads: the folder that holds it, open, and its last element.
struct LibraryFiles::Place {
    Handle folder;
    std::string name;
};

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

using Stream = std::unique_ptr<DIR, int (*)(DIR*)>;

/// Names in an open folder, of which it takes a second view.
Stream openStream(int folder)
{
    const int view = ::openat(folder, ".", kFolderFlags);
    DIR* const stream = view < 0 ? nullptr : ::fdopendir(view);
    if (view >= 0 && !stream)
        ::close(view);
    return {stream, ::closedir};
}

bool isDots(std::string_view name) noexcept { return name == "." || name == ".."; }

/// What is under a name itself, if anything: the type bits of a mode, 0 for nothing.
mode_t typeAt(int folder, const char* name) noexcept
{
    struct stat status {};
    return ::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 ? status.st_mode & S_IFMT
                                                                      : mode_t(0);
}

mode_t typeOf(int folder, const dirent& entry) noexcept
{
    return entry.d_type == DT_UNKNOWN ? typeAt(folder, entry.d_name)
                                      : static_cast<mode_t>(DTTOIF(entry.d_type));
}

std::vector<LibraryFiles::Name> sorted(std::vector<LibraryFiles::Name> names)
{
    std::ranges::sort(names, [](const LibraryFiles::Name& a, const LibraryFiles::Name& b) {
        const int order = compareNoCase(a.text, b.text);
        return order != 0 ? order < 0 : a.text < b.text;
    });
    return names;
}

bool sameFolder(int a, int b) noexcept
{
    struct stat first {
    }, second{};
    return ::fstat(a, &first) == 0 && ::fstat(b, &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

/// For file systems whose own rename replaces what is there.
bool renameWithoutHelp(int fromFolder, const char* from, int toFolder, const char* to) noexcept
{
    // A second name is refused if the first exists, so that no file can get lost.
    if (typeAt(fromFolder, from) == S_IFREG && ::linkat(fromFolder, from, toFolder, to, 0) == 0) {
        if (::unlinkat(fromFolder, from, 0) == 0)
            return true;
        ::unlinkat(toFolder, to, 0);
        return false;
    }
    return typeAt(toFolder, to) == 0 && ::renameat(fromFolder, from, toFolder, to) == 0;
}

bool renameNoReplace(int fromFolder, const char* from, int toFolder, const char* to) noexcept
{
    if (::renameat2(fromFolder, from, toFolder, to, RENAME_NOREPLACE) == 0)
        return true;
    return (errno == ENOSYS || errno == EINVAL) &&
           renameWithoutHelp(fromFolder, from, toFolder, to);
}

/// Empties a folder of all but what is spared, as far as the system allows.
bool removeContents(int folder, // NOLINT(misc-no-recursion): as deep as the tree
                    const LibraryFiles::Spares& spares)
{
    std::vector<std::string> names; // taken first: not every system lists on while names go
    {
        const Stream stream = openStream(folder);
        if (!stream)
            return false;
        while (const dirent* entry = ::readdir(stream.get()))
            if (!isDots(entry->d_name))
                names.emplace_back(entry->d_name);
    }
    bool all = true;
    for (const std::string& name : names) {
        const bool isFolder = typeAt(folder, name.c_str()) == S_IFDIR;
        if (const int inner = isFolder ? ::openat(folder, name.c_str(), kFolderFlags) : -1;
            inner >= 0) {
            all &= removeContents(inner, spares);
            ::close(inner);
        }
        all &= (isFolder || !spares(name)) &&
               ::unlinkat(folder, name.c_str(), isFolder ? AT_REMOVEDIR : 0) == 0;
    }
    return all;
}

} // namespace

/// The names of folders as they were read first, and those that came since; some may have gone.
struct LibraryFiles::KnownNames {
    using Folder = std::pair<dev_t, ino_t>;
    using Names = std::multiset<std::string, NoCaseLess>;

    std::map<Folder, Names> folders;
};

// --- Paths ----------------------------------------------------------------------------------

fs::path nativePath(std::string_view libraryPath)
{
    std::string native(libraryPath);
    std::ranges::replace(native, '\\', '/');
    return native;
}

PathText libraryPath(const fs::path& path)
{
    std::string turned = path.string();
    std::ranges::replace(turned, '/', '\\');
    return PathText(turned);
}

LibraryFiles::LibraryFiles(const fs::path& soundbankRoot, Access allowed) : access(allowed)
{
    std::error_code error;
    rootPath = fs::weakly_canonical(soundbankRoot, error);
    if (error || !rootPath.is_absolute())
        rootPath = fs::absolute(soundbankRoot, error);
    if (rootPath.string().find('\\') != std::string::npos)
        return;
    rootText = libraryPath(rootPath);
    if (!rootText.view().ends_with('\\'))
        rootText += "\\";
    if (rootText.isCut())
        rootText = PathText();
}

std::string_view LibraryFiles::belowRoot(std::string_view path) const noexcept
{
    const std::string_view start = rootText;
    return !start.empty() && path.starts_with(start) ? path.substr(start.size())
                                                     : std::string_view();
}

LibraryFiles::Handle LibraryFiles::openRoot() const
{
    if (rootText.empty())
        return Handle();
    return Handle(::open(rootPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

std::optional<LibraryFiles::Place> LibraryFiles::placeOf(const PathText& path) const
{
    std::string_view rest = belowRoot(path);
    if (rest.ends_with('\\'))
        rest.remove_suffix(1);
    if (path.isCut() || rest.empty())
        return std::nullopt;

    Place place{openRoot(), {}};
    while (place.folder) {
        const std::size_t end = std::min(rest.find('\\'), rest.size());
        place.name = rest.substr(0, end);
        if (end == 0 || isDots(place.name) ||
            place.name.find_first_of(std::string_view("/\0", 2)) != std::string::npos)
            return std::nullopt;
        if (end == rest.size())
            return place;
        rest.remove_prefix(end + 1);
        place.folder = Handle(::openat(place.folder.get(), place.name.c_str(), kFolderFlags));
    }
    return std::nullopt;
}

std::optional<LibraryFiles::Place> LibraryFiles::writablePlaceOf(const PathText& path) const
{
    return access == Access::ReadOnly ? std::nullopt : placeOf(path);
}

// --- Reading --------------------------------------------------------------------------------

LibraryFiles::Handle LibraryFiles::openFolder(const PathText& folder) const
{
    if (folder == rootText)
        return openRoot();
    const auto place = placeOf(folder);
    return Handle(place ? ::openat(place->folder.get(), place->name.c_str(), kFolderFlags) : -1);
}

std::vector<LibraryFiles::Name> LibraryFiles::readFolder(const PathText& folder) const
{
    std::vector<Name> names;
    const Handle opened = openFolder(folder);
    const Stream stream = opened ? openStream(opened.get()) : Stream(nullptr, ::closedir);
    while (const dirent* entry = stream ? ::readdir(stream.get()) : nullptr) {
        const std::string_view name = entry->d_name;
        const mode_t type = typeOf(opened.get(), *entry);
        if (!isDots(name) && name.find('\\') == name.npos && (type == S_IFREG || type == S_IFDIR))
            names.push_back({std::string(name), type == S_IFDIR});
    }
    return sorted(std::move(names));
}

std::vector<LibraryFiles::Name> readForeignFolder(const fs::path& folder)
{
    std::vector<LibraryFiles::Name> names;
    std::error_code error;
    for (fs::directory_iterator at(folder, error); !error && at != fs::directory_iterator();
         at.increment(error)) {
        std::error_code unknown; // a link that leads nowhere
        const std::string name = at->path().filename().string();
        const bool isFolder = at->is_directory(unknown);
        if (name.find('\\') == std::string::npos && (isFolder || at->is_regular_file(unknown)))
            names.push_back({name, isFolder});
    }
    return sorted(std::move(names));
}

std::string LibraryFiles::readText(const PathText& path, std::size_t mostBytes,
                                   std::error_code& error) const
{
    errno = 0;
    const auto place = placeOf(path);
    if (!place) {
        error.assign(errno != 0 ? errno : ENOENT, std::generic_category());
        return {};
    }
    RegularFile file(place->folder.get(), place->name.c_str());
    std::string text(std::min<std::uint64_t>(file.size(), mostBytes), '\0');
    text.resize(file.read({reinterpret_cast<std::uint8_t*>(text.data()), text.size()}));
    error = file.error();
    return error ? std::string() : text;
}

LibraryFiles::Identity LibraryFiles::identityOf(const PathText& path) const
{
    const auto place = placeOf(path);
    struct stat status {};
    if (!place ||
        ::fstatat(place->folder.get(), place->name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return {};
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
            status.st_mtim.tv_nsec};
}

bool LibraryFiles::fileExists(const PathText& path) const
{
    const auto place = placeOf(path);
    return place && typeAt(place->folder.get(),
                           nameInTheWay(place->folder.get(), place->name, {}).c_str()) == S_IFREG;
}

bool LibraryFiles::folderExists(const PathText& path) const
{
    const auto place = placeOf(path);
    return place && typeAt(place->folder.get(),
                           nameInTheWay(place->folder.get(), place->name, {}).c_str()) == S_IFDIR;
}

bool LibraryFiles::isTaken(const PathText& path) const
{
    const auto place = placeOf(path);
    return place && !nameInTheWay(place->folder.get(), place->name, {}).empty();
}

// --- Names in the way -----------------------------------------------------------------------

LibraryFiles::Batch::Batch(LibraryFiles& libraryFiles) : files(libraryFiles)
{
    files.known = std::make_unique<KnownNames>();
}
LibraryFiles::Batch::~Batch() { files.known.reset(); }

LibraryFiles::~LibraryFiles() = default;

/// The name in a folder that equals this one but perhaps for case, other than `own`; empty: none.
std::string LibraryFiles::nameInTheWay(int folder, const std::string& name,
                                       std::string_view own) const
{
    const auto isThere = [&](const std::string& other) {
        return other != own && typeAt(folder, other.c_str()) != 0;
    };
    if (isThere(name))
        return name;
    if (KnownNames::Names* names = knownNamesOf(folder)) {
        const auto [begin, end] = names->equal_range(name);
        const auto found = std::find_if(begin, end, isThere);
        return found == end ? std::string() : *found;
    }
    const Stream stream = openStream(folder);
    while (const dirent* entry = stream ? ::readdir(stream.get()) : nullptr) {
        if (equalNoCase(entry->d_name, name) && entry->d_name != own)
            return entry->d_name;
    }
    return {};
}

/// nullptr outside a batch.
std::multiset<std::string, NoCaseLess>* LibraryFiles::knownNamesOf(int folder) const
{
    struct stat status {};
    if (!known || ::fstat(folder, &status) != 0)
        return nullptr;
    const auto [at, isNew] = known->folders.try_emplace({status.st_dev, status.st_ino});
    const Stream stream = isNew ? openStream(folder) : Stream(nullptr, ::closedir);
    while (const dirent* entry = stream ? ::readdir(stream.get()) : nullptr)
        at->second.insert(entry->d_name);
    return &at->second;
}

/// Passes `made` on.
bool LibraryFiles::nowHolds(const Place& place, bool made) const
{
    if (KnownNames::Names* names = made ? knownNamesOf(place.folder.get()) : nullptr)
        names->insert(place.name);
    return made;
}

// --- Changing -------------------------------------------------------------------------------

bool LibraryFiles::rename(const PathText& from, const PathText& to) const
{
    const auto source = writablePlaceOf(from);
    const auto target = writablePlaceOf(to);
    if (!source || !target || typeAt(source->folder.get(), source->name.c_str()) == 0)
        return false;
    const bool stays = sameFolder(source->folder.get(), target->folder.get());
    if (stays && source->name == target->name)
        return true;
    if (!nameInTheWay(target->folder.get(), target->name, stays ? source->name : "").empty())
        return false;
    return nowHolds(*target, renameNoReplace(source->folder.get(), source->name.c_str(),
                                             target->folder.get(), target->name.c_str()));
}

bool LibraryFiles::removeFile(const PathText& path) const
{
    const auto place = writablePlaceOf(path);
    return place && ::unlinkat(place->folder.get(), place->name.c_str(), 0) == 0;
}

bool LibraryFiles::removeEmptyFile(const PathText& path) const
{
    return identityOf(path).size == 0 && removeFile(path);
}

bool LibraryFiles::makeFolder(const PathText& path) const
{
    const auto place = writablePlaceOf(path);
    if (!place)
        return false;
    const std::string taken = nameInTheWay(place->folder.get(), place->name, {});
    if (!taken.empty())
        return typeAt(place->folder.get(), taken.c_str()) == S_IFDIR;
    return nowHolds(*place, ::mkdirat(place->folder.get(), place->name.c_str(), 0777) == 0 ||
                                errno == EEXIST);
}

bool LibraryFiles::makeNewFolder(const PathText& path) const
{
    const auto place = writablePlaceOf(path);
    return place && nameInTheWay(place->folder.get(), place->name, {}).empty() &&
           ::mkdirat(place->folder.get(), place->name.c_str(), 0777) == 0;
}

bool LibraryFiles::removeFolder(const PathText& path, const Spares& spares) const
{
    const auto place = writablePlaceOf(path);
    if (!place)
        return false;
    const Handle inner(::openat(place->folder.get(), place->name.c_str(), kFolderFlags));
    const bool emptied = inner && removeContents(inner.get(), spares);
    return emptied && ::unlinkat(place->folder.get(), place->name.c_str(), AT_REMOVEDIR) == 0;
}

bool LibraryFiles::removeEmptyFolder(const PathText& path) const
{
    const auto place = writablePlaceOf(path);
    return place && ::unlinkat(place->folder.get(), place->name.c_str(), AT_REMOVEDIR) == 0;
}

/// The bytes go to a file beside the place, which then takes its name. The leading dot keeps it
/// out of every scan if the process dies meanwhile.
bool LibraryFiles::writeAside(const Place& place, const Fill& fill, Manner manner) const
{
    static std::atomic<unsigned> files{0};
    const int folder = place.folder.get();
    std::string aside;
    Handle file;
    do {
        aside = ".zephra-" + std::to_string(::getpid()) + '-' + std::to_string(files++);
        file =
            Handle(::openat(folder, aside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    } while (!file && errno == EEXIST);
    if (!file)
        return false;

    struct stat old {};
    if (manner != Manner::New &&
        ::fstatat(folder, place.name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISREG(old.st_mode))
        ::fchmod(file.get(), old.st_mode & 0777);
    bool done =
        fill(file.get()) && (manner == Manner::ReplaceQuickly || ::fdatasync(file.get()) == 0);
    done &= file.close();
    done = done && (manner == Manner::New
                        ? renameNoReplace(folder, aside.c_str(), folder, place.name.c_str())
                        : ::renameat(folder, aside.c_str(), folder, place.name.c_str()) == 0);
    if (!done)
        ::unlinkat(folder, aside.c_str(), 0);
    return nowHolds(place, done);
}

bool LibraryFiles::createFile(const PathText& path) const
{
    const auto place = writablePlaceOf(path);
    if (!place || !nameInTheWay(place->folder.get(), place->name, {}).empty())
        return false;
    return bool(Handle(::openat(place->folder.get(), place->name.c_str(),
                                O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)));
}

bool LibraryFiles::copyFile(const fs::path& source, const PathText& path) const
{
    const auto place = writablePlaceOf(path);
    return place && nameInTheWay(place->folder.get(), place->name, {}).empty() &&
           copyTo(*place, source, Manner::New);
}

bool LibraryFiles::copyTo(const Place& place, const fs::path& source, Manner manner) const
{
    RegularFile from(source);
    if (from.error())
        return false;
    const auto copy = [&](int file) {
        std::array<std::uint8_t, 65536> bytes; // NOLINT(*-member-init): read into
        std::size_t count = 0;
        do {
            count = from.read(bytes);
            if (from.error() || !writeAll(file, std::span(bytes).first(count)))
                return false;
        } while (count == bytes.size());
        return true;
    };
    return writeAside(place, copy, manner);
}

bool LibraryFiles::writeTo(const Place& place, std::string_view text, Manner manner) const
{
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    return writeAside(
        place, [&](int file) { return writeAll(file, bytes); }, manner);
}

bool LibraryFiles::replaceText(const PathText& path, std::string_view text) const
{
    const auto place = writablePlaceOf(path);
    return place && writeTo(*place, text, Manner::Replace);
}

bool LibraryFiles::putCopy(const fs::path& source, const PathText& path) const
{
    const auto place = writablePlaceOf(path);
    return place && copyTo(*place, source, Manner::ReplaceQuickly);
}

bool LibraryFiles::putText(const PathText& path, std::string_view text) const
{
    const auto place = writablePlaceOf(path);
    return place && writeTo(*place, text, Manner::ReplaceQuickly);
}

void LibraryFiles::flush() const
{
    if (const Handle folder = openRoot())
        ::syncfs(folder.get());
}

} // namespace zephra
