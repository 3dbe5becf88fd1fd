// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/PatchRecord.h"

#include "common/Utf8.h"

namespace zephra {

void PatchRecord::setName(std::string_view text) noexcept
{
    name.fill('\0');
    utf8Prefix(text.substr(0, text.find('\0')), kMaxName).copy(name.data(), kMaxName);
}

void PatchRecord::setInfoText(std::string_view text) noexcept
{
    info.fill('\0');
    utf8Prefix(text.substr(0, text.find('\0')), kInfoTextBytes - 1)
        .copy(info.data(), kInfoTextBytes - 1);
}

std::string_view PatchRecord::infoText() const noexcept
{
    const std::string_view block(info.data(), kInfoTextBytes);
    return block.substr(0, block.find('\0'));
}

} // namespace zephra
