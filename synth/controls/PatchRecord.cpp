// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/PatchRecord.h"

namespace zephra {

void PatchRecord::setName(std::string_view text) noexcept
{
    name.fill('\0');
    text.copy(name.data(), kMaxName);
}

} // namespace zephra
