// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "aax/AaxInterface.h"

#include <cstdint>

// What the library exports, in the order in which a host calls: the version, the start, how many
// components there are, the class of each, the procedure behind a class. Nothing here touches the
// disk or makes an instance. [ui]
extern "C" {

using DescribeProc = zephra::aax::AAX_Result (*)(zephra::aax::Collection& collection);

/// Of AaxInterface.h; a host built for another one stops here.
zephra::aax::AAX_Result ACFGetSDKVersion(std::uint64_t* version);
/// `services` may be nullptr, else stays until ACFShutdown.
zephra::aax::AAX_Result ACFStartup(zephra::aax::HostServices* services);
/// One: the collection of effects.
zephra::aax::AAX_Result ACFRegisterPlugin(std::uint32_t* componentCount);
/// The class of a component.
zephra::aax::AAX_Result ACFRegisterComponent(std::uint32_t index, zephra::aax::TypeId* classId);
/// What describes the effects of that class.
zephra::aax::AAX_Result ACFGetClassFactory(zephra::aax::TypeId classId, DescribeProc* describe);
zephra::aax::AAX_Result ACFShutdown();
/// AAX_SUCCESS if no instance lives, else 1.
zephra::aax::AAX_Result ACFCanUnloadNow();

} // extern "C"
