// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/LibraryPlaces.h"

#include "library/LibraryScan.h"

#include <cstdlib>
#include <dlfcn.h>
#include <fstream>
#include <link.h>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace zephra {

namespace fs = std::filesystem;

namespace {

constexpr const char* kFactoryBanks = "zephra/soundbanks"; // in a "share" folder

fs::path environmentPath(const char* name)
{
    const char* const value = std::getenv(name);
    return value ? fs::path(value) : fs::path();
}

/// The documents folder as the desktop's settings have it, a line XDG_DOCUMENTS_DIR="$HOME/Papers";
/// empty if they do not tell.
fs::path documentsOfDesktop(const fs::path& home)
{
    fs::path config = environmentPath("XDG_CONFIG_HOME");
    if (!config.is_absolute())
        config = home / ".config";
    std::ifstream file(config / "user-dirs.dirs");
    constexpr std::string_view kKey = "XDG_DOCUMENTS_DIR=\"";
    constexpr std::string_view kHome = "$HOME";
    fs::path documents;
    for (std::string line; std::getline(file, line);) {
        if (!line.starts_with(kKey) || line.find('"', kKey.size()) == std::string::npos)
            continue;
        std::string value = line.substr(kKey.size(), line.find('"', kKey.size()) - kKey.size());
        if (value.starts_with(kHome))
            value.replace(0, kHome.size(), home.string());
        documents = value;
    }
    return documents;
}

/// The program or plug-in that this code is part of, empty if that cannot be told.
fs::path ownFile()
{
    std::error_code error;
    Dl_info info = {};
    void* map = nullptr;
    if (::dladdr1(reinterpret_cast<void*>(&installedFactoryBanks), &info, &map, RTLD_DL_LINKMAP) ==
        0)
        return {};
    const fs::path name = static_cast<const link_map*>(map)->l_name;
    return fs::canonical(name.empty() ? "/proc/self/exe" : name, error); // empty: the program
}

/// Regular files and folders; the copies can be written by the user, whoever owns the originals.
bool copyTree(const fs::path& from, const fs::path& to)
{
    std::error_code error;
    fs::create_directory(to, error);
    for (fs::recursive_directory_iterator at(from, error), end; !error && at != end;) {
        const fs::path copy = to / at->path().lexically_relative(from);
        const fs::file_status status = at->symlink_status(error);
        if (!error && fs::is_directory(status))
            fs::create_directory(copy, error);
        if (!error && fs::is_regular_file(status) && fs::copy_file(at->path(), copy, error))
            fs::permissions(copy, fs::perms::owner_write, fs::perm_options::add, error);
        if (!error) // it would forget the error
            at.increment(error);
    }
    return !error;
}

} // namespace

fs::path defaultSoundbankRoot()
{
    constexpr const char* kSoundbanks = "Soundbanks";
    if (const fs::path replaced = environmentPath("ZEPHRA_DATA_ROOT"); !replaced.empty())
        return replaced / kSoundbanks;
    const fs::path home = environmentPath("HOME");
    fs::path documents = environmentPath("XDG_DOCUMENTS_DIR");
    if (!documents.is_absolute())
        documents = documentsOfDesktop(home);
    if (!documents.is_absolute())
        documents = home / "Documents";
    return documents.is_absolute() ? documents / "Quillon Audio" / "Zephra" / kSoundbanks
                                   : fs::path();
}

fs::path installedFactoryBanks()
{
    std::error_code error;
    // From bin/zephra or lib/x86_64-linux-gnu/lv2/Zephra.lv2/Zephra.so to the prefix above.
    constexpr int kDeepest = 4;
    fs::path prefix = ownFile().parent_path();
    for (int i = 0; i < kDeepest; ++i) {
        prefix = prefix.parent_path();
        if (fs::path banks = prefix / "share" / kFactoryBanks; fs::is_directory(banks, error))
            return banks;
    }
    const char* const set = std::getenv("XDG_DATA_DIRS");
    std::istringstream folders(set && *set ? set : "/usr/local/share:/usr/share");
    for (std::string folder; std::getline(folders, folder, ':');)
        if (fs::path banks = fs::path(folder) / kFactoryBanks;
            banks.is_absolute() && fs::is_directory(banks, error))
            return banks;
    return {};
}

void prepareSoundbankRoot(const fs::path& soundbankRoot, const fs::path& factoryBanks)
{
    std::error_code error;
    const fs::path root =
        soundbankRoot.has_filename() ? soundbankRoot : soundbankRoot.parent_path();
    fs::create_directories(root.parent_path(), error);
    if (!factoryBanks.empty() && fs::is_directory(factoryBanks, error) &&
        fs::symlink_status(root, error).type() == fs::file_type::not_found) {
        // Aside, so that a first start that is cut short begins again the next time.
        const fs::path aside =
            root.parent_path() / (".zephra-" + std::to_string(::getpid()) + "-soundbanks");
        fs::remove_all(aside, error);
        const bool copied = copyTree(factoryBanks, aside);
        if (copied)
            fs::rename(aside, root, error); // fails if another process was faster
        fs::remove_all(aside, error);
        if (!copied)
            return;
    }
    fs::create_directory(root, error);
    const LibraryFiles files(root);
    files.makeFolder(files.root() + kUserBank);
}

} // namespace zephra
