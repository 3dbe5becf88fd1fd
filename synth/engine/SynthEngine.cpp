// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/SynthEngine.h"

#include "common/Maths.h"
#include "controls/ControlIds.h"
#include "controls/SyncCycles.h"
#include "engine/ControlMapping.h"
#include "voice/AmpCurve.h"
#include "voice/ShapeTables.h"

#include <algorithm>
#include <atomic>
#include <cmath>

namespace zephra {

namespace {

constexpr double kSmoothingHz = 640.0;
constexpr double kTailSeconds = 2.0;
constexpr int kIntakeTail = 1400; ///< sub-blocks that a note on its way keeps the engine awake

std::uint32_t countEngine() noexcept
{
    static std::atomic<std::uint32_t> built{0};
    return built.fetch_add(1, std::memory_order_relaxed);
}

/// Mode of a polyphony control value: "Unison", "Poly-4", "Mono", "Poly-8".
PolyMode polyModeOf(double value) noexcept
{
    constexpr std::array<PolyMode, 4> kModes = {PolyMode::Unison, PolyMode::Poly4, PolyMode::Mono,
                                                PolyMode::Poly8};
    return value >= 0.0 && value < 4.0 ? kModes[static_cast<std::size_t>(value)] : PolyMode::Mono;
}

} // namespace

SynthEngine::SynthEngine() : SynthEngine(countEngine()) {}

SynthEngine::SynthEngine(std::uint32_t engineNumber)
    : rack(engineNumber), allocator(rack), lanes(std::make_unique<LaneBuffer>()),
      reverb(engineSeed(engineNumber, kVoices))
{
    shapeTables(); // built here, never first on the audio thread
    ampCurve();
    setSampleRate(kMinSampleRate);
}

void SynthEngine::setSampleRate(double rate)
{
    fs = std::isfinite(rate) ? std::clamp(rate, kMinSampleRate, kMaxSampleRate) : kMinSampleRate;
    smoothCoeff = static_cast<float>(onePoleCoeff(kSmoothingHz, fs));
    followed.moving = true;
    tailBlocks = static_cast<int>(kTailSeconds * fs) / kSubBlock;

    rack.setSampleRate(fs);
    filterBank.setSampleRate(fs);
    decimator.reset();
    output.setSampleRate(fs);
    delay.reset();
    reverb.reset();
    delay.setSampleRate(fs);
    reverb.setSampleRate(fs);
    allocator.startAfresh();
}

void SynthEngine::resetVoicesAndEffects() noexcept
{
    rack.reset();
    decimator.reset();
    delay.reset();
    reverb.reset();
    allocator.startAfresh();
}

void SynthEngine::setControl(int id, double value) noexcept
{
    const double v = intake(id, value);
    switch (id) {
    case polyphony: setPolyMode(polyModeOf(v)); break;
    case fx_active:
        fxRequest.store(v != 0.0 ? EffectSwitch::On : EffectSwitch::Off, std::memory_order_relaxed);
        break;
    case fx_del_time: delay.setTime(static_cast<int>(v)); break;
    case fx_del_feedback: delay.setFeedback(static_cast<float>(v)); break;
    case fx_del_dry_wet: delay.setDryWet(static_cast<float>(v)); break;
    case fx_del_width: delay.setWidth(static_cast<float>(v)); break;
    case fx_rev_time: reverb.setTime(static_cast<float>(v)); break;
    case fx_rev_color: reverb.setColor(static_cast<float>(v)); break;
    case fx_rev_width: reverb.setWidth(static_cast<float>(v)); break;
    case fx_rev_dry_wet: reverb.setDryWet(static_cast<float>(v)); break;
    default: mapAtPresentRate(id, v); break;
    }
}

/// A rate that changes meanwhile on another thread sends all controls again, but may have done so
/// before this one's store.
void SynthEngine::mapAtPresentRate(int id, double v) noexcept
{
    double rate = 0.0;
    do {
        rate = fs;
        mapControl(targets, id, v, rate, volumeDoubled);
    } while (rate != fs);
    targetChanges.fetch_add(1, std::memory_order_release);
}

/// Held keys stay down and sound no more until they are pressed again.
void SynthEngine::setPolyMode(PolyMode mode) noexcept
{
    if (mode == values.polyMode)
        return;
    rack.reset();
    filterBank.reset();
    allocator.startAfresh();
    allocator.startRotation();
    values.polyMode = mode;
    tailCounter = tailBlocks / 4;
}

/// Off fades: the tails go on for a while, then stepEffectCountdown stops and clears the effects.
void SynthEngine::takeEffectSwitch() noexcept
{
    if (fxRequest.load(std::memory_order_relaxed) == EffectSwitch::None)
        return;
    constexpr int kTailBlocks = 500; // per 44.1 kHz of rate
    switch (fxRequest.exchange(EffectSwitch::None, std::memory_order_relaxed)) {
    case EffectSwitch::None: break;
    case EffectSwitch::On:
        if (!fxActive && fxOffCountdown > 0) { // stopped, but not yet cleared
            delay.reset();
            reverb.reset();
        }
        fxActive = true;
        fxOffCountdown = 0;
        fxWet = 1.0f;
        break;
    case EffectSwitch::Off:
        if (fxActive) // else their memories are clear already, or about to be
            fxOffCountdown = static_cast<int>(fs / 44100.0) * kTailBlocks;
        fxWet = 0.0f;
        break;
    }
}

void SynthEngine::snapSmoothers() noexcept
{
    snapSmoothedValues(values, targets, performance.aftertouchLast);
    followed.moving = true; // what is below its threshold goes to zero yet
}

void SynthEngine::enqueueNote(int note, float velocity, bool isNoteOn, int sampleOffset,
                              int channel) noexcept
{
    noteQueue.insert({note, velocity, sampleOffset, static_cast<std::uint8_t>(isNoteOn), channel});
    if (isNoteOn)
        tailCounter = kIntakeTail;
}

void SynthEngine::noteOn(int note, float velocity, int channel) noexcept
{
    tailCounter = tailBlocks;
    allocator.noteOn(values, note, velocity, channel);
}

void SynthEngine::noteOff(int note, float /*velocity*/, int /*channel*/) noexcept
{
    allocator.noteOff(values, note);
}

void SynthEngine::allNotesOff() noexcept { allocator.allNotesOff(); }

void SynthEngine::renderBlock(float* const* outputs, int sampleCount, int startOffset) noexcept
{
    followControls();
    shareOscillator3();
    takeEffectSwitch();

    if (asleep()) {
        output.jumpToVolume(targets.outVolume);
        clearOutput();
    } else {
        renderSound(sampleCount, startOffset);
        stepSilence();
    }
    runEffects(sampleCount);
    if (asleep())
        flushSilentOutput();
    stepEffectCountdown();

    if (outputs != nullptr) {
        std::copy_n(outL.data(), sampleCount, outputs[0]);
        std::copy_n(outR.data(), sampleCount, outputs[1]);
    }
}

bool SynthEngine::sleepsOn() const noexcept
{
    return outIsClear && asleep() && !fxActive && fxOffCountdown == 0 &&
           fxRequest.load(std::memory_order_relaxed) == EffectSwitch::None && !followed.moving &&
           targetChanges.load(std::memory_order_acquire) == followed.changes;
}

/// Smoothed values that have arrived are left alone until a control or the aftertouch moves.
void SynthEngine::followControls() noexcept
{
    const unsigned changes = targetChanges.load(std::memory_order_acquire);
    const double aftertouch = performance.aftertouchLast;
    if (!followed.moving && changes == followed.changes && aftertouch == followed.aftertouch)
        return;
    followed = {changes, aftertouch, stepSmoothers(values, targets, aftertouch, smoothCoeff)};
}

/// Oscillator 3 as common low-frequency oscillator: in range "LO", off the keyboard, and with
/// more than one voice.
void SynthEngine::shareOscillator3() noexcept
{
    if (values.oscRange[2] == 0 && !values.osc3KeyTrack && values.polyMode != PolyMode::Mono)
        rack.shareOscillator3();
}

/// Voices in stretches between the notes, then filter, decimator and output stage.
void SynthEngine::renderSound(int sampleCount, int startOffset) noexcept
{
    outIsClear = false;
    values.lfoIncrement =
        performance.tempo /
        (kSyncCycles[static_cast<std::size_t>(syncIndex(targets.osc3SemiNorm))] * 3.75) /
        (fs * kOversampling);

    int done = 0; // samples rendered in this call
    int now = startOffset;
    for (const NoteEvent& event : noteQueue) {
        if (event.sampleOffset < now)
            continue;
        if (event.sampleOffset >= startOffset + sampleCount)
            break;
        if (event.sampleOffset > now) {
            renderVoices(done * kOversampling, (event.sampleOffset - now) * kOversampling);
            done += event.sampleOffset - now;
            now = event.sampleOffset;
        }
        if (event.isNoteOn)
            noteOn(event.note, event.velocity, event.channel);
        else
            noteOff(event.note, event.velocity, event.channel);
    }
    if (done < sampleCount)
        renderVoices(done * kOversampling, (sampleCount - done) * kOversampling);

    filterBank.process(values, *lanes, sampleCount * kOversampling, overL.data(), overR.data());
    decimator.process(overL.data(), overR.data(), sampleCount, outL.data(), outR.data());
    output.process(outL.data(), outR.data(), sampleCount, targets.outVolume, values.mains50Hz);
}

void SynthEngine::clearOutput() noexcept
{
    if (outIsClear)
        return;
    outL.fill(0.0f);
    outR.fill(0.0f);
    outIsClear = true;
}

void SynthEngine::renderVoices(int firstSample, int count) noexcept
{
    rack.render(values, performance, *lanes, firstSample, count);
}

/// Two seconds of silence after the last key put the engine to sleep. All 64 entries count,
/// whatever the length of the sub-block.
void SynthEngine::stepSilence() noexcept
{
    constexpr float kSilence = 4e-6f;
    const auto audible = [](float x) { return std::fabs(x) > kSilence; };
    if (!allocator.noKeysHeld || std::ranges::any_of(outL, audible) ||
        std::ranges::any_of(outR, audible))
        tailCounter = tailBlocks;
    else
        tailCounter = tailCounter - 1;
}

/// In place on the sub-block, the reverb before the delay; on zeros while the voices sleep, until
/// the tails are over.
void SynthEngine::runEffects(int sampleCount) noexcept
{
    if (!fxActive)
        return;
    if (!outIsClear)
        effectsSilent = 0;
    else if (effectsSilent > delay.longestEcho() && delay.hasArrived(fxWet) &&
             reverb.hasArrived(fxWet)) {
        reverb.rest(sampleCount);
        return;
    }
    reverb.process(outL.data(), outR.data(), sampleCount, fxWet);
    delay.process(outL.data(), outR.data(), sampleCount, performance.tempo, fxWet);
    const auto silent = [](float x) { return x == 0.0f; };
    outIsClear =
        outIsClear && std::ranges::all_of(outL, silent) && std::ranges::all_of(outR, silent);
    effectsSilent = outIsClear ? std::min(effectsSilent, delay.longestEcho()) + sampleCount : 0;
}

/// What is left of the effects' tails on a sleeping engine. The right side is flushed only after
/// a left side without anything to hear.
void SynthEngine::flushSilentOutput() noexcept
{
    if (outIsClear)
        return;
    constexpr float kFlush = 4e-8f;
    for (std::array<float, kSubBlock>* side : {&outL, &outR}) {
        bool allFlushed = true;
        for (float& x : *side) {
            if (std::fabs(x) < kFlush)
                x = 0.0f;
            else
                allFlushed = false;
        }
        if (!allFlushed)
            return;
    }
}

/// Effects that were switched off fade, stop and are cleared one after the other, so that no tail
/// comes back with them.
void SynthEngine::stepEffectCountdown() noexcept
{
    switch (fxOffCountdown) {
    case 25: fxActive = false; break;
    case 20: delay.reset(); break;
    case 1: reverb.reset(); break;
    default: break;
    }
    if (fxOffCountdown > 0)
        --fxOffCountdown;
}

} // namespace zephra
