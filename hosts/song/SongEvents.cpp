// SPDX-License-Identifier: GPL-3.0-or-later
#include "song/SongEvents.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>

namespace zephra {
namespace {

/// Counts the notes of the song that are down, to find those that end on the sample of their
/// start.
class KeysDown {
public:
    /// The sample for a note message at `sample`.
    std::int64_t place(const MidiMessage& message, std::int64_t sample)
    {
        Key& key = keys[static_cast<std::size_t>(message.channel() << 7 | message.data1)];
        if (key.sample != sample)
            key = {sample, key.earlier + key.here, 0};
        if (message.isNoteOn()) {
            ++key.here;
        } else if (key.earlier > 0) {
            --key.earlier; // the oldest note ends first
        } else if (key.here > 0) {
            --key.here;
            return sample + 1;
        }
        return sample;
    }

private:
    struct Key {
        std::int64_t sample = 0; ///< of the last message
        int earlier = 0;         ///< notes down that started before it
        int here = 0;            ///< notes down that started on it
    };
    std::array<Key, 16 * 128> keys{}; ///< [channel, key]
};

void addSong(const Song& song, double rate, std::vector<TimedMessage>& messages)
{
    KeysDown keysDown;
    for (const PlayedMessage& played : song.messages) {
        const std::int64_t sample = sampleAt(played.seconds, rate);
        const MidiMessage& message = played.message;
        messages.push_back({message.isNote() ? keysDown.place(message, sample) : sample, message});
    }
}

/// Moves each note-off among the notes of one sample before the first note-on of its key.
void putOffsFirst(std::span<TimedMessage> notes)
{
    struct Ranked {
        std::size_t rank;
        TimedMessage note;
    };
    std::array<std::size_t, 128> firstOn{}; ///< [key] place of the first note-on from 1, 0: none
    std::vector<Ranked> order;
    order.reserve(notes.size());
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const MidiMessage& message = notes[i].message;
        std::size_t& first = firstOn[message.data1];
        if (message.isNoteOn() && first == 0)
            first = i + 1;
        const bool overtakes = message.isNoteOff() && first != 0;
        order.push_back({overtakes ? 2 * first - 1 : 2 * (i + 1), notes[i]});
    }
    std::ranges::stable_sort(order, {}, &Ranked::rank);
    std::ranges::transform(order, notes.begin(), &Ranked::note);
}

void sortMessages(std::vector<TimedMessage>& messages)
{
    std::ranges::stable_sort(messages, [](const TimedMessage& a, const TimedMessage& b) {
        return a.sample != b.sample ? a.sample < b.sample : a.message.isNote() < b.message.isNote();
    });
    for (auto first = messages.begin(); first != messages.end();) {
        const auto last = std::find_if(first, messages.end(), [first](const TimedMessage& event) {
            return event.sample != first->sample;
        });
        const auto notes = std::find_if(
            first, last, [](const TimedMessage& event) { return event.message.isNote(); });
        if (last - notes > 1)
            putOffsFirst({notes, last});
        first = last;
    }
}

} // namespace

SongEvents makeSongEvents(const Song& song, double rate, double startTempo,
                          const std::vector<TimedMessage>& others)
{
    SongEvents events;
    events.tempos.push_back({0, startTempo});
    for (const TempoChange& change : song.tempos)
        events.tempos.push_back({sampleAt(change.seconds, rate), change.beatsPerMinute});

    addSong(song, rate, events.messages);
    events.messages.insert(events.messages.end(), others.begin(), others.end());
    sortMessages(events.messages);
    return events;
}

} // namespace zephra
