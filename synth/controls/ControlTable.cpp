// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>

namespace zephra {

namespace {

// --- What hosts and stored patches rely on ---

/// Whether the numbers that the table's rows have, NoParameter aside, are 0..count-1, once each.
constexpr bool countsUp(int count, auto numberOf)
{
    std::array<bool, kControls.size()> seen{};
    for (const ControlInfo& control : kControls) {
        const int number = std::invoke(numberOf, control);
        if (number == NoParameter)
            continue;
        if (number < 0 || number >= count || seen[static_cast<std::size_t>(number)])
            return false;
        seen[static_cast<std::size_t>(number)] = true;
    }
    return std::ranges::count(seen, true) == count;
}

constexpr int rowInStorageOrder(const ControlInfo& control)
{
    const auto found = std::ranges::find(kStorageOrder, control.id);
    return control.isStored() ? static_cast<int>(found - kStorageOrder.begin()) : NoParameter;
}

constexpr bool isConsistent(const ControlInfo& control)
{
    const bool stepped = control.kind == ControlKind::Stepped;
    const bool choosesRow = control.text == TextRule::List || control.text == TextRule::Waveform ||
                            control.text == TextRule::Range;
    const std::size_t texts = control.text == TextRule::TwoWords ? 2
                              : choosesRow ? static_cast<std::size_t>(control.scale) + 1
                                           : 0;
    return control.isAutomatable() == (control.hostName != nullptr) &&
           (!control.isStored() || (control.id < kNumControls && control.defaultValue >= 0.0f &&
                                    control.defaultValue <= control.scale)) &&
           stepped == (control.scale > 1.0f) && control.texts.size() == texts;
}

static_assert(kControls.size() == 92);
static_assert(std::ranges::adjacent_find(kControls, std::greater_equal{}, &ControlInfo::id) ==
                  kControls.end(),
              "ids rise");
static_assert(countsUp(kNumHostParameters, &ControlInfo::hostIndex));
static_assert(countsUp(kNumStoredControls, rowInStorageOrder));
static_assert(std::ranges::max(kStorageOrder) + 1 == kNumControls);
static_assert(std::ranges::count(kControls, ControlKind::Switch, &ControlInfo::kind) == 19);
static_assert(std::ranges::all_of(kControls, isConsistent));

// --- Look-ups ---

constexpr auto kTableRowOfId = [] {
    std::array<std::int16_t, kControls.back().id + 1> rows{};
    rows.fill(-1);
    for (std::size_t row = 0; row < kControls.size(); ++row)
        rows[static_cast<std::size_t>(kControls[row].id)] = static_cast<std::int16_t>(row);
    return rows;
}();

constexpr auto kStorageRowOfId = [] {
    std::array<int, kNumControls> rows{};
    rows.fill(NoParameter);
    for (std::size_t row = 0; row < kStorageOrder.size(); ++row)
        rows[static_cast<std::size_t>(kStorageOrder[row])] = static_cast<int>(row);
    return rows;
}();

bool isOfKind(int id, ControlKind kind) noexcept
{
    const ControlInfo* control = findControl(id);
    return control && control->kind == kind;
}

} // namespace

const ControlInfo* findControl(int id) noexcept
{
    if (id < 0 || id >= static_cast<int>(kTableRowOfId.size()))
        return nullptr;
    const int row = kTableRowOfId[static_cast<std::size_t>(id)];
    return row < 0 ? nullptr : &kControls[static_cast<std::size_t>(row)];
}

const ControlInfo* findControl(std::string_view name) noexcept
{
    const auto found = std::ranges::find(kControls, name, &ControlInfo::name);
    return found == kControls.end() ? nullptr : &*found;
}

int storageRow(int id) noexcept
{
    return id < 0 || id >= kNumControls ? NoParameter
                                        : kStorageRowOfId[static_cast<std::size_t>(id)];
}

float controlScale(int id) noexcept
{
    const ControlInfo* control = findControl(id);
    return control ? control->scale : 1.0f;
}

float defaultValue(int id) noexcept
{
    const ControlInfo* control = findControl(id);
    return control && control->isStored() ? control->defaultValue : 0.0f;
}

bool isSwitch(int id) noexcept { return isOfKind(id, ControlKind::Switch); }
bool isStepped(int id) noexcept { return isOfKind(id, ControlKind::Stepped); }

double snapped(int id, double value) noexcept
{
    if (!isSwitch(id) && !isStepped(id))
        return value;
    if (std::isnan(value))
        return defaultValue(id);
    return isSwitch(id) ? (value < 0.5 ? 0.0 : 1.0) : wholeStep(value);
}

} // namespace zephra
