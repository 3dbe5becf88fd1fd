// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>

namespace zephra {

/// One cycle each of the table waves, as the triangle of a real circuit looks: not symmetric,
/// with a rounded bottom and a small step at the wrap. Entry 0 lies just after the top, the
/// bottom near entry 16384; the last entry repeats entry 0, for interpolation.
struct ShapeTables {
    static constexpr int kSteps = 32768; ///< entries of one cycle
    using Table = std::array<float, kSteps + 1>;

    ShapeTables() noexcept;

    Table triangleShapeLate;
    Table triangleShapeEarly;
    Table sharkShapeEarly; ///< Early triangle less 0.025 of the second harmonic
};

/// The tables of this process. [any], but the first call builds them: make it when an engine is
/// built, not on the audio thread.
const ShapeTables& shapeTables() noexcept;

} // namespace zephra
