// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/AudioOutput.h"

#include "common/AsciiCase.h"
#include "standalone/CardOutput.h"
#include "standalone/JackOutput.h"
#include "standalone/MutedErrors.h"

#include <algorithm>

namespace zephra::standalone {

std::vector<OutputDevice> outputDevices()
{
    const MutedErrors muted;
    std::vector<OutputDevice> devices;
    JackOutput::addDevice(devices);
    CardOutput::addDevices(devices);
    return devices;
}

const OutputDevice* findDevice(const std::vector<OutputDevice>& devices, const std::string& wanted)
{
    const auto found = std::ranges::find_if(devices, [&](const OutputDevice& device) {
        return lowerAscii(device.label).find(lowerAscii(wanted)) != std::string::npos;
    });
    return found == devices.end() ? nullptr : &*found;
}

std::unique_ptr<AudioOutput> openOutput(const OutputDevice& device, LiveInstrument& player,
                                        unsigned rate, unsigned block)
{
    const MutedErrors muted;
    if (device.api == OutputDevice::kJack)
        return std::make_unique<JackOutput>(player);
    return std::make_unique<CardOutput>(device, player, rate, block);
}

} // namespace zephra::standalone
