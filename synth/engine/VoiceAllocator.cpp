// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/VoiceAllocator.h"

#include <cstdlib>

namespace zephra {

void VoiceAllocator::noteOn(const EngineValues& values, int note, float velocity,
                            int channel) noexcept
{
    const int n = note & (kKeys - 1);
    keyDown[static_cast<std::size_t>(n)] = true;
    keyVelocity[static_cast<std::size_t>(n)] = velocity;

    if (!isPolyphonic(values.polyMode)) {
        playMono(values, n, velocity, channel);
        return;
    }
    const int picked = pickVoice(values, n);
    rack[picked].startNote(values, true, n, velocity, channel);
    prevNote = lastNote;
    lastNote = n;
    resetNextVoice = false;
    noKeysHeld = false;
}

/// Mono and Unison: one note on all voices of the mode.
void VoiceAllocator::playMono(const EngineValues& values, int note, float velocity,
                              int channel) noexcept
{
    const bool lowerNoteKeepsVoice = !values.notePriorityLast && note > lastNote && !noKeysHeld;
    if (lowerNoteKeepsVoice)
        return;
    for (int i = 0; i < voicesOf(values.polyMode); ++i)
        rack[i].startNote(values, resetNextVoice, note, velocity, channel);
    prevNote = lastNote;
    lastNote = note;
    resetNextVoice = values.monoRetrig;
    noKeysHeld = false;
}

int VoiceAllocator::pickVoice(const EngineValues& values, int note) noexcept
{
    const int maxVoices = voicesOf(values.polyMode);
    int picked = nextVoice;
    if (values.notePriorityLast) {
        int nearest = kKeys;
        for (int i = 0; i < maxVoices; ++i) {
            const int distance = std::abs(rack[i].note - note);
            if (rack[i].released && distance < nearest) {
                nearest = distance;
                picked = i;
            }
        }
    } else if (values.polyMode == PolyMode::Poly8) {
        // Upward to a free voice, without wrapping round; none up to the top: the first.
        while (nextVoice < maxVoices && !rack[nextVoice].released)
            ++nextVoice;
        if (nextVoice >= maxVoices)
            nextVoice = 0;
        picked = nextVoice;
    } // Kept: Poly-4 rotates and steals without looking.

    if (++nextVoice >= maxVoices)
        nextVoice = 0;
    return picked;
}

void VoiceAllocator::noteOff(const EngineValues& values, int note) noexcept
{
    const int n = note & (kKeys - 1);
    keyDown[static_cast<std::size_t>(n)] = false;

    if (isPolyphonic(values.polyMode)) {
        bool allReleased = true;
        for (int i = 0; i < voicesOf(values.polyMode); ++i) {
            if (rack[i].note == n)
                rack[i].released = true;
            allReleased = allReleased && rack[i].released;
        }
        if (allReleased)
            noKeysHeld = true;
        return;
    }

    if (n != lastNote)
        return;
    noKeysHeld = true;
    const int key = heldKeyToFallBackTo(values);
    if (key >= 0) {
        playMono(values, key, keyVelocity[static_cast<std::size_t>(key)], -1);
        return;
    }
    resetNextVoice = true;
    for (int i = 0; i < 4; ++i)
        if (rack[i].note == n)
            rack[i].released = true;
}

/// -1 when no key is held. Kept: the highest key, 127, takes no part in the search.
int VoiceAllocator::heldKeyToFallBackTo(const EngineValues& values) const noexcept
{
    constexpr int kSearched = kKeys - 1;
    if (!values.notePriorityLast) {
        for (int key = 0; key < kSearched; ++key)
            if (isHeld(key))
                return key;
        return -1;
    }
    if (prevNote < kSearched && isHeld(prevNote))
        return prevNote;
    for (int key = kSearched - 1; key >= 0; --key)
        if (isHeld(key))
            return key;
    return -1;
}

void VoiceAllocator::allNotesOff() noexcept
{
    for (Voice& voice : rack)
        voice.released = true;
    keyDown.fill(false);
    nextVoice = 0;
    noKeysHeld = true;
    resetNextVoice = true;
}

} // namespace zephra
