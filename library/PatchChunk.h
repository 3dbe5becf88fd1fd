// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controls/PluginParameters.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zephra {

// A patch as hosts keep it with a song and as program files hold it. Little-endian: a header of
// 560 bytes, then sections in any order, each 16 bytes of head (format word 1, tag, element size,
// element count) and its elements. Four sections have a meaning:
//   'pres'  presetInts, elements of 4 bytes
//   'name'  27 bytes and a NUL
//   'pinf'  the info block, 560 bytes
//   'para'  PatchValues, 8 bytes each

/// Bytes beyond this are not looked at.
inline constexpr std::size_t kMostChunkBytes = 16u << 20;

/// `engineWord` is a word of the plug-in that travels with its patch.
std::vector<std::uint8_t> writeChunk(const PatchRecord& record, std::uint32_t engineWord);

/// Puts a chunk of any revision into the current preset and returns its engineWord. Controls that
/// the chunk lacks take their defaults, locked ones keep their values. The info block starts from
/// nothing; name and presetInts stay if the chunk has none.
///
/// Damage ends the reading where it stands: the rest counts as absent.
std::uint32_t readChunk(std::span<const std::uint8_t> chunk, PluginParameters& parameters);

} // namespace zephra
