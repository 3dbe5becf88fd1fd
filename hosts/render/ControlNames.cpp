// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/ControlNames.h"

#include "controls/ControlNames.h"
#include "controls/ControlText.h"
#include "song/Failure.h"

#include <iomanip>
#include <sstream>

namespace zephra::render {

const ControlInfo& controlNamed(const std::string& option, std::string_view name)
{
    if (const ControlInfo* control = findControl(name))
        return *control;
    throw usageFailure(option, unknownControl(name));
}

void listControls(std::ostream& out)
{
    const auto row = [&out](const std::string& id, const std::string& name, const std::string& host,
                            const std::string& value, const std::string& text) {
        out << std::right << std::setw(3) << id << "  " << std::left << std::setw(29) << name
            << std::right << std::setw(4) << host << "  " << std::setw(7) << value << "  " << text
            << '\n';
    };
    row("id", "name", "host", "default", "text");
    for (const ControlInfo& control : kControls) {
        std::ostringstream value;
        value << control.defaultValue;
        const bool stored = control.isStored();
        row(std::to_string(control.id), control.name,
            control.isAutomatable() ? std::to_string(control.hostIndex) : "-",
            stored ? value.str() : "-",
            stored ? controlText(control.id, control.defaultValue) : "-");
    }
}

} // namespace zephra::render
