// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace zephra::lv2 {

/// A factory patch on its way into a preset.
struct FactoryPatch {
    std::filesystem::path place;     ///< below the soundbanks, without extension
    std::string bank;                ///< the folder, as users read it: "Essentials / Bass"
    std::vector<std::uint8_t> chunk; ///< the whole patch
    std::vector<float> ports;        ///< [host index] values that the control ports show
};

/// All patches below a folder, in the order of their places. Throws std::runtime_error if one
/// cannot be read.
std::vector<FactoryPatch> readFactoryPatches(const std::filesystem::path& soundbanks);

} // namespace zephra::lv2
