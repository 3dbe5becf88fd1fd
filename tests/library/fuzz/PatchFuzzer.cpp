// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchChunk.h"
#include "library/ProgramFile.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace zephra {
namespace {

/// A record that can be played, shown and written: numbers only, and texts that end.
bool isSound(const PatchRecord& record)
{
    const bool numbers = std::ranges::all_of(
        record.params, [](const ControlValue& param) { return std::isfinite(param.value.get()); });
    return numbers && record.name.back() == '\0' &&
           record.info[PatchRecord::kInfoTextBytes - 1] == '\0' &&
           record.presetIntCount <= PatchRecord::kMaxPresetInts;
}

/// Whatever the bytes, as a chunk and as a file: what is read is sound, and its texts come back
/// from what is written of it.
bool patchBytesAreTakenWell(std::span<const std::uint8_t> bytes)
{
    PluginParameters parameters;
    const std::uint32_t engineWord = readChunk(bytes, parameters);
    const PatchRecord& record = *parameters.getPreset(0);
    PluginParameters again;
    const bool sameWord = readChunk(writeChunk(record, engineWord), again) == engineWord;
    const PatchRecord& copy = *again.getPreset(0);
    if (!isSound(record) || !isSound(copy) || !sameWord || copy.info != record.info ||
        copy.presetInts != record.presetInts || !record.nameText().starts_with(copy.nameText()))
        return false;

    const int file = ::memfd_create("patch", 0);
    const bool written =
        ::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    const auto loaded = readPatchFileForBreeding("/proc/self/fd/" + std::to_string(file));
    ::close(file);
    return written && (!loaded || isSound(*loaded->getPreset(0)));
}

} // namespace
} // namespace zephra

/// libFuzzer entry over chunks and program files.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    if (!zephra::patchBytesAreTakenWell({bytes, size}))
        std::abort();
    return 0;
}
