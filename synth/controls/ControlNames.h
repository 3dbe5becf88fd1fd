// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controls/ControlTable.h"

#include <string>
#include <string_view>

namespace zephra {

/// A sentence for a name that no control has, with the nearest one that there is.
std::string unknownControl(std::string_view name);

} // namespace zephra
