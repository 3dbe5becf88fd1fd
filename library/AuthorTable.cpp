// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/AuthorTable.h"

#include <algorithm>

namespace zephra {

namespace {

constexpr std::size_t kMostPartBytes = 13;
constexpr std::size_t kMostCodeBytes = 4;
constexpr std::size_t kMostCodes = 3;

} // namespace

std::vector<std::string> authorCodesOf(std::string_view patchName)
{
    const std::size_t space = patchName.rfind(' ');
    if (space == patchName.npos)
        return {};
    std::string_view part = patchName.substr(space + 1);
    if (part.size() > kMostPartBytes)
        return {};

    std::vector<std::string> codes;
    for (bool more = true; more;) {
        const std::size_t plus = part.rfind('+');
        more = plus != part.npos;
        std::string code(more ? part.substr(plus + 1) : part);
        part = part.substr(0, more ? plus : 0);
        if (code.empty() || code.size() > kMostCodeBytes || codes.size() == kMostCodes)
            return {};
        codes.push_back(code == "Tek" ? "TK" : code); // one author signs in two ways
    }
    return codes;
}

PatchNameParts splitAuthors(std::string_view patchName)
{
    std::vector<std::string> codes = authorCodesOf(patchName);
    if (codes.empty())
        return {std::string(patchName), {}};
    std::string authors;
    std::ranges::reverse(codes);
    for (const std::string& code : codes)
        authors += (authors.empty() ? " " : "+") + code;
    return {std::string(patchName.substr(0, patchName.rfind(' '))), authors};
}

} // namespace zephra
