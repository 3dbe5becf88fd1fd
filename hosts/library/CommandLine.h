// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zephra::librarian {

/// Carries a command line out. Returns the exit status: 0, 1 if anything was refused or failed, 2
/// for a wrong command line.
int run(int argc, const char* const* argv);

} // namespace zephra::librarian
