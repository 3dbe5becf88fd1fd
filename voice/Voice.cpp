// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/Voice.h"

#include <algorithm>

namespace zephra {

void Voice::attach(VoiceLanes& rackLanes, int ownLane, std::uint32_t seed) noexcept
{
    lanes = &rackLanes;
    lane = ownLane;
    lanes->random[laneIndex()].seed(seed);
}

void Voice::reset(int toneLength) noexcept
{
    note = 60;
    velocity = 0.0f;
    channel = 0;
    gate = false;
    released = true;
    ended = false;
    smoothAftertouch = smoothBreath = smoothExpression = smoothFoot = smoothTimbre = 0.0f;

    const std::size_t l = laneIndex();
    Random15 random = lanes->random[l];
    lanes->copyLane({}, l);
    for (OscillatorLanes& oscillator : lanes->oscillators)
        oscillator.phase[l] = std::min(static_cast<float>(random.next()) / 32767.0f, 0.99f);
    lanes->random[l] = random;
    lanes->noise.tonePos[l] = lane * toneLength / kVoices;
    lanes->filterEnvelope.fltState[l] = EnvelopeStage::Release;
    lanes->filterEnvelope.fltScale[l] = 1.0;
    lanes->filterEnvelope.droopTime[l] = 132.0;
    lanes->ampEnvelope.ampState[l] = EnvelopeStage::Release;
    lanes->glidePitch[l] = 60.0;
    lanes->volMod[l] = 1.0f;
}

void Voice::startNote(const EngineValues& values, bool resetNextVoice, int newNote,
                      float newVelocity, int newChannel) noexcept
{
    velocity = newVelocity;
    note = newNote;
    ended = false;
    if (newChannel >= 0)
        channel = newChannel & (kMidiChannels - 1);

    if (resetNextVoice) {
        const std::size_t l = laneIndex();
        constexpr float kFreeRunning = 0.001f;
        for (std::size_t k = 0; k < 3; ++k)
            if (values.oscStartPhase[k] > kFreeRunning)
                lanes->oscillators[k].phase[l] = 0.999f * values.oscStartPhase[k];

        FilterEnvelope filterEnvelope = lanes->filterEnvelope.load(l);
        filterEnvelope.start(values.filterReleaseNorm > 0.3f && values.filterAttackSeconds < 0.015);
        lanes->filterEnvelope.store(l, filterEnvelope);
        lanes->ampEnvelope.ampState[l] = EnvelopeStage::Attack;
    }
    gate = true;
    released = false;
}

} // namespace zephra
