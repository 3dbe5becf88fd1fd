// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Shared.h"
#include "effects/DecimationStage.h"
#include "effects/DelayLine.h"
#include "effects/OutputStage.h"
#include "effects/PlateReverb.h"
#include "engine/ControllerRows.h"
#include "engine/EngineTargets.h"
#include "engine/NoteQueue.h"
#include "engine/Smoothers.h"
#include "engine/VoiceAllocator.h"
#include "voice/EngineValues.h"
#include "voice/FilterBank.h"
#include "voice/LaneBuffer.h"
#include "voice/Performance.h"
#include "voice/VoiceRack.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

namespace zephra {

/// All audio state of the instrument: eight voices at eight times the host rate, the filter over
/// their streams, the way back to the host rate and the effects. Knows controls by id, but no
/// presets and no host. [audio] unless marked otherwise; allocates only where it says so.
class SynthEngine {
public:
    static constexpr int kSubBlock = 64; ///< host samples at most per renderBlock
    static constexpr double kMinSampleRate = 44100.0;
    static constexpr double kMaxSampleRate = 384000.0;

    /// Starts at 44100 Hz and 120 beats per minute, with all controls at zero: the owner sends
    /// every control, then snaps the smoothers.
    SynthEngine();
    SynthEngine(const SynthEngine&) = delete;
    SynthEngine& operator=(const SynthEngine&) = delete;

    // --- Settings ---
    /// [!processing] Hz; a rate out of range goes to the nearest end, one that is not finite to
    /// the lower. Silences everything but the ring of the filters and rebuilds the tables of the
    /// rate; allocates. Afterwards all controls are to be sent again.
    void setSampleRate(double rate);
    double sampleRate() const noexcept { return fs; }
    /// [any], but polyphony [!processing], since that resets the voices. `value` is a control
    /// value: continuous ones are limited to 0..1 (not a number: the default), stepped ones
    /// saturate on conversion. An unknown id does nothing.
    void setControl(int id, double value) noexcept;
    /// [!processing] The host doubles the output volume; acts from the next volume control on.
    void setVolumeDoubled(bool doubled) noexcept { volumeDoubled = doubled; }
    /// [!processing] Every smoothed value jumps to its target.
    void snapSmoothers() noexcept;
    /// [!processing] Silences voices, decimator and effects; the filters' own ring dies away.
    void resetVoicesAndEffects() noexcept;

    // --- Notes ---
    /// A note of the coming block. `note` is masked to 0..127.
    void enqueueNote(int note, float velocity, bool isNoteOn, int sampleOffset,
                     int channel) noexcept;
    /// At once, between two stretches of samples.
    void noteOn(int note, float velocity, int channel) noexcept;
    void noteOff(int note, float velocity, int channel) noexcept;
    /// [audio, !processing] Releases all voices, forgets all keys; silences nothing at once.
    void allNotesOff() noexcept;

    // --- Rendering ---
    /// Renders `sampleCount` (0..64) samples at position `startOffset` of the host block to the
    /// start of outputs[0] and outputs[1]. Without outputs nothing is copied out, all else
    /// happens.
    void renderBlock(float* const* outputs, int sampleCount, int startOffset) noexcept;

    // What a host call leaves for the next renderBlock.
    Performance performance;
    NoteQueue noteQueue;
    ControllerRows rows;

    /// Whether renderBlock would give silence and change nothing: asleep, without effects, and no
    /// control has moved since.
    bool sleepsOn() const noexcept;

    /// For meters and tests. [any]
    bool asleep() const noexcept { return tailCounter < 0; }
    bool effectsRunning() const noexcept { return fxActive; }

private:
    explicit SynthEngine(std::uint32_t engineNumber);

    void mapAtPresentRate(int id, double v) noexcept;
    void setPolyMode(PolyMode mode) noexcept;
    void takeEffectSwitch() noexcept;
    void clearOutput() noexcept;
    void renderVoices(int firstSample, int count) noexcept;
    void renderSound(int sampleCount, int startOffset) noexcept;
    void followControls() noexcept;
    void shareOscillator3() noexcept;
    void stepSilence() noexcept;
    void runEffects(int sampleCount) noexcept;
    void flushSilentOutput() noexcept;
    void stepEffectCountdown() noexcept;

    Shared<double> fs{0.0};   ///< host rate; set [!processing], read by setControl [any]
    float smoothCoeff = 0.0f; ///< step of the smoothers per sub-block
    bool volumeDoubled = false;

    EngineTargets targets;                  ///< written [any], read once per sub-block
    std::atomic<unsigned> targetChanges{0}; ///< counted after the store
    EngineValues values;                    ///< what the sound reads in this sub-block
    /// What the values follow; unless `moving`, they have arrived there.
    struct Followed {
        unsigned changes = 0;
        double aftertouch = 0.0;
        bool moving = true;
    } followed;
    VoiceRack rack;
    VoiceAllocator allocator;
    std::unique_ptr<LaneBuffer> lanes;
    FilterBank filterBank;
    DecimationStage decimator;
    OutputStage output;
    PlateReverb reverb;
    DelayLine delay;

    std::array<float, 512> overL{}, overR{}; ///< voice-rate stereo of one sub-block
    std::array<float, 64> outL{}, outR{};    ///< host-rate stereo; the effects work in place
    int effectsSilent = 0;   ///< samples in a row that the effects got and gave nothing
    bool outIsClear = false; ///< all zeros

    int tailBlocks = 0;            ///< silent sub-blocks rendered before the engine falls asleep
    Shared<int> tailCounter{1000}; ///< below 0: asleep
    enum class EffectSwitch : int { None, On, Off };
    std::atomic<EffectSwitch> fxRequest{EffectSwitch::None}; ///< set [any], taken [audio]
    Shared<bool> fxActive{false};                            ///< delay and reverb are being run
    float fxWet = 0.0f;     ///< 1 while switched on, 0 while the tails die out
    int fxOffCountdown = 0; ///< sub-blocks until the effects are stopped and cleared
};

} // namespace zephra
