// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/EventList.h"

#include <algorithm>

namespace zephra::render {
namespace {

/// Controllers and notes of the command line.
std::vector<TimedMessage> messagesOf(const RenderOptions& options)
{
    const double rate = options.rate;
    std::vector<TimedMessage> messages;
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
    return messages;
}

} // namespace

EventList makeEventList(const Song& song, const RenderOptions& options)
{
    EventList list{makeSongEvents(song, options.rate, options.tempo, messagesOf(options)), {}, 0};

    for (const ControlChange& change : options.automation)
        list.automation.push_back({sampleAt(change.seconds, options.rate), change.setting});
    std::ranges::stable_sort(list.automation, {}, &TimedSetting::sample);

    list.end = list.lastMessage();
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
