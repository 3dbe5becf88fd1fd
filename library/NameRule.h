// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/LibraryHost.h"

#include <string_view>

namespace zephra {

/// True if a bank, category or patch may have this name, which the user has typed; else the host
/// shows why not. `word` says which of the three it is.
bool checkName(std::string_view name, std::string_view word, LibraryHost& host);

} // namespace zephra
