// SPDX-License-Identifier: GPL-3.0-or-later
#include "synth/MidiIntake.h"

#include "controls/ControlTable.h"
#include "synth/ControlPath.h"
#include "synth/MidiMap.h"
#include "synth/PluginEditor.h"
#include "synth/ProgramRequest.h"

#include <algorithm>
#include <array>

namespace zephra {

namespace {

// Controllers with a meaning of their own, which the map never sees.
enum Controller {
    kBank = 0,
    kBreath = 2,
    kFoot = 4,
    kExpression = 11,
    kBankFine = 32,
    kPedal = 64,
    kTimbre = 74, // only while it is routed
    kParameterFine = 100,
    kParameter = 101,
    kAllSoundOff = 120,
    kResetControllers = 121,
    kAllNotesOff = 123,
};

/// A 14-bit bend as position of the wheel, 0..1 with 0.5 at rest.
double wheelPosition(int low, int high) noexcept
{
    return std::clamp((high * 128 - 8192 + low) / 16384.0 + 0.5, 0.0, 1.0);
}

} // namespace

void MidiIntake::processEvents(const HostEvents* list) noexcept
{
    engine.rows.beginBlock();
    if (list && list->events && list->count <= HostEvents::kMost) {
        for (int i = 0; i < list->count; ++i) {
            const HostEvent* event = list->events[i];
            if (event && event->type == HostEvent::kMidi && event->byteSize >= MidiEvent::kByteSize)
                take(static_cast<const MidiEvent&>(*event));
        }
    }

    std::array<float, kMidiChannels> pitchBend{};
    std::ranges::copy(controls.pitchBend, pitchBend.begin());
    engine.rows.endBlock(controls.modWheel, pitchBend);
}

void MidiIntake::take(const MidiEvent& event) noexcept
{
    const int offset = std::clamp(event.deltaFrames, 0, engine.rows.blockSize() - 1);
    const int kind = event.data[0] & 0xf0;
    const int channel = event.data[0] & 0x0f;
    const int a = event.data[1] & 0x7f;
    const int b = event.data[2] & 0x7f;
    const auto ch = static_cast<std::size_t>(channel);

    switch (kind) {
    case 0x80:
    case 0x90: {
        const float velocity = static_cast<float>(b) / 127.0f;
        engine.enqueueNote(a, velocity, kind == 0x90 && b > 0, offset, channel);
        reportActivity();
        break;
    }
    case 0xb0: takeController(channel, a, b, offset); break;
    case 0xc0: programs.selectProgram(a); break;
    case 0xd0:
        channelValues.aftertouchLast = a / 127.0;
        channelValues.aftertouch[ch] = static_cast<float>(a) / 127.0f;
        reportActivity();
        break;
    case 0xe0: {
        const double wheel = wheelPosition(a, b);
        const auto bend = static_cast<float>(2.0 * wheel - 1.0);
        controls.post(pitch_wheel, static_cast<float>(wheel));
        controls.pitchBend[ch] = bend;
        engine.rows.fillPitchBend(channel, offset, bend);
        reportActivity();
        break;
    }
    default: break;
    }
}

void MidiIntake::takeController(int channel, int cc, int data, int offset) noexcept
{
    map.learn(cc); // the event that completes a binding also moves the control
    const float value = static_cast<float>(data) / 127.0f;
    const auto ch = static_cast<std::size_t>(channel);

    switch (cc) {
    case kBank:
    case kParameterFine:
    case kParameter:
    case kAllSoundOff:
    case kResetControllers: return;
    case kBankFine: programs.selectBank(data); return;
    case kBreath: channelValues.breath[ch] = value; break;
    case kFoot: channelValues.foot[ch] = value; break;
    case kExpression: channelValues.expression[ch] = value; break;
    case kPedal:
        channelValues.pedalValue = data / 127.0;
        channelValues.pedalUp = data < 64;
        break;
    case kAllNotesOff: controls.requests.allNotesOff(); break;
    case kTimbre:
        if (controls.timbreIsRouted)
            channelValues.timbre[ch] = value;
        else
            moveMappedControl(cc, value, offset);
        break;
    default: moveMappedControl(cc, value, offset); break;
    }
    reportActivity();
}

void MidiIntake::moveMappedControl(int cc, float value, int offset) noexcept
{
    const int id = map.controlOfCc(cc);
    if (id >= kNumControls) // none, or a control that does not exist
        return;
    if (id == modwheel)
        engine.rows.fillModWheel(offset, value);
    controls.setControlValue(id, value * controlScale(id), true, ControlPath::Origin::Midi);
    if (id == mixer_drive)
        controls.post(kDriveDisplayTag, value);
}

void MidiIntake::reportActivity() noexcept
{
    activity.seen = 1;
    activity.stampMs = 0;
}

} // namespace zephra
