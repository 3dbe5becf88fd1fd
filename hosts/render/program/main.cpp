// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchChunk.h"
#include "library/PatchDump.h"
#include "library/ProgramFile.h"
#include "render/ControlNames.h"
#include "render/EventList.h"
#include "render/PatchList.h"
#include "render/PendingFile.h"
#include "render/Renderer.h"
#include "render/RenderOptions.h"
#include "render/WavWriter.h"
#include "song/Failure.h"
#include "song/MidiFile.h"
#include "song/TailRule.h"
#include "terminal/ProgressBar.h"

#include <csignal>
#include <iostream>
#include <optional>
#include <string>

namespace zephra::render {
namespace {

TailRule tailOf(const RenderOptions& options, const EventList& events)
{
    std::optional<std::int64_t> exactLength;
    if (options.seconds)
        exactLength = sampleAt(*options.seconds, options.rate);
    const TailRule tail(events.end, options.rate, exactLength);
    if (tail.longest() > WavWriter::mostFrames(options.format))
        throw fileFailure(options.out,
                          "a WAV file holds no more than " +
                              std::to_string(WavWriter::mostFrames(options.format) / options.rate) +
                              " seconds at this rate and format");
    return tail;
}

void report(const RenderOptions& options, const Summary& summary)
{
    if (options.json)
        std::cout << summary.json() << '\n';
    else if (!options.quiet)
        (options.out == "-" ? std::cerr : std::cout) << summary.text() << '\n';
}

/// The state of the instrument, aside until the sound is complete.
void keepPatch(const std::string& path, Renderer& renderer, std::optional<PendingFile>& file)
{
    if (path.empty())
        return;
    file.emplace(path);
    file->write(renderer.programFile(patchNameOf(path)));
}

/// Prints a patch as `text` gives it.
template <class Text> void dump(const std::string& path, Text text)
{
    const ProgramFile program = readProgramFile(path);
    if (program.fault != ProgramFile::Fault::None)
        throw fileFailure(path, program.why);
    PluginParameters parameters;
    readChunk(program.chunk, parameters);
    std::cout << text(*parameters.getPreset(NoParameter));
}

void render(const RenderOptions& options)
{
    const Song song = options.song.empty() ? Song{} : readMidiFile(options.song, options.tempo);
    const EventList events = makeEventList(song, options);
    const TailRule tail = tailOf(options, events);
    WavWriter wav(options.out, options.rate, options.format);
    std::optional<PendingFile> patch;
    Summary summary;
    {
        Renderer renderer(options, events);
        keepPatch(options.savePatch, renderer, patch);
        terminal::ProgressBar progress(options.seconds ? tail.longest() : events.end,
                                       options.quiet);
        summary = renderer.run(tail, wav, progress);
    }
    wav.finish();
    if (patch)
        patch->commit();
    report(options, summary);
}

void run(const RenderOptions& options)
{
    if (options.listControls)
        listControls(std::cout);
    else if (!options.listPatches.empty())
        listPatches(options.listPatches, std::cout);
    else if (!options.dump.empty())
        dump(options.dump, csvText);
    else if (!options.dumpXml.empty())
        dump(options.dumpXml, xmlText);
    else
        render(options);
    if (!std::cout.flush())
        throw fileFailure("standard output", "it cannot be written");
}

} // namespace
} // namespace zephra::render

int main(int argc, char** argv)
{
    // Writing to a closed pipe or past a size limit is then an error like any other.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    return zephra::exitStatusOf("zephra-render", [&] {
        if (const auto options = zephra::render::readOptions(argc, argv))
            zephra::render::run(*options);
    });
}
