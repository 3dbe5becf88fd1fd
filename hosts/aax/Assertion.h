// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zephra::aax {

class HostServices;

/// Who hears of failed assertions; nullptr: nobody. [ui]
void setHostServices(HostServices* services) noexcept;
void assertionFailed(const char* source, int line, const char* expression);

} // namespace zephra::aax

/// Tells the host if the condition does not hold; nothing else happens.
#define AAX_ASSERT(condition)                                                                      \
    ((condition) ? void() : ::zephra::aax::assertionFailed(__FILE_NAME__, __LINE__, #condition))
