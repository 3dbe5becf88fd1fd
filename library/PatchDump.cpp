// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchDump.h"

#include "common/WholeFile.h"

#include <array>
#include <charconv>

namespace zephra {

namespace {

constexpr int kDecimals = 4;

std::string fixed(float value)
{
    std::array<char, 64> text{}; // the largest float has 39 digits
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value,
                                   std::chars_format::fixed, kDecimals);
    return {text.data(), end.ptr};
}

void replaceFile(const std::filesystem::path& path, const std::string& text)
{
    zephra::replaceFile(path, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

} // namespace

std::string csvText(const PatchRecord& record)
{
    std::string text;
    for (const ControlValue& param : record.params) {
        text += '"' + std::to_string(param.id) + "\";\"" + std::to_string(param.page) + "\";\"" +
                fixed(param.value) + "\"\n";
    }
    return text;
}

std::string xmlText(const PatchRecord& record)
{
    std::string text = "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\n"
                       "<patch>\n"
                       "\t<values>\n";
    for (const ControlValue& param : record.params) {
        text += "\t\t<item>\n"
                "\t\t\t<id>" +
                std::to_string(param.id) +
                "</id>\n"
                "\t\t\t<value>" +
                fixed(param.value) +
                "</value>\n"
                "\t\t</item>\n";
    }
    return text + "\t</values>\n"
                  "</patch>\n";
}

void writeCsv(const PluginParameters& parameters, const std::filesystem::path& path, int preset)
{
    if (const PatchRecord* record = parameters.getPreset(preset))
        replaceFile(path, csvText(*record));
}

void writeXml(const PluginParameters& parameters, const std::filesystem::path& path, int preset)
{
    if (const PatchRecord* record = parameters.getPreset(preset))
        replaceFile(path, xmlText(*record));
}

} // namespace zephra
