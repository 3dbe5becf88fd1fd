// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "aax/AaxInterface.h"

namespace zephra::aax {

/// Tells a host what this library holds: one effect, a mono and a stereo instrument. Errors on the
/// way are asserted only; what is returned is whether there was a descriptor to fill and whether
/// the collection took it. [ui]
AAX_Result GetEffectDescriptions(Collection& collection);

} // namespace zephra::aax
