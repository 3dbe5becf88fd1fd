// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zephra {

// What the library tells the user when it refuses something.

inline constexpr const char* kMessageTitle = "The Zephra";

inline constexpr const char* kMoveBlocked =
    "File could not be moved. Please check there is no file under the same name in the target "
    "soundbank/category.";
inline constexpr const char* kTrashBlocked =
    "File could not be moved to trash. Please check there is no file under the same name and path "
    "in the trash already.";
inline constexpr const char* kRestoreBlocked =
    "File could not be restored from trash. Please check there is no file under the same name in "
    "the target soundbank/category.";
inline constexpr const char* kBankExists =
    "Soundbank already exists.\nPlease type in a different name.";
inline constexpr const char* kFolderExists =
    "Folder already exists.\nPlease type in a different name.";

// With a number of patches behind it.
inline constexpr const char* kBankHoldsPatches =
    "Please remove all patches from this soundbank first.\nPatches found: ";
inline constexpr const char* kBankHoldsTrash =
    "There are still patches in the trash from this soundbank.\n\n"
    "Please delete them, clear the trash or restore\n"
    "them and move to the other soundbank before.\n\nFound patches in trash: ";
inline constexpr const char* kFolderHoldsPatches =
    "Please delete all patches from this folder\nor move them to the other folder before.\n\n"
    "Patches found: ";
inline constexpr const char* kFolderHoldsTrash =
    "There are still patches in the trash from this folder.\n\nPatches found in trash: ";

inline constexpr const char* kBankNotRemoved =
    "Error in trying to remove soundbank.\nPlease check your folder access rights!";
inline constexpr const char* kFolderNotRemoved =
    "Error in trying to remove folder.\nPlease check your folder access rights!";

// Kept: users look for it in this spelling.
inline constexpr const char* kNoBankName = "Can not fetch the Soudnbank name!";
inline constexpr const char* kBankNotMade = "Could not create Soundbank!";
inline constexpr const char* kArchiveNotOpened = "Failed to open ZIP archive!";
inline constexpr const char* kNothingToImport = "Nothing found to import!";
inline constexpr const char* kFileNotImported = "Could not import file!";

inline constexpr const char* kInfoTitle = "Info";

} // namespace zephra
