// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/NameRule.h"

#include "common/Utf8.h"
#include "library/LibraryMessages.h"

#include <algorithm>
#include <string>

namespace zephra {

bool checkName(std::string_view name, std::string_view word, LibraryHost& host)
{
    constexpr std::size_t kMostCharacters = 64;
    const std::string object(word);
    if (codePoints(name) > kMostCharacters) {
        host.showMessage(kMessageTitle, "The maximum " + object + " name length is 64 characters.");
        return false;
    }
    // What starts with a dot would not be listed, and a line feed would end a favourite's line.
    const bool holdsBadOnes = name.find_first_of("*/:<>\\|") != name.npos ||
                              std::ranges::any_of(name, [](char c) { return c >= 0 && c < ' '; });
    if (holdsBadOnes || name.empty() || name.starts_with('.')) {
        host.showMessage(kMessageTitle,
                         "The following characters are not allowed in the name of the " + object +
                             ":\n\n   /   \\  :  *  <  >  | ");
        return false;
    }
    return true;
}

} // namespace zephra
