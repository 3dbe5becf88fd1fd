// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/Renderer.h"

#include "controls/ControlTable.h"
#include "library/ProgramFile.h"
#include "render/PatchList.h"
#include "song/Failure.h"

#include <algorithm>
#include <chrono>

namespace zephra::render {
namespace {

void setControl(VstXSynth& synth, const ControlSetting& setting)
{
    const auto value = static_cast<float>(setting.value);
    if (setting.id < kNumControls)
        synth.setControlSilently(setting.id, value);
    else
        synth.setControlInternal(setting.id, value); // the pitch wheel, which no preset holds
}

/// No settings of the user, no editor, and no library but one to read: a render hangs on nothing
/// but its arguments, and leaves nothing but its file.
VstXSynthOptions instrumentFor(const RenderOptions& options, HostPeer& host)
{
    if (!options.library.empty())
        requireFolder(options.library);
    VstXSynthOptions instrument;
    instrument.host = &host;
    instrument.soundbankRoot = options.library;
    instrument.libraryAccess = LibraryFiles::Access::ReadOnly;
    return instrument;
}

} // namespace

Renderer::Renderer(const RenderOptions& options, const EventList& eventList)
    : block(options.block), rate(options.rate), events(eventList),
      synth(instrumentFor(options, transport)), messages(synth), song(eventList),
      left(static_cast<std::size_t>(options.block)), right(static_cast<std::size_t>(options.block))
{
    synth.setSampleRate(options.rate);
    synth.setBlockSize(options.block);
    if (!options.patch.empty())
        loadPatch(options.patch);
    for (const ControlSetting& setting : options.settings)
        setControl(synth, setting);
    if (options.snap)
        synth.snapSmoothers();
}

void Renderer::loadPatch(const std::string& path)
{
    if (!synth.loadPatchFile(path, PatchFileMode::LoadProgram, true))
        throw fileFailure(path, readProgramFile(path).why);
}

std::vector<std::uint8_t> Renderer::programFile(const std::string& patchName)
{
    synth.setProgramName(patchName.c_str());
    return programFileBytes(*synth.parameters().getPreset(NoParameter), synth.engineWord);
}

Summary Renderer::run(TailRule tail, WavWriter& wav, terminal::ProgressBar& progress)
{
    const auto started = std::chrono::steady_clock::now();
    Summary summary;
    summary.rate = rate;
    float* outputs[] = {left.data(), right.data()};
    for (std::int64_t start = 0; !tail.finished(); start += block) {
        startBlock(start);
        synth.serviceRequests();
        synth.processReplacing(nullptr, outputs, block);
        const int kept = tail.take(left.data(), right.data(), block);
        wav.write(left.data(), right.data(), kept);
        summary.levels.add(left.data(), right.data(), kept);
        summary.samples += kept;
        progress.show(summary.samples);
    }
    synth.close();
    summary.notes = events.notesBefore(summary.samples);
    summary.elapsedSeconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    return summary;
}

void Renderer::startBlock(std::int64_t start)
{
    for (; nextSetting < events.automation.size() &&
           events.automation[nextSetting].sample < start + block;
         ++nextSetting)
        automate(events.automation[nextSetting].setting);

    song.nextBlock(block, messages);
    transport.tempo = song.tempo();
    messages.send();
}

void Renderer::automate(const ControlSetting& setting)
{
    const ControlInfo& control = *findControl(setting.id);
    if (control.isAutomatable())
        synth.setParameterAutomated(control.hostIndex,
                                    static_cast<float>(setting.value / control.scale));
    else
        setControl(synth, setting);
}

} // namespace zephra::render
