// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/EventList.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>

namespace zephra::render {
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

void addOptions(const RenderOptions& options, std::vector<TimedMessage>& messages)
{
    const double rate = options.rate;
    for (const PlayedMessage& played : options.controllers)
        messages.push_back({sampleAt(played.seconds, rate), played.message});
    for (const PlayedNote& note : options.notes) {
        const auto channel = static_cast<std::uint8_t>(note.channel);
        const auto key = static_cast<std::uint8_t>(note.key);
        const auto velocity = static_cast<std::uint8_t>(note.velocity);
        const std::int64_t on = sampleAt(note.on, rate);
        const std::int64_t off = std::max(sampleAt(note.off, rate), on + 1);
        messages.push_back({on, {static_cast<std::uint8_t>(0x90 | channel), key, velocity}});
        messages.push_back({off, {static_cast<std::uint8_t>(0x80 | channel), key, 0}});
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

EventList makeEventList(const Song& song, const RenderOptions& options)
{
    const double rate = options.rate;
    EventList list;
    list.tempos.push_back({0, options.tempo});
    for (const TempoChange& change : song.tempos)
        list.tempos.push_back({sampleAt(change.seconds, rate), change.beatsPerMinute});

    for (const ControlChange& change : options.automation)
        list.automation.push_back({sampleAt(change.seconds, rate), change.setting});
    std::ranges::stable_sort(list.automation, {}, &TimedSetting::sample);

    addSong(song, rate, list.messages);
    addOptions(options, list.messages);
    sortMessages(list.messages);

    if (!list.messages.empty())
        list.end = list.messages.back().sample;
    if (!list.automation.empty())
        list.end = std::max(list.end, list.automation.back().sample);
    return list;
}

std::int64_t EventList::notesBefore(std::int64_t sample) const
{
    return std::ranges::count_if(messages, [sample](const TimedMessage& event) {
        return event.sample < sample && event.message.isNoteOn();
    });
}

} // namespace zephra::render
