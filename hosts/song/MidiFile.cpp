// SPDX-License-Identifier: GPL-3.0-or-later
#include "song/MidiFile.h"

#include "song/ByteReader.h"
#include "song/Failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace zephra {
namespace {

constexpr double kMicrosecondsPerMinute = 60e6;
constexpr std::uint32_t kDefaultBeat = 500'000; ///< microseconds, also for a tempo of 0

/// A message, or a tempo where `beatMicroseconds` is not 0. 4e6 events of 2^28 ticks fit `tick`.
struct TickEvent {
    std::int64_t tick = 0;
    std::uint32_t beatMicroseconds = 0;
    MidiMessage message;
};

/// Meaning of the header's division word.
struct Clock {
    int ticksPerBeat = 0; ///< 0: the ticks have a fixed length
    double secondsPerTick = 0.0;
};

Clock readClock(ByteReader& reader)
{
    const std::uint32_t division = reader.number(2);
    if (division < 0x8000) {
        if (division == 0)
            reader.fail("the division is 0 ticks per beat");
        return {static_cast<int>(division), 0.0};
    }
    const int frames = 256 - static_cast<int>(division >> 8); // stored as a negative byte
    const int ticksPerFrame = static_cast<int>(division & 0xff);
    if ((frames != 24 && frames != 25 && frames != 29 && frames != 30) || ticksPerFrame == 0)
        reader.fail("the division names no SMPTE clock");
    const double framesPerSecond = frames == 29 ? 30000.0 / 1001.0 : frames; // 29: drop frame
    return {0, 1.0 / (framesPerSecond * ticksPerFrame)};
}

std::uint8_t dataByte(ByteReader& reader)
{
    const std::uint8_t value = reader.byte();
    if (value >= 0x80)
        reader.fail("a status stands in the middle of a message");
    return value;
}

/// Takes a meta event; false at the end of the track.
bool readMeta(ByteReader& reader, std::int64_t tick, std::vector<TickEvent>& events)
{
    constexpr std::uint8_t kEndOfTrack = 0x2f, kTempo = 0x51;
    const std::uint8_t type = reader.byte();
    ByteReader body = reader.takePart(reader.variableLength());
    if (type == kTempo) {
        if (body.left() != 3)
            body.fail("a tempo has " + std::to_string(body.left()) + " bytes, not 3");
        const std::uint32_t beat = body.number(3);
        events.push_back({tick, beat == 0 ? kDefaultBeat : beat, {}});
    }
    return type != kEndOfTrack;
}

/// Appends the events of one track. A track may end without its end mark.
void readTrack(ByteReader reader, std::vector<TickEvent>& events)
{
    constexpr std::uint8_t kSystemExclusive = 0xf0, kEscape = 0xf7, kMeta = 0xff;
    std::int64_t tick = 0;
    std::uint8_t running = 0; ///< last channel status; meta events leave it, as many writers expect
    while (!reader.atEnd()) {
        tick += reader.variableLength();
        const std::uint8_t status = reader.byte();
        if (status == kMeta) {
            if (!readMeta(reader, tick, events))
                return;
        } else if (status == kSystemExclusive || status == kEscape) {
            reader.take(reader.variableLength()); // the instrument takes no such messages
        } else if (status > kSystemExclusive) {
            reader.fail("a message of this kind does not belong in a file");
        } else {
            if (status >= 0x80)
                running = status;
            else if (running == 0)
                reader.fail("a message has no status");
            else
                reader.stepBack();
            TickEvent event{tick, 0, {running, dataByte(reader), 0}};
            if (event.message.kind() != 0xc0 && event.message.kind() != 0xd0)
                event.message.data2 = dataByte(reader);
            events.push_back(event);
        }
        if (events.size() > kMostMidiEvents)
            reader.fail("the file has more than 4 million events");
    }
}

/// Turns ticks into seconds along the tempo map.
Song playTicks(const std::vector<TickEvent>& events, const Clock& clock, double startTempo)
{
    Song song;
    double beat = kMicrosecondsPerMinute / startTempo; ///< [microseconds]
    double tempoStart = 0.0;                           ///< [seconds] of the tick below
    std::int64_t tempoTick = 0;
    for (const TickEvent& event : events) {
        const auto ticks = static_cast<double>(event.tick - tempoTick);
        const double seconds = clock.ticksPerBeat == 0
                                   ? static_cast<double>(event.tick) * clock.secondsPerTick
                                   : tempoStart + ticks * beat / (1e6 * clock.ticksPerBeat);
        if (event.beatMicroseconds == 0) {
            song.messages.push_back({seconds, event.message});
        } else {
            if (seconds <= kLongestSeconds)
                song.tempos.push_back({seconds, kMicrosecondsPerMinute / event.beatMicroseconds});
            beat = event.beatMicroseconds;
            tempoStart = seconds;
            tempoTick = event.tick;
        }
    }
    if (!song.messages.empty() && song.messages.back().seconds > kLongestSeconds)
        throw std::runtime_error("the song is longer than 24 hours");
    return song;
}

bool hasName(std::span<const std::uint8_t> bytes, const char* name)
{
    return std::memcmp(bytes.data(), name, 4) == 0;
}

std::vector<std::uint8_t> readBytes(const std::string& path)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                               &std::fclose);
    if (!file)
        throw std::runtime_error(std::strerror(errno));
    std::vector<std::uint8_t> bytes;
    std::uint8_t part[65536];
    while (const std::size_t count = std::fread(part, 1, sizeof part, file.get())) {
        bytes.insert(bytes.end(), part, part + count);
        if (bytes.size() > kLargestMidiFile)
            throw std::runtime_error("the file is larger than 64 MiB");
    }
    if (std::ferror(file.get()))
        throw std::runtime_error(std::strerror(errno));
    return bytes;
}

} // namespace

Song parseMidi(std::span<const std::uint8_t> bytes, double startTempo)
{
    if (bytes.size() < 8 || !hasName(bytes, "MThd"))
        throw std::runtime_error("this is not a Standard MIDI File");
    ByteReader file(bytes);
    file.take(4);
    ByteReader header = file.takePart(file.number(4)); // may be longer than we know
    const std::uint32_t format = header.number(2);
    if (format > 1)
        throw std::runtime_error("only formats 0 and 1 can be played, this is format " +
                                 std::to_string(format));
    const std::uint32_t trackCount = header.number(2);
    const Clock clock = readClock(header);
    if (trackCount == 0)
        throw std::runtime_error("the file has no tracks");

    std::vector<TickEvent> events;
    for (std::uint32_t tracks = 0; tracks < trackCount;) {
        if (file.atEnd())
            file.fail("the file ends after " + std::to_string(tracks) + " of " +
                      std::to_string(trackCount) + " tracks");
        const auto name = file.take(4);
        const ByteReader chunk = file.takePart(file.number(4));
        if (!hasName(name, "MTrk"))
            continue; // chunks of other kinds are to be passed over
        readTrack(chunk, events);
        ++tracks;
    }
    std::ranges::stable_sort(events, {}, &TickEvent::tick);
    return playTicks(events, clock, startTempo);
}

Song readMidiFile(const std::string& path, double startTempo)
{
    try {
        return parseMidi(readBytes(path), startTempo);
    } catch (const std::runtime_error& error) {
        throw fileFailure(path, error.what());
    }
}

} // namespace zephra
