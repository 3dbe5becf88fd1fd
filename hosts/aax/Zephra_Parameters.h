// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "aax/AAX_CMonolithicParameters.h"
#include "common/Shared.h"
#include "controls/ControlTable.h"
#include "synth/FileSettingsStore.h"
#include "synth/HostPeer.h"
#include "synth/MidiEvents.h"
#include "synth/VstXSynth.h"

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace zephra::aax {

inline constexpr TypeId kManufacturer = fourCharacters("Quil");
inline constexpr TypeId kProduct = fourCharacters("ZPHR");
inline constexpr TypeId kChunkId = fourCharacters("ZPCH");

/// What VST2 calls time information, as far as this binding knows it; made anew for every block.
struct TransportBlock {
    static constexpr std::uint32_t kTransportChanged = 1u << 0;
    static constexpr std::uint32_t kTransportPlaying = 1u << 1;
    static constexpr std::uint32_t kPpqPosValid = 1u << 9;
    static constexpr std::uint32_t kTempoValid = HostTime::kTempoValid;
    static constexpr std::uint32_t kClockValid = 1u << 15;

    double sampleRate = 0.0; ///< Hz
    double ppqPos = 0.0;     ///< quarter notes
    double tempo = 0.0;      ///< beats per minute
    std::uint32_t flags = 0;
};

/// The MIDI events of one block, as VstXSynth takes them.
struct HostEventBlock {
    std::array<MidiEvent, HostEvents::kMost> midiBuffer;
    std::array<const HostEvent*, HostEvents::kMost> pointers; ///< to the events of the same index
};

/// An instance: owns the synthesizer, publishes its 75 host parameters and a bypass, hands its
/// state to the host as one chunk, and turns each render call into what VstXSynth expects. Without
/// memory for a synthesizer the instance passes on its input. [ui] unless marked otherwise.
class Zephra_Parameters : public AAX_CMonolithicParameters, private HostPeer {
public:
    static AAX_IEffectParameters* Create() noexcept; ///< as CreateProc

    Zephra_Parameters();
    ~Zephra_Parameters() override { Zephra_Parameters::Uninitialize(); } ///< ahead of the synth

    AAX_Result Initialize(Controller& host) override;
    AAX_Result Uninitialize() override;
    /// Loads what MIDI program changes have asked for.
    AAX_Result TimerWakeup() override;

    AAX_Result UpdateParameterNormalizedValue(const char* id, double value, int source) override;

    int GetNumberOfChunks() const override { return 1; }
    AAX_Result GetChunkIDFromIndex(int index, TypeId* id) const override;
    AAX_Result GetChunkSize(TypeId id, std::uint32_t* size) override;
    AAX_Result GetChunk(TypeId id, Chunk* chunk, std::size_t blockSize) override;
    /// The first one after creation is dropped: hosts open an instrument with a chunk of defaults,
    /// which would replace the first patch.
    AAX_Result SetChunk(TypeId id, const Chunk* chunk, std::size_t blockSize) override;
    /// Always equal: no compare light for what differs in state only.
    AAX_Result CompareActiveChunk(const Chunk* chunk, bool* equal) const override;

protected:
    AAX_Result EffectInit() override;
    void RenderAudio(const RenderInfo& info) noexcept override;

    TransportBlock transportBlock; ///< [audio]
    bool wasPlaying = false;       ///< [audio]
    int tickValue = 960;           ///< [audio] ticks to a quarter / 1000. Kept, nothing reads it
    double tempo = 120.0;          ///< [audio] beats per minute; the last one that was told

    FileSettingsStore settings;
    std::unique_ptr<VstXSynth> synth;

private:
    HostTime time(std::uint32_t wanted) noexcept override;
    void refreshParameters() override;

    void readTransport(AAX_ITransport* transport) noexcept;
    void adoptFormat(int sampleFrames, int channels);
    void sendMidi(AAX_IMIDINode* node) noexcept;
    void renderSynth(float* const* outputs, int sampleFrames, int channels) noexcept;

    std::array<AAX_IParameter*, kNumHostParameters> parameters{}; ///< [host index]
    AAX_IParameter* masterBypass = nullptr;
    Shared<bool> describeDone{false}; ///< parameters exist

    float lastSampleRate = 0.0f;            ///< [audio] Hz; 0 until the first block
    int lastBlockSize = 0;                  ///< [audio] samples; likewise
    HostEventBlock hostEvents;              ///< [audio]
    std::vector<float> monoLeft, monoRight; ///< [audio] [lastBlockSize], only for the mono type

    std::mutex patchUse;       ///< [!audio] the timer, or one who reads or replaces the patch
    void* chunkData = nullptr; ///< prepared by GetChunkSize, owned by the synthesizer
    int chunkSize = 0;
    bool ignoreNextSetChunk = true;
};

} // namespace zephra::aax
