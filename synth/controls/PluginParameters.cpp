// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/PluginParameters.h"

#include <algorithm>
#include <utility>

namespace zephra {

namespace {

void setIds(ControlValues& values) noexcept
{
    for (std::size_t row = 0; row < values.size(); ++row)
        values[row].id = static_cast<std::uint16_t>(kStorageOrder[row]);
}

bool isPage(int page) noexcept
{
    return page == NoParameter || page == PluginParameters::currentPage;
}

const HostParameter* findHostParameter(int index) noexcept
{
    return index < 0 || index >= kNumHostParameters
               ? nullptr
               : &kHostParameters[static_cast<std::size_t>(index)];
}

} // namespace

PluginParameters::PluginParameters(int presetCount, AssertionReporter reporter)
    : report(std::move(reporter)),
      presets(static_cast<std::size_t>(std::clamp(presetCount, 1, kMaxPresets)))
{
    setIds(lockRecords);
    for (ControlValue& lock : lockRecords)
        lock.value = kUnset;

    for (PatchRecord& preset : presets) {
        preset.setName("Init Patch");
        setIds(preset.params);
        for (ControlValue& param : preset.params)
            param.value = defaultValue(param.id);
    }
    saveSnapshot();
}

int PluginParameters::controlOfIndex(int index) noexcept
{
    const HostParameter* parameter = findHostParameter(index);
    return parameter ? parameter->id : NoParameter;
}

int PluginParameters::defaultCcOfIndex(int index) noexcept
{
    const HostParameter* parameter = findHostParameter(index);
    return parameter ? parameter->defaultCc : kNoController;
}

bool PluginParameters::nameOfIndex(int index, std::string& text)
{
    const ControlInfo* control = findControl(controlOfIndex(index));
    if (!control)
        return false;
    text = control->hostName;
    return true;
}

int PluginParameters::indexOfControl(int id, int page) const noexcept
{
    const ControlInfo* control = findControl(id);
    return control && isPage(page) ? control->hostIndex : NoParameter;
}

float PluginParameters::getValue(int id, int page, int preset) const noexcept
{
    const PatchRecord* record = findPreset(page, preset);
    const int row = storageRow(id);
    return record && row >= 0 ? record->params[static_cast<std::size_t>(row)].value.get() : 0.0f;
}

void PluginParameters::setValue(int id, float value, int page, int preset) noexcept
{
    PatchRecord* record = findPreset(page, preset);
    const int row = storageRow(id);
    if (record && row >= 0)
        write(*record, static_cast<std::size_t>(row), value);
}

void PluginParameters::setLocked(int id, bool on) noexcept
{
    const int row = storageRow(id);
    if (row < 0)
        return;
    const float present = getValue(id);
    const float locked = isSetValue(present) ? present : defaultValue(id);
    lockRecords[static_cast<std::size_t>(row)].value = on ? locked : kUnset;
}

bool PluginParameters::isLocked(int id) const noexcept
{
    const int row = storageRow(id);
    return row >= 0 && lockRecords[static_cast<std::size_t>(row)].isSet();
}

void PluginParameters::saveSnapshot(int page, int preset) noexcept
{
    if (const PatchRecord* record = findPreset(page, preset)) {
        std::ranges::transform(record->params, snapshot.begin(),
                               [](const ControlValue& param) { return param.value.get(); });
    }
}

void PluginParameters::restoreSnapshot(int page, int preset) noexcept
{
    if (PatchRecord* record = findPreset(page, preset)) {
        for (std::size_t row = 0; row < snapshot.size(); ++row)
            write(*record, row, snapshot[row]);
    }
}

void PluginParameters::loadDefaults(int page, int preset) noexcept
{
    if (PatchRecord* record = findPreset(page, preset)) {
        for (std::size_t row = 0; row < kStorageOrder.size(); ++row)
            write(*record, row, defaultValue(kStorageOrder[row]));
    }
}

void PluginParameters::loadDefaultsUnlocked(int page, int preset) noexcept
{
    if (PatchRecord* record = findPreset(page, preset)) {
        for (std::size_t row = 0; row < kStorageOrder.size(); ++row) {
            if (!lockRecords[row].isSet())
                write(*record, row, defaultValue(kStorageOrder[row]));
        }
    }
}

PatchRecord* PluginParameters::getPreset(int index)
{
    return const_cast<PatchRecord*>(std::as_const(*this).getPreset(index));
}

const PatchRecord* PluginParameters::getPreset(int index) const
{
    const PatchRecord* record = findPreset(currentPage, index);
    if (!record && report)
        report("PluginParameters::getPreset", "Assertion failed");
    return record;
}

const PatchRecord* PluginParameters::findPreset(int page, int preset) const noexcept
{
    if (preset == NoParameter)
        preset = currentPreset;
    if (!isPage(page) || preset < 0 || preset >= presetCount())
        return nullptr;
    return &presets[static_cast<std::size_t>(preset)];
}

PatchRecord* PluginParameters::findPreset(int page, int preset) noexcept
{
    return const_cast<PatchRecord*>(std::as_const(*this).findPreset(page, preset));
}

void PluginParameters::write(PatchRecord& record, std::size_t row, float value) noexcept
{
    record.params[row].value = value;
    if (lockRecords[row].isSet() && isSetValue(value))
        lockRecords[row].value = value;
}

} // namespace zephra
