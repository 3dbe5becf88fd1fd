// SPDX-License-Identifier: GPL-3.0-or-later
#include "aax/Assertion.h"

#include "aax/AaxInterface.h"

namespace zephra::aax {

namespace {

HostServices* hostServices = nullptr;

} // namespace

void setHostServices(HostServices* services) noexcept { hostServices = services; }

void assertionFailed(const char* source, int line, const char* expression)
{
    if (hostServices)
        hostServices->assertionFailed(source, line, expression);
}

} // namespace zephra::aax
