// SPDX-License-Identifier: GPL-3.0-or-later
#include "effects/DecimationStage.h"

#include "common/Maths.h"

namespace zephra {

namespace {

/// Four-term Nuttall window over x = 0..1.
double nuttall(double x) noexcept
{
    return 0.355768 - 0.487396 * std::cos(kTwoPi * x) + 0.144232 * std::cos(2.0 * kTwoPi * x) -
           0.012604 * std::cos(3.0 * kTwoPi * x);
}

} // namespace

double DecimationStage::tap(int n) noexcept
{
    constexpr double kCutoff = 0.12; // 0.06 of the voice rate, in half cycles per sample
    constexpr int kCentre = 59;
    const int m = n - kCentre;
    const double sinc = m == 0 ? kCutoff : std::sin(kPi * m * kCutoff) / (kPi * m);
    // Kept: the window runs over n / 119, half a tap off centre.
    return sinc * nuttall(static_cast<double>(n) / kTaps);
}

DecimationStage::DecimationStage() noexcept
{
    for (int n = 0; n < kTaps; ++n) {
        const int lane = n % 2 == 0 ? 0 : 2;
        Float4& slot = coef[static_cast<std::size_t>(n / 2)];
        slot[lane] = slot[lane + 1] = static_cast<float>(tap(n));
    }
}

void DecimationStage::reset() noexcept
{
    ring = {};
    ringPos = 0;
}

void DecimationStage::process(const float* overLeft, const float* overRight, int count, float* left,
                              float* right) noexcept
{
    constexpr unsigned kMask = kEntries - 1;
    for (int i = 0; i < count; ++i) {
        const unsigned p = ringPos;
        for (int pair = 0; pair < 4; ++pair) {
            Float4& even = ring[ringPos & kMask];
            even[0] = *overLeft++;
            even[1] = *overRight++;
            Float4& odd = ring[++ringPos & kMask];
            odd[2] = *overLeft++;
            odd[3] = *overRight++;
        }
        // The newest sample that counts is the first of this group of eight.
        Float4 acc{};
        for (unsigned j = 0; j < kWalked; ++j)
            acc += ring[(p - 60 + j) & kMask] * coef[60 - j];
        left[i] = acc[0] + acc[2];
        right[i] = acc[1] + acc[3];
    }
}

} // namespace zephra
