// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/ControlNames.h"

#include "controls/ControlText.h"
#include "render/Failure.h"

#include <algorithm>
#include <iomanip>
#include <numeric>
#include <sstream>
#include <vector>

namespace zephra::render {
namespace {

/// Insertions, removals and replacements of one character that lead from one text to the other.
std::size_t editDistance(std::string_view from, std::string_view to)
{
    std::vector<std::size_t> row(to.size() + 1); // distances of the first i characters of `from`
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i - 1] == to[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

} // namespace

const ControlInfo& controlNamed(const std::string& option, std::string_view name)
{
    if (const ControlInfo* control = findControl(name))
        return *control;
    const std::string_view start = name.substr(0, 64); // longer ones are near to nothing
    const auto& nearest = *std::ranges::min_element(
        kControls, {}, [=](const ControlInfo& known) { return editDistance(start, known.name); });
    throw usageFailure(option, "there is no control \"" + std::string(name) +
                                   "\"; did you mean \"" + nearest.name + "\"?");
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
