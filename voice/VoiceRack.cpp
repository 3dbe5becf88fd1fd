// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/VoiceRack.h"

#include "voice/StretchSetup.h"

#include <algorithm>
#include <cstddef>

namespace zephra {

namespace {

/// Takes the white noise over as many draws as a stretch has samples at once.
class NoiseJump {
public:
    explicit NoiseJump(int draws) noexcept
    {
        std::uint32_t a = nextSeed(1) - nextSeed(0), c = nextSeed(0); // of 1, 2, 4... draws
        for (; draws > 0; draws /= 2) {
            if (draws % 2 != 0) {
                factor *= a;
                offset = a * offset + c;
            }
            c += a * c;
            a *= a;
        }
    }
    std::uint32_t operator()(std::uint32_t seed) const noexcept { return factor * seed + offset; }

private:
    std::uint32_t factor = 1, offset = 0;
};

/// A lane whose voice is silent stands still in these.
const VoiceLanes kIdleLanes = [] {
    VoiceLanes idle;
    idle.filterEnvelope.fltState.fill(EnvelopeStage::Sustain);
    idle.ampEnvelope.ampState.fill(EnvelopeStage::Sustain);
    return idle;
}();

void fillIdle(const VoiceStretch& stretch, float* frames, int first) noexcept
{
    const float* const level = stretch.idleLevel.data() + first;
    const float* const cutoff = stretch.idleCutoff.data() + first;
    for (float* frame = frames + first; frame < frames + 32 * stretch.count; frame += 32) {
        std::copy_n(level, 4, frame);
        std::copy_n(cutoff, 4, frame + 8);
        std::copy_n(level, 4, frame + 16);
        std::fill_n(frame + 24, 4, 0.0f);
    }
}

} // namespace

VoiceRack::VoiceRack(std::uint32_t engineNumber, VoiceKernel kernel) noexcept : renderLanes(kernel)
{
    for (int i = 0; i < kVoices; ++i)
        (*this)[i].attach(lanes, i, engineSeed(engineNumber, static_cast<std::uint32_t>(i)));
}

void VoiceRack::setSampleRate(double fs)
{
    rates = VoiceRates(fs);
    tone.setSampleRate(fs);
    reset();
}

void VoiceRack::reset() noexcept
{
    for (Voice& voice : voices)
        voice.reset(tone.length());
}

void VoiceRack::shareOscillator3() noexcept
{
    OscillatorLanes& oscillator = lanes.oscillators[2];
    const OscillatorState common = oscillator.load(0);
    for (std::size_t lane = 1; lane < kVoices; ++lane)
        oscillator.store(lane, common);
}

void VoiceRack::render(const EngineValues& values, const Performance& performance,
                       LaneBuffer& buffer, int firstSample, int count) noexcept
{
    const PolyMode mode = values.polyMode;
    const bool eightLanes = mode == PolyMode::Poly8;
    const int frameLanes = eightLanes ? 8 : 4;
    VoiceStretch stretch = stretchOf(values, rates, tone, count);
    const NoiseJump jump(count);
    const VoiceLanes before = lanes;
    std::array<bool, 2> halfRuns{};
    for (int i = 0; i < frameLanes; ++i) {
        Voice& voice = (*this)[i];
        const auto lane = static_cast<std::size_t>(i);
        if (i < voicesOf(mode) && (i == 0 || mode == PolyMode::Unison || !voice.ended)) {
            startLane(stretch, voice, performance);
            stretch.noiseSeed[lane] = noiseSeed;
            noiseSeed = jump(noiseSeed);
            halfRuns[lane / 4] = true;
        } else {
            if (i < voicesOf(mode)) {
                constexpr float kIdleLevel = 1e-7f; // keeps the eight-lane filter off denormals
                stretch.idleLevel[lane] = eightLanes ? kIdleLevel : 0.0f;
                stretch.idleCutoff[lane] = lanes.cutoff[lane];
            }
            lanes.copyLane(kIdleLanes, lane);
        }
    }

    float* const frames = (eightLanes ? buffer.eight.data() : buffer.four.data()) +
                          static_cast<std::ptrdiff_t>(4 * frameLanes * firstSample);
    if (halfRuns[0] && halfRuns[1]) {
        renderLanes(stretch, lanes, {frames, frameLanes, 0, 8});
    } else {
        for (int first = 0; first < frameLanes; first += 4)
            if (halfRuns[static_cast<std::size_t>(first / 4)])
                renderLanes(stretch, lanes, {frames, frameLanes, first, 4});
            else
                fillIdle(stretch, frames, first);
    }
    for (int i = 0; i < kVoices; ++i) {
        const auto lane = static_cast<std::size_t>(i);
        if (stretch.running[lane] != 0)
            finishLane(values, (*this)[i]);
        else
            lanes.copyLane(before, lane);
    }
}

} // namespace zephra
