// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/VoiceRack.h"

#include <array>
#include <cstdint>

namespace zephra {

/// Decides which voice a note starts and what a released key does. Rotation and the voices'
/// `released` flags are all it remembers: no voice list, no ages. [audio, !processing]
class VoiceAllocator {
public:
    explicit VoiceAllocator(VoiceRack& voices) noexcept : rack(voices) {}

    /// `note` is masked to 0..127, velocity 0..1; a channel below 0 keeps the voice's.
    void noteOn(const EngineValues& values, int note, float velocity, int channel) noexcept;
    /// In Mono and Unison the last note falls back to a key that is still held.
    void noteOff(const EngineValues& values, int note) noexcept;
    /// Releases all voices and forgets all keys; the voices finish their release.
    void allNotesOff() noexcept;

    /// After the voices were reset: the next note starts afresh.
    void startAfresh() noexcept { resetNextVoice = true; }
    /// After a change of mode, rotation starts at the first voice as well.
    void startRotation() noexcept { nextVoice = 0; }

    /// Nothing is held and, in the poly modes, no voice waits for its key.
    bool noKeysHeld = true;

private:
    void playMono(const EngineValues& values, int note, float velocity, int channel) noexcept;
    int pickVoice(const EngineValues& values, int note) noexcept;
    int heldKeyToFallBackTo(const EngineValues& values) const noexcept;
    bool isHeld(int key) const noexcept { return keyDown[static_cast<std::size_t>(key)]; }

    static constexpr int kKeys = 128;

    VoiceRack& rack;
    int lastNote = 0, prevNote = 0; ///< last note given to a voice, and the one before it
    int nextVoice = 0;              ///< rotation, 0..7
    std::array<bool, kKeys> keyDown{};
    std::array<float, kKeys> keyVelocity{}; ///< of each key's last press, 0..1
    bool resetNextVoice = true;             ///< the next note resets oscillators and envelopes
};

} // namespace zephra
