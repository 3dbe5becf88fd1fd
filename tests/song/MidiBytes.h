// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

namespace zephra::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes join(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

inline Bytes bigEndian(std::uint32_t value, int bytes)
{
    Bytes all;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
        all.push_back(static_cast<std::uint8_t>(value >> shift));
    return all;
}

inline Bytes chunk(std::string_view name, const Bytes& body)
{
    return join({Bytes(name.begin(), name.end()),
                 bigEndian(static_cast<std::uint32_t>(body.size()), 4), body});
}

inline Bytes header(int format, int tracks, int division)
{
    return chunk("MThd", join({bigEndian(static_cast<std::uint32_t>(format), 2),
                               bigEndian(static_cast<std::uint32_t>(tracks), 2),
                               bigEndian(static_cast<std::uint32_t>(division), 2)}));
}

inline const Bytes kEndOfTrack{0x00, 0xff, 0x2f, 0x00};

/// A track of these bytes and an end mark.
inline Bytes track(const Bytes& events) { return chunk("MTrk", join({events, kEndOfTrack})); }

/// A file of one track at 100 ticks a beat.
inline Bytes oneTrack(const Bytes& events) { return join({header(0, 1, 100), track(events)}); }

} // namespace zephra::test
