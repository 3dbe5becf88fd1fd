// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/TypedKeys.h"

#include "common/AsciiCase.h"

#include <algorithm>
#include <cstdint>

namespace zephra::standalone {
namespace {

// Semitones from the C of the row; a blank is a key that plays nothing.
constexpr std::string_view kLowerRow = "zsxdcvgbhnjm,l.;/";
constexpr std::string_view kUpperRow = "q2w3er5t6y7ui9o0p";
constexpr int kSemitonesOfOctave = 12;
constexpr int kHighestOctave = 7; // its upper row ends below key 127
constexpr std::uint8_t kVelocity = 96, kLoudVelocity = 127;
constexpr std::uint8_t kNoteOn = 0x90, kNoteOff = 0x80, kController = 0xb0, kPedal = 64;
constexpr char kEscape = '\033', kEndOfFile = '\004';

/// Semitones from the C of the lower row, -1 for other keys.
int semitones(char key) noexcept
{
    if (const std::size_t place = kLowerRow.find(key); place != kLowerRow.npos)
        return static_cast<int>(place);
    const std::size_t place = kUpperRow.find(key);
    return place == kUpperRow.npos ? -1 : static_cast<int>(place) + kSemitonesOfOctave;
}

} // namespace

std::vector<KeyCommand> TypedKeys::take(std::string_view typed, Clock::time_point now)
{
    std::vector<KeyCommand> commands;
    for (const char c : typed) {
        switch (within) {
        case Within::Nothing:
            if (c == kEscape)
                within = Within::Escape;
            else if (c == kEndOfFile)
                commands.push_back(KeyCommand::End);
            else
                press(c, now);
            break;
        case Within::Escape:
            within = c == '[' || c == 'O' ? Within::Sequence : Within::Nothing;
            break;
        case Within::Sequence:
            if (c < '@') // a parameter
                break;
            within = Within::Nothing;
            if (c == 'A')
                commands.push_back(KeyCommand::PreviousPatch);
            else if (c == 'B')
                commands.push_back(KeyCommand::NextPatch);
            else if (c == 'C' || c == 'D')
                changeOctave(c == 'C' ? 1 : -1);
            break;
        }
    }
    if (within == Within::Escape) { // nothing followed: the key of that name
        within = Within::Nothing;
        commands.push_back(KeyCommand::End);
    }
    return commands;
}

void TypedKeys::press(char key, Clock::time_point now)
{
    if (key == ' ') {
        pedalDown = !pedalDown;
        send({kController, kPedal, static_cast<std::uint8_t>(pedalDown ? 127 : 0)}, now);
        return;
    }
    const int steps = semitones(lowerAscii(key));
    if (steps < 0)
        return;
    const auto note = static_cast<std::uint8_t>(kSemitonesOfOctave * (lowestOctave + 1) + steps);
    const bool isRepeat = down[note] && now - lastTyped[note] < kRepeatGap;
    lastTyped[note] = now;
    if (isRepeat)
        return;
    if (down[note])
        send({kNoteOff, note, 0}, now);
    down[note] = true;
    send({kNoteOn, note, key == lowerAscii(key) ? kVelocity : kLoudVelocity}, now);
}

void TypedKeys::releaseOld(Clock::time_point now)
{
    for (std::size_t note = 0; note < down.size(); ++note) {
        if (!down[note] || now - lastTyped[note] < kNoteLength)
            continue;
        down[note] = false;
        send({kNoteOff, static_cast<std::uint8_t>(note), 0}, now);
    }
}

void TypedKeys::changeOctave(int by)
{
    lowestOctave = std::clamp(lowestOctave + by, 0, kHighestOctave);
}

void TypedKeys::send(const MidiMessage& message, Clock::time_point now)
{
    queue.push({now, message});
}

} // namespace zephra::standalone
