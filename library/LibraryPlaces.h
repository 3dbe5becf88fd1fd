// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>

namespace zephra {

// Where the user's library lies, and how it comes into being. [!audio]

/// "Soundbanks" below ZEPHRA_DATA_ROOT if that is set, else below "Quillon Audio/Zephra" in the
/// user's documents folder: XDG_DOCUMENTS_DIR from the environment or from user-dirs.dirs, else
/// ~/Documents. Empty without a home.
std::filesystem::path defaultSoundbankRoot();

/// The patch that a new instrument starts with, below the soundbank root.
inline constexpr const char* kFirstPatch = "Showcase\\Bass Carpet QX.fxp";

/// The factory banks that were installed with this program or plug-in: "share/zephra/soundbanks"
/// below the prefix that its own file lies in, else in XDG_DATA_DIRS. Empty if there are none.
std::filesystem::path installedFactoryBanks();

/// Makes what is missing: the folders down to the root, and in it the bank "User". A root that did
/// not exist starts with a copy of the factory banks, if there are any, and appears with all of
/// them at once; what the user deletes later does not come back.
void prepareSoundbankRoot(const std::filesystem::path& soundbankRoot,
                          const std::filesystem::path& factoryBanks);

} // namespace zephra
