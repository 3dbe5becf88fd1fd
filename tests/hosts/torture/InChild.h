// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <vector>

namespace zephra::torture {

/// What `make` gives in a child of this process, which must not have opened an instance yet. A
/// failure there is one here.
std::vector<float> inChild(const std::function<std::vector<float>()>& make);

} // namespace zephra::torture
