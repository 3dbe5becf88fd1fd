// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <iosfwd>
#include <string>

namespace zephra::render {

/// Prints bank, category, name and path of every patch below a soundbank root, a line each with
/// tabs between; "-" for no bank or category. Nothing is written into the folder. Throws Failure
/// if there is none.
void listPatches(const std::string& soundbankRoot, std::ostream& out);

/// Throws Failure unless this is a folder.
void requireFolder(const std::string& path);

} // namespace zephra::render
