// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
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
class Plugin {
public:
    virtual ~Plugin() = default;

    /// Rate in Hz and the longest block to come, while it is off. Parameters and state stay.
    virtual void prepare(double rate, int longestBlock) = 0;
    virtual void turn(bool on) = 0;

    /// For the next block, as they are, and beats per minute.
    virtual void queue(std::span<const Event> events, double tempo) = 0;
    /// [audio] Hands over what is queued and plays; allocates nothing of its own.
    virtual void process(float* left, float* right, int frames) = 0;

    virtual float value(int index) = 0;
    virtual void set(int index, float value) = 0;
    virtual Bytes state() = 0; ///< also gives the plug-in time for its files
    virtual void restore(const Bytes& state) = 0;
};

/// A plug-in format, and the built library of the instrument in it.
struct Format {
    const char* name;
    const char* library;
    std::vector<std::string> entryPoints; ///< all that it may export
    int users;      ///< threads that may set parameters at once, or one the state, while it plays
    bool senseless; ///< its hosts can tell rates and lengths that make no sense

    /// What a host does with a library that it only wants to list, from loading to unloading.
    void (*scan)();
    /// An instance, turned off. The library stays loaded as long as any is open. [any]
    std::unique_ptr<Plugin> (*open)(double rate, int longestBlock);
};

extern const Format kVst2, kLv2, kAax;

} // namespace zephra::torture
