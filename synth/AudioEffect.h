// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Shared.h"
#include "synth/HostPeer.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zephra {

/// What a host reads of a plug-in before it asks anything.
struct EffectIdentity {
    // As VST2 hosts know them.
    static constexpr std::uint32_t kHasEditor = 1u << 0;
    static constexpr std::uint32_t kCanReplacing = 1u << 4;
    static constexpr std::uint32_t kProgramsAreChunks = 1u << 5;
    static constexpr std::uint32_t kIsInstrument = 1u << 8;

    std::int32_t uniqueId = 0;
    int numPrograms = 0;
    int numParameters = 0;
    int numInputs = 0;
    int numOutputs = 0;
    std::uint32_t flags = 0;
    int initialDelay = 0; ///< samples by which hosts play the sound earlier to be in time
};

/// Four characters as one word, the first in the highest byte.
constexpr std::int32_t fourCharacters(const char (&text)[5]) noexcept
{
    std::uint32_t word = 0;
    for (int i = 0; i < 4; ++i)
        word = word << 8 | static_cast<unsigned char>(text[i]);
    return static_cast<std::int32_t>(word);
}

/// Base of every plug-in, after the first half of the VST2 interface: sound, parameters by index,
/// programs, life. Parameter values are normalised, 0..1; indexes out of range are harmless.
/// `text` points to at least 64 characters unless told otherwise; nullptr is harmless.
class AudioEffect {
public:
    static constexpr std::size_t kMaxHostText = 63;     ///< bytes besides the NUL
    static constexpr std::size_t kMaxProgramName = 23;  ///< likewise, of getProgramName
    static constexpr double kStartSampleRate = 44100.0; ///< until the host tells another
    static constexpr int kStartBlockSize = 1024;        ///< likewise
    static constexpr int kLargestBlock = 1 << 20;       ///< others are limited to it

    AudioEffect(HostPeer* hostPeer, const EffectIdentity& effectIdentity) noexcept
        : host(hostPeer), ownIdentity(effectIdentity)
    {
    }
    virtual ~AudioEffect() = default;
    AudioEffect(const AudioEffect&) = delete;
    AudioEffect& operator=(const AudioEffect&) = delete;

    const EffectIdentity& identity() const noexcept { return ownIdentity; }

    // --- Sound ---
    /// [audio] Renders outputs[channel][sample]. The two differ only in what an implementation
    /// does when it cannot render.
    virtual void process(float** inputs, float** outputs, int sampleFrames) noexcept = 0;
    virtual void processReplacing(float** inputs, float** outputs, int sampleFrames) noexcept = 0;
    /// [!processing, or audio between blocks] Hz
    virtual void setSampleRate(double rate) { rateInHz = rate; }
    /// [!processing, or audio between blocks] The largest block to come.
    virtual void setBlockSize(int size) { announcedBlockSize = size; }
    double sampleRate() const noexcept { return rateInHz; }       ///< [any]
    int blockSize() const noexcept { return announcedBlockSize; } ///< [any]

    // --- Parameters. [any] ---
    virtual void setParameter(int index, float value) = 0;
    virtual float getParameter(int index) const = 0;
    virtual void getParameterName(int index, char* text) const = 0;
    virtual void getParameterDisplay(int index, char* text) const = 0;
    virtual void getParameterLabel(int index, char* text) const = 0; ///< the unit

    // --- Programs. [ui] ---
    virtual int getProgram() const = 0;
    virtual void setProgram(int program) = 0;
    virtual void setProgramName(const char* name) = 0;
    virtual void getProgramName(char* text) const = 0; ///< at least 24 characters

    // --- State, as bytes that hosts keep with a song. [ui] ---
    /// Lends the bytes until the next call and returns their number. Both mean the same for a
    /// preset and for a bank.
    virtual int getChunk(void** data, bool isPreset) = 0;
    virtual int setChunk(const void* data, int byteSize, bool isPreset) = 0;

    // --- Life. [ui] ---
    virtual void suspend() {} ///< processing stops
    virtual void resume() {}  ///< processing starts
    virtual void close() = 0; ///< the last call before destruction

    /// Copies at most `most` bytes and a NUL.
    static void copyText(char* text, std::string_view from, std::size_t most) noexcept
    {
        if (text)
            text[from.copy(text, most)] = '\0';
    }

protected:
    void setFlag(std::uint32_t flag) noexcept { ownIdentity.flags |= flag; }

    HostPeer* const host; ///< may be nullptr

private:
    EffectIdentity ownIdentity;
    Shared<double> rateInHz{kStartSampleRate};
    Shared<int> announcedBlockSize{kStartBlockSize};
};

} // namespace zephra
