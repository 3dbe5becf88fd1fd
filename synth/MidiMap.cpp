// SPDX-License-Identifier: GPL-3.0-or-later
#include "synth/MidiMap.h"

#include "controls/ControlTable.h"
#include "synth/SettingsStore.h"

#include <vector>

namespace zephra {

namespace {

constexpr const char* kSettingName = "DataCC";
constexpr std::size_t kSettingBytes = 2 * MidiMap::kControllers;

bool isControl(int id) noexcept { return id >= 0 && id < kNumControls; }

} // namespace

MidiMap::MidiMap() noexcept
{
    for (auto& control : controls)
        control = kNoControl;
    for (auto& cc : ccs)
        cc = kNoCc;
    for (const HostParameter& parameter : kHostParameters) {
        if (parameter.defaultCc != kNoController)
            controls[index(parameter.defaultCc)] = static_cast<std::uint16_t>(parameter.id);
    }
    overlayCcOfControl();
}

int MidiMap::ccOfControl(int id) const noexcept
{
    return isControl(id) ? ccs[static_cast<std::size_t>(id)].get() : kNoCc;
}

void MidiMap::startMidiLearn(int id) noexcept
{
    if (id != -1 && !isControl(id))
        return;
    midiMapDirty = true;
    midiLearnControl = id;
}

void MidiMap::forgetMidi(int id) noexcept
{
    midiMapDirty = true;
    for (auto& control : controls) {
        if (control == id)
            control = kNoControl;
    }
    overlayCcOfControl();
}

void MidiMap::learn(int cc) noexcept
{
    const int waiting = midiLearnControl;
    if (waiting < 0 || cc == 0)
        return;
    controls[index(cc)] = static_cast<std::uint16_t>(waiting);
    overlayCcOfControl();
    midiLearnControl = -1;
}

void MidiMap::load(SettingsStore& settings)
{
    const auto bytes = settings.read(kSettingName);
    if (!bytes || bytes->size() != kSettingBytes)
        return;
    for (std::size_t cc = 0; cc < controls.size(); ++cc)
        controls[cc] = static_cast<std::uint16_t>((*bytes)[2 * cc] | (*bytes)[2 * cc + 1] << 8);
    overlayCcOfControl();
}

void MidiMap::saveIfChanged(SettingsStore& settings)
{
    if (!midiMapDirty)
        return;
    std::vector<std::uint8_t> bytes;
    for (const auto& control : controls) {
        const int id = control.get();
        bytes.push_back(static_cast<std::uint8_t>(id & 0xff));
        bytes.push_back(static_cast<std::uint8_t>(id >> 8));
    }
    if (settings.write(kSettingName, bytes))
        midiMapDirty = false;
}

void MidiMap::overlayCcOfControl() noexcept
{
    for (int cc = 0; cc < kControllers; ++cc) {
        if (const int id = controlOfCc(cc); isControl(id))
            ccs[static_cast<std::size_t>(id)] = static_cast<std::uint16_t>(cc);
    }
}

} // namespace zephra
