// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/VoiceRack.h"

#include "voice/VoiceRenderer.h"

#include <algorithm>

namespace zephra {

VoiceRack::VoiceRack(std::uint32_t engineNumber) noexcept
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

void VoiceRack::fillIdle(Voice& voice, bool eightLanes, LaneBuffer& buffer, int firstSample,
                         int count) noexcept
{
    constexpr float kIdleLevel = 1e-7f; // keeps the eight-lane filter off denormals
    float& cutoff = lanes.cutoff[static_cast<std::size_t>(voice.lane)];
    cutoff = std::clamp(cutoff, 0.0f, 1.0f);
    const float level = eightLanes ? kIdleLevel : 0.0f;
    LaneWriter out(buffer, eightLanes, firstSample, voice.lane);
    for (int i = 0; i < count; ++i)
        out.write(level, cutoff, level, 0.0f);
}

void VoiceRack::render(const EngineValues& values, const Performance& performance,
                       LaneBuffer& buffer, int firstSample, int count) noexcept
{
    const PolyMode mode = values.polyMode;
    const bool eightLanes = mode == PolyMode::Poly8;
    if (mode == PolyMode::Mono)
        std::fill_n(buffer.four.begin() + firstSample * 16, count * 16, 0.0f);

    for (int i = 0; i < voicesOf(mode); ++i) {
        Voice& voice = (*this)[i];
        if (i > 0 && mode != PolyMode::Unison && voice.ended) {
            fillIdle(voice, eightLanes, buffer, firstSample, count);
            continue;
        }
        const VoiceContext context{values, performance, rates, tone, noiseSeed};
        LaneWriter out(buffer, eightLanes, firstSample, i);
        if (values.revision == Revision::Early)
            VoiceRendererEarly(voice, context).render(out, count);
        else
            VoiceRendererLate(voice, context).render(out, count);
    }
}

} // namespace zephra
