// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controls/PluginParameters.h"

#include <filesystem>
#include <string>

namespace zephra {

// The values of a patch as text, in storage order, with four decimals whatever the locale.

/// A line a value: "id";"sub-index";"value".
std::string csvText(const PatchRecord& record);
/// An XML document of ids and values.
std::string xmlText(const PatchRecord& record);

/// [!audio] The same as files. `preset` is an index, or NoParameter for the current one; without
/// such a preset or a place to write to, nothing happens.
void writeCsv(const PluginParameters& parameters, const std::filesystem::path& path,
              int preset = NoParameter);
void writeXml(const PluginParameters& parameters, const std::filesystem::path& path,
              int preset = NoParameter);

} // namespace zephra
