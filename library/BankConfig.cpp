// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/BankConfig.h"

#include "common/Utf8.h"

// SimpleIni rather than inih, which Debian builds for lines of 200 bytes: "AddCategories" may have
// 511.
#define SI_IMPLEMENTATION
#define SI_NO_CONVERSION
#include <SimpleIni.h>

namespace zephra {

namespace {

constexpr std::size_t kMostValueBytes = 511;

std::string valueOf(const CSimpleIniA& ini, const std::string& key)
{
    const char* const value = ini.GetValue("", key.c_str(), "");
    return std::string(utf8Prefix(value, kMostValueBytes));
}

std::string_view trimmed(std::string_view text) noexcept
{
    const std::size_t first = text.find_first_not_of(' ');
    if (first == text.npos)
        return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

/// The items between the commas. Kept: an empty one is dropped at the end only; elsewhere it is the
/// category of patches that lie directly in their bank.
std::vector<std::string> itemsOf(std::string_view list)
{
    std::vector<std::string> items;
    for (std::size_t comma = 0; comma != list.npos;) {
        comma = list.find(',');
        items.emplace_back(trimmed(list.substr(0, comma)));
        list.remove_prefix(comma == list.npos ? list.size() : comma + 1);
    }
    if (items.back().empty())
        items.pop_back();
    return items;
}

} // namespace

BankConfig readBankConfig(std::string_view text)
{
    CSimpleIniA ini;
    if (ini.LoadData(text.data(), text.size()) < 0)
        return {};
    BankConfig config;
    for (const char* number : {"", "2", "3"}) {
        std::string code = valueOf(ini, std::string("AuthorCode") + number);
        std::string name = valueOf(ini, std::string("AuthorName") + number);
        if (!code.empty() && !name.empty())
            config.authors.emplace_back(std::move(code), std::move(name));
    }
    config.categories = itemsOf(valueOf(ini, "AddCategories"));
    return config;
}

} // namespace zephra
