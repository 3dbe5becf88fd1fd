// SPDX-License-Identifier: GPL-3.0-or-later
#include "lv2/turtle/FactoryPatch.h"

#include "library/PatchChunk.h"
#include "library/ProgramFile.h"
#include "lv2/Ports.h"

#include <algorithm>
#include <stdexcept>

namespace zephra::lv2 {

namespace fs = std::filesystem;

namespace {

std::string bankNameOf(const fs::path& place)
{
    std::string name;
    for (const fs::path& folder : place.parent_path())
        name += (name.empty() ? "" : " / ") + folder.string();
    return name;
}

FactoryPatch readPatch(const fs::path& file, const fs::path& place)
{
    const ProgramFile program = readProgramFile(file);
    if (program.fault != ProgramFile::Fault::None)
        throw std::runtime_error(file.string() + ": " + program.why);
    PluginParameters values;
    readChunk(program.chunk, values);

    FactoryPatch patch{place, bankNameOf(place), program.chunk, {}};
    for (int i = 0; i < kNumHostParameters; ++i) {
        const int id = values.controlOfIndex(i);
        patch.ports.push_back(portScale(i).fromNormalised(values.getValue(id) / controlScale(id)));
    }
    return patch;
}

} // namespace

std::vector<FactoryPatch> readFactoryPatches(const fs::path& soundbanks)
{
    std::vector<FactoryPatch> patches;
    for (const auto& entry : fs::recursive_directory_iterator(soundbanks)) {
        const fs::path& file = entry.path();
        if (file.extension() == ".fxp")
            patches.push_back(
                readPatch(file, file.lexically_relative(soundbanks).replace_extension()));
    }
    std::ranges::sort(patches, {}, &FactoryPatch::place);
    return patches;
}

} // namespace zephra::lv2
