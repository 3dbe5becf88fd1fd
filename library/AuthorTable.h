// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace zephra {

/// Names of sound designers by the codes that end patch names, as in "Slow Brass AB+CD". Banks
/// bring their own; the instrument itself knows none.
using AuthorTable = std::map<std::string, std::string, std::less<>>;

/// Row of the authors that no bank tells about, in the table of the authors met.
inline constexpr std::string_view kUnknownAuthor = "---";

/// The author codes of a patch name: up to three of at most 4 bytes each, joined by "+" behind the
/// last space, from last to first. Empty if what stands there is anything else.
std::vector<std::string> authorCodesOf(std::string_view patchName);

/// The name without the author part, and the author part with its space; one may be empty.
struct PatchNameParts {
    std::string base;
    std::string authors;
};
PatchNameParts splitAuthors(std::string_view patchName);

} // namespace zephra
