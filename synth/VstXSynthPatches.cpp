// SPDX-License-Identifier: GPL-3.0-or-later
#include "synth/VstXSynth.h"

#include "common/Utf8.h"
#include "common/WholeFile.h"
#include "library/PatchChunk.h"
#include "library/ProgramFile.h"
#include "synth/FileSelector.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace zephra {

namespace {

namespace fs = std::filesystem;

constexpr const char* kMessageTitle = "The Zephra";
constexpr const char* kExtension = "fxp";
constexpr float kWheelCentre = 0.5f;

bool isProgramFileName(const fs::path& path)
{
    std::string extension = path.extension().string();
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension == std::string(".") + kExtension;
}

} // namespace

// --- Chunks of the host ---------------------------------------------------------------------

int VstXSynth::getChunk(void** data, bool)
{
    const PatchRecord* record = parameterStore.getPreset(NoParameter);
    if (!data || !record)
        return 0;
    chunkOfHost = writeChunk(*record, engineWord);
    *data = chunkOfHost.data();
    return static_cast<int>(chunkOfHost.size());
}

int VstXSynth::setChunk(const void* data, int byteSize, bool)
{
    if (!data || byteSize <= 0)
        return byteSize;
    engineWord =
        readChunk({static_cast<const std::uint8_t*>(data), static_cast<std::size_t>(byteSize)},
                  parameterStore);

    hostLoaded = !loadedFromLibrary;
    if (hostLoaded)
        currentPatchPath.clear();
    else if (!currentPatchPath.empty())
        setProgramName(currentPatchName().c_str());
    applyCurrentPatch();
    return byteSize;
}

// --- Program files --------------------------------------------------------------------------

bool VstXSynth::loadPatchFile(const std::string& path, PatchFileMode mode, bool fromLibrary)
{
    if (mode != PatchFileMode::LoadProgram)
        return true;
    const ProgramFile program = readProgramFile(path);
    if (program.fault == ProgramFile::Fault::Foreign)
        messages.showMessage(kMessageTitle, program.why);
    if (program.fault != ProgramFile::Fault::None)
        return false;

    currentPatchPath = path;
    const std::string name = currentPatchName();
    loadedFromLibrary = fromLibrary;
    setChunk(program.chunk.data(), static_cast<int>(program.chunk.size()), true);
    loadedFromLibrary = false;

    setProgramName(name.c_str());
    tellOfNewName();
    return true;
}

std::error_code VstXSynth::savePatchFile(const std::string& path)
{
    const std::string nameBefore = programName();
    setProgramName(patchNameOf(path).c_str());
    const PatchRecord* record = parameterStore.getPreset(NoParameter);
    const std::error_code error = record ? replaceFile(path, programFileBytes(*record, engineWord))
                                         : std::make_error_code(std::errc::invalid_argument);
    if (error) {
        setProgramName(nameBefore.c_str());
        return error;
    }
    currentPatchPath = path;
    hostLoaded = false;
    tellOfNewName();
    return error;
}

void VstXSynth::initPatch()
{
    engineWord = 0;
    for (const int id : kStorageOrder)
        setControlSilently(id, defaultValue(id));
    setControlInternal(pitch_wheel, kWheelCentre);
    if (PatchRecord* record = parameterStore.getPreset(NoParameter))
        record->setInfoText({});
    setProgramName("Init Patch");
    tellOfNewPatch();
}

void VstXSynth::breed(GeneticsState& state, std::uint32_t seed)
{
    if (!state.canBreed())
        return;
    const auto parents = GeneticsEngine::loadParents(state);
    {
        const AudioGate::Pause pause(gate);
        genetics.breed(
            parameterStore, [this](int id, float value) { setControlSilently(id, value); },
            *parents, state, seed);
    }
    currentPatchPath.clear();
    tellOfNewPatch();
}

std::string VstXSynth::currentPatchName() const
{
    return currentPatchPath.empty() ? programName() : patchNameOf(currentPatchPath);
}

// --- File selector --------------------------------------------------------------------------

void VstXSynth::selectPatchFile(PatchFileMode mode)
{
    if (!fileSelector)
        return;
    const bool save = mode == PatchFileMode::SaveProgram || mode == PatchFileMode::SaveOld;
    const auto chosen =
        fileSelector->choose({save, save ? "Save Patch" : "Load Patch", "Program File", kExtension,
                              lastFolder, currentPatchName()});
    if (!chosen)
        return;
    fs::path path = *chosen;
    lastFolder = path.parent_path().string();

    if (mode == PatchFileMode::LoadProgram)
        loadPatchFile(path.string(), mode, true);
    if (mode == PatchFileMode::SaveProgram) {
        if (!isProgramFileName(path))
            path += std::string(".") + kExtension;
        if (const std::error_code error = savePatchFile(path.string()))
            messages.showMessage(kMessageTitle, "The patch could not be saved: " + error.message());
    }
}

// --- Names ----------------------------------------------------------------------------------

void VstXSynth::setProgramName(const char* name)
{
    if (PatchRecord* record = parameterStore.getPreset(NoParameter))
        record->setName(name ? name : "");
}

void VstXSynth::getProgramName(char* text) const
{
    const std::string name = programName();
    copyText(text, utf8Prefix(name, kMaxProgramName), kMaxProgramName);
}

std::string VstXSynth::programName() const
{
    const PatchRecord* record = parameterStore.getPreset(NoParameter);
    return record ? std::string(record->nameText()) : std::string();
}

} // namespace zephra
