// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controls/ControlTable.h"

#include <ostream>
#include <string>
#include <string_view>

namespace zephra::render {

/// The control with this lower-case name. An unknown name throws a usage Failure of `option` that
/// suggests the nearest one.
const ControlInfo& controlNamed(const std::string& option, std::string_view name);

/// Prints a table of all controls: id, name, host index, default and the text of the default; a
/// "-" where there is none.
void listControls(std::ostream& out);

} // namespace zephra::render
