// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controls/PluginParameters.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace zephra {

// ".fxp" program files: the common header of 60 bytes, big-endian, around a chunk. The file name is
// the name of the patch. [!audio]

/// What reading a program file has given.
struct ProgramFile {
    enum class Fault {
        None,
        Unreadable, ///< missing, no regular file, nothing in it, or the system refused
        Foreign,    ///< a program of another instrument
    };

    Fault fault = Fault::None;
    std::string why;                 ///< the fault in words
    std::vector<std::uint8_t> chunk; ///< as long as the file holds it, at most kMostChunkBytes
};

ProgramFile readProgramFile(const std::filesystem::path& path);

/// The bytes of a program file.
std::vector<std::uint8_t> programFileBytes(const PatchRecord& record, std::uint32_t engineWord);

/// The name of the patch in a file: its file name without folder and extension.
std::string patchNameOf(const std::filesystem::path& path);

/// The patch of a file in a store of its own, away from the sound; nullptr if it cannot be read.
std::unique_ptr<PluginParameters> readPatchFileForBreeding(const std::filesystem::path& path);

} // namespace zephra
