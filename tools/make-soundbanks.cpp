// SPDX-License-Identifier: GPL-3.0-or-later
// make-soundbanks SOURCES TARGET
//
// Compiles every SOURCES/<Bank>/[<Category>/]<name>.sound into
// TARGET/<Bank>/[<Category>/]<name>.fxp and copies each bank's config.ini. Patches and config.ini
// in TARGET that have no source any more are removed. If any source is wrong, all that is wrong is
// told and nothing is written.
//
// A source has a line a value, "key = value"; ';' begins a comment, at the start of a line or after
// a blank. Keys: name (as the file is called), info (a line for the player), phrase and octave (how
// to play the sound when judging it, of no concern here), and controls that are not at their
// default, by control value.
#include "common/WholeFile.h"
#include "controls/ControlNames.h"
#include "library/ProgramFile.h"

#define SI_IMPLEMENTATION // here, so that nothing is linked
#define SI_NO_CONVERSION  // texts are bytes
#include <SimpleIni.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace zephra {
namespace {

namespace fs = std::filesystem;

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kMostNameBytes = 27; ///< what a chunk keeps
constexpr std::size_t kMostInfoBytes = PatchRecord::kInfoTextBytes - 1;
constexpr std::size_t kMostSourceBytes = 64 << 10;

Bytes readFile(const fs::path& path)
{
    RegularFile file(path);
    Bytes bytes(
        static_cast<std::size_t>(std::min<std::uint64_t>(file.size(), kMostSourceBytes + 1)));
    bytes.resize(file.read(bytes));
    if (file.error())
        throw std::runtime_error(file.error().message());
    if (bytes.size() > kMostSourceBytes)
        throw std::runtime_error("longer than 64 KiB");
    return bytes;
}

/// The value without the comment behind it.
std::string_view withoutComment(std::string_view text)
{
    for (std::size_t at = text.find(';'); at != text.npos; at = text.find(';', at + 1)) {
        if (at == 0 || text[at - 1] == ' ' || text[at - 1] == '\t')
            text = text.substr(0, at);
    }
    return text.substr(0, text.find_last_not_of(" \t") + 1);
}

std::string inQuotes(std::string_view text)
{
    std::string whole = "\"";
    return whole.append(text).append("\"");
}

/// One source, read key by key into a patch.
class SoundSource {
public:
    SoundSource(const fs::path& path, std::vector<std::string>& faultList)
        : file(path), faults(faultList)
    {
    }

    Bytes compile()
    {
        const Bytes text = readFile(file);
        CSimpleIniCaseA ini(true, true); // a key given twice keeps both values
        ini.SetAllowKeyOnly();           // a line without '=' is told, not passed over
        if (ini.LoadData(reinterpret_cast<const char*>(text.data()), text.size()) != SI_OK)
            throw std::runtime_error("this is no text");

        CSimpleIniCaseA::TNamesDepend sections, keys, values;
        ini.GetAllSections(sections);
        for (const auto& section : sections) {
            if (*section.pItem)
                fault(std::string("[") + section.pItem + "]", "a sound has no sections");
        }
        ini.GetAllKeys("", keys);
        for (const auto& key : keys) {
            ini.GetAllValues("", key.pItem, values);
            if (values.size() > 1)
                fault(key.pItem, "given " + std::to_string(values.size()) + " times");
            take(key.pItem, withoutComment(values.front().pItem));
        }
        checkTexts();
        return programFileBytes(record(), 0);
    }

private:
    PatchRecord& record() { return *patch.getPreset(NoParameter); }

    void take(const std::string& key, std::string_view value)
    {
        if (key == "name")
            name = value;
        else if (key == "info")
            info = value;
        else if (key != "phrase" && key != "octave")
            setControl(key, value);
    }

    void setControl(const std::string& key, std::string_view text)
    {
        const ControlInfo* control = findControl(key);
        if (!control)
            return fault(key, unknownControl(key));
        if (!control->isStored())
            return fault(key, "no patch stores this control");
        double value = 0.0;
        const auto end = std::from_chars(text.data(), text.data() + text.size(), value);
        if (end.ec != std::errc() || end.ptr != text.data() + text.size() || !std::isfinite(value))
            return fault(key, inQuotes(text) + " is not a number");
        if (value < 0.0 || value > control->scale)
            return fault(key, std::string(text) + " is outside 0 to " + limit(*control));
        if (control->kind != ControlKind::Continuous && value != std::trunc(value))
            return fault(key, std::string(text) + " is not a whole number");
        const auto stored = static_cast<float>(value);
        if (stored == control->defaultValue)
            return fault(key, std::string(text) + " is the default, leave it out");
        patch.setValue(control->id, stored);
    }

    static std::string limit(const ControlInfo& control)
    {
        return std::to_string(static_cast<int>(control.scale));
    }

    void checkTexts()
    {
        if (name != patchNameOf(file))
            fault("name", inQuotes(name) + " is not what the file is called");
        if (name.size() > kMostNameBytes)
            fault("name", "longer than " + std::to_string(kMostNameBytes) + " bytes");
        if (info.empty())
            fault("info", "missing");
        if (info.size() > kMostInfoBytes)
            fault("info", "longer than " + std::to_string(kMostInfoBytes) + " bytes");
        record().setName(name);
        record().setInfoText(info);
    }

    void fault(const std::string& key, const std::string& what)
    {
        faults.push_back(file.string() + ": " + key + ": " + what);
    }

    const fs::path& file;
    std::vector<std::string>& faults;
    PluginParameters patch;
    std::string name, info;
};

/// Folders and files below a root, in a lasting order.
std::vector<fs::path> filesBelow(const fs::path& root)
{
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        if (entry.is_regular_file())
            files.push_back(entry.path());
    }
    std::ranges::sort(files);
    return files;
}

bool isOutput(const fs::path& file)
{
    return file.extension() == ".fxp" || file.filename() == "config.ini";
}

/// Every file that the target holds in the end, by its path below the target.
class Soundbanks {
public:
    void compile(const fs::path& sources)
    {
        for (const fs::path& file : filesBelow(sources)) {
            const fs::path place = file.lexically_relative(sources);
            const auto depth = std::distance(place.begin(), place.end());
            try {
                if (file.extension() == ".sound") {
                    if (depth != 2 && depth != 3)
                        throw std::runtime_error("not in a bank or a category of one");
                    checkUnique(file);
                    files[fs::path(place).replace_extension(".fxp")] =
                        SoundSource(file, faults).compile();
                } else if (file.filename() == "config.ini" && depth == 2) {
                    files[place] = readFile(file);
                }
            } catch (const std::runtime_error& error) {
                faults.push_back(file.string() + ": " + error.what());
            }
        }
    }

    const std::vector<std::string>& allFaults() const { return faults; }

    void writeTo(const fs::path& target) const
    {
        for (const auto& [place, bytes] : files) {
            const fs::path path = target / place;
            fs::create_directories(path.parent_path());
            if (fs::is_regular_file(path) && readFile(path) == bytes)
                continue;
            if (const std::error_code error = replaceFile(path, bytes))
                throw fs::filesystem_error("write", path, error);
        }
        fs::create_directories(target);
        for (const fs::path& file : filesBelow(target)) {
            if (!isOutput(file) || files.contains(file.lexically_relative(target)))
                continue;
            fs::remove(file);
            std::error_code notEmpty;
            for (fs::path folder = file.parent_path(); folder != target && !notEmpty;
                 folder = folder.parent_path())
                fs::remove(folder, notEmpty);
        }
    }

private:
    /// Patches are told apart by name alone in places, and some disks ignore case.
    void checkUnique(const fs::path& file)
    {
        std::string name = patchNameOf(file);
        std::ranges::transform(name, name.begin(), [](unsigned char c) {
            return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
        });
        const auto [first, isNew] = names.emplace(name, file);
        if (!isNew)
            faults.push_back(file.string() + ": name: taken by " + first->second.string());
    }

    std::map<fs::path, Bytes> files;
    std::map<std::string, fs::path> names; ///< in lower case
    std::vector<std::string> faults;
};

int run(const fs::path& sources, const fs::path& target)
{
    Soundbanks banks;
    banks.compile(sources);
    for (const std::string& fault : banks.allFaults())
        std::cerr << fault << '\n';
    if (!banks.allFaults().empty())
        return 1;
    banks.writeTo(target);
    return 0;
}

} // namespace
} // namespace zephra

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::cerr << "make-soundbanks SOURCES TARGET\n";
        return 2;
    }
    try {
        return zephra::run(argv[1], argv[2]);
    } catch (const std::exception& error) {
        std::cerr << "make-soundbanks: " << error.what() << '\n';
        return 1;
    }
}
