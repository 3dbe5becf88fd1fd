// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace zephra::torture {

/// A MIDI message of the coming block.
struct Event {
    int sample;
    std::array<std::uint8_t, 3> bytes;
};

using Bytes = std::vector<std::uint8_t>;

/// An open plug-in, as the host side of its format sees it. Values of parameters are normalised.
class Instance {
public:
    virtual ~Instance() = default;

    /// Rate in Hz and the longest block to come, while it is off. Parameters and state stay.
    virtual void prepare(double rate, int longestBlock) = 0;
    virtual void turn(bool on) = 0;

    virtual void queue(std::span<const Event> events) = 0; ///< for the next block, as they are
    /// [audio] Hands over what is queued and plays; allocates nothing of its own.
    virtual void process(float* left, float* right, int frames) = 0;

    virtual int parameterCount() = 0;
    virtual std::string parameterName(int index) = 0;
    virtual float parameter(int index) = 0;
    virtual void setParameter(int index, float value) = 0;
    virtual std::string parameterText(int index) = 0; ///< of its present value; empty if unknown

    virtual Bytes state() = 0;
    virtual void restore(const Bytes& state) = 0;
};

/// What a format lets its hosts do beyond the common.
struct Freedoms {
    bool missingBuffers = false;          ///< process may get null pointers
    bool parametersFromAnyThread = false; ///< also while it plays
    bool stateWhilePlaying = false;       ///< read and restored on another thread
    bool unprepared = false;              ///< may play before prepare and turn
};

/// A plug-in format, and the built library of the instrument in it.
class Format {
public:
    virtual ~Format() = default;

    virtual std::string name() const = 0;
    virtual std::filesystem::path library() const = 0;
    virtual std::vector<std::string> entryPoints() const = 0; ///< all that it may export
    virtual Freedoms freedoms() const = 0;

    /// What a host does with a library that it only wants to list, from loading to unloading.
    virtual void scan() = 0;
    /// An instance at 48 kHz and blocks of 512, turned off. The library stays loaded as long as any
    /// is open. [any]
    virtual std::unique_ptr<Instance> open() = 0;
};

std::unique_ptr<Format> makeLv2Format(const std::filesystem::path& library);
/// The format named "vst2" or "lv2", of its library.
std::unique_ptr<Format> makeFormat(const std::string& name, const std::filesystem::path& library);

} // namespace zephra::torture
