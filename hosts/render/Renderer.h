// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "render/EventList.h"
#include "render/RenderOptions.h"
#include "render/Summary.h"
#include "render/WavWriter.h"
#include "song/BlockMessages.h"
#include "song/SongCursor.h"
#include "song/TailRule.h"
#include "synth/HostPeer.h"
#include "synth/VstXSynth.h"
#include "terminal/ProgressBar.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zephra::render {

/// Plays an event list on one instrument, block by block, as a plug-in host would: the settings of
/// a block first, then its messages, then its sound. The instrument sees the tempo that holds at
/// the start of the block.
class Renderer {
public:
    /// Builds the instrument and brings it to its starting state. `events` outlives the renderer.
    /// Throws Failure if the patch cannot be loaded.
    Renderer(const RenderOptions& options, const EventList& events);

    /// The present state as a program file; the patch takes this name.
    std::vector<std::uint8_t> programFile(const std::string& patchName);

    /// Renders from time 0 until `tail` ends the file. Throws what `wav` throws.
    Summary run(TailRule tail, WavWriter& wav, terminal::ProgressBar& progress);

private:
    /// The host's side: tells the tempo.
    class Transport : public HostPeer {
    public:
        HostTime time(std::uint32_t) noexcept override { return {tempo, HostTime::kTempoValid}; }

        double tempo = 120.0; ///< beats per minute
    };

    void loadPatch(const std::string& path);
    void startBlock(std::int64_t start);
    void automate(const ControlSetting& setting);

    const int block; ///< samples
    const int rate;  ///< Hz
    const EventList& events;
    Transport transport;
    VstXSynth synth;

    BlockMessages messages;
    SongCursor song;
    std::size_t nextSetting = 0; ///< first entry of the automation that lies ahead

    std::vector<float> left, right; ///< [block]
};

} // namespace zephra::render
