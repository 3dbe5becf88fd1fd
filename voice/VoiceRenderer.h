// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/LaneBuffer.h"
#include "voice/Pitch.h"
#include "voice/ShapeTables.h"
#include "voice/Voice.h"
#include "voice/VoiceRates.h"

#include <array>
#include <cstdint>

namespace zephra {

/// What all voices of a stretch share.
struct VoiceContext {
    const EngineValues& values;
    const Performance& performance;
    const VoiceRates& rates;
    const ToneSample& tone;
    std::uint32_t& noiseSeed; ///< each voice draws from it in turn
};

/// A value that walks linearly from where the last stretch left it to this stretch's target.
template <class T> class Ramp {
public:
    Ramp(T& carried, T end, int count) noexcept
        : state(carried), value(carried), target(end), step((end - carried) / static_cast<T>(count))
    {
    }
    ~Ramp() { state = target; } // exactly, whatever the sum of the steps
    Ramp(const Ramp&) = delete;
    Ramp& operator=(const Ramp&) = delete;

    T next() noexcept { return value += step; }

private:
    T& state;
    T value;
    T target;
    T step;
};

/// Plays one voice over one stretch between two note events: oscillators, mixer, noise and both
/// envelopes, one sample after the other. Made anew for each stretch.
template <Revision kRevision> class VoiceRenderer {
public:
    VoiceRenderer(Voice& voice, const VoiceContext& context) noexcept;

    /// `count` voice-rate samples, a multiple of 8.
    void render(LaneWriter& out, int count) noexcept;

private:
    struct SlotSums {
        float cutoff = 0.0f;
        float modDepth = 0.0f; ///< 0..1
        float env = 0.0f;
        float volume = 1.0f; ///< 0..1
    };
    void followControllers() noexcept;
    SlotSums sumSlots() const noexcept;
    float sourceValue(ModSource source) const noexcept;
    FilterEnvelopeRates filterEnvelopeRates() const noexcept;
    AmpEnvelopeRates ampEnvelopeRates() const noexcept;

    Voice& voice;
    const VoiceContext& context;
    const EngineValues& values;
    VoiceLanes& lanes;
    const std::size_t lane;
};

using VoiceRendererLate = VoiceRenderer<Revision::Late>;
using VoiceRendererEarly = VoiceRenderer<Revision::Early>;

extern template class VoiceRenderer<Revision::Late>;
extern template class VoiceRenderer<Revision::Early>;

} // namespace zephra
