// SPDX-License-Identifier: GPL-3.0-or-later
#include "effects/DecimationStage.h"

#include "common/Maths.h"

#include <algorithm>

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
        const int lane = n % 2 == 0 ? 2 : 0;
        Float4& pair = coef[static_cast<std::size_t>(kPairs - 1 - n / 2)];
        pair[lane] = pair[lane + 1] = static_cast<float>(tap(n));
    }
}

void DecimationStage::reset() noexcept { history = {}; }

/// The outputs from `first` on, side by side: each is a sum whose order is given, so that one alone
/// would wait for every addition.
template <int kOutputs>
void DecimationStage::filter(int first, float* left, float* right) const noexcept
{
    // The newest sample that counts is the first of an output's group of eight.
    const float* const oldest = &history[static_cast<std::size_t>(16 * first)];
    Float4 acc[kOutputs]{};
    for (int pair = 0; pair < kPairs; ++pair) {
        const Float4 c = coef[static_cast<std::size_t>(pair)];
        for (int i = 0; i < kOutputs; ++i)
            acc[i] += loadLanes<Float4>(oldest + 16 * i + 4 * pair) * c;
    }
    for (int i = 0; i < kOutputs; ++i) {
        left[first + i] = acc[i][0] + acc[i][2];
        right[first + i] = acc[i][1] + acc[i][3];
    }
}

void DecimationStage::process(const float* overLeft, const float* overRight, int count, float* left,
                              float* right) noexcept
{
    constexpr int kTogether = 8;
    for (int done = 0; done < count; done += kMost) {
        const int now = std::min(count - done, kMost);
        float* newest = &history[2 * kKept];
        for (int i = 0; i < 8 * now; ++i) {
            *newest++ = *overLeft++;
            *newest++ = *overRight++;
        }
        int i = 0;
        for (; i + kTogether <= now; i += kTogether)
            filter<kTogether>(i, left + done, right + done);
        for (; i < now; ++i)
            filter<1>(i, left + done, right + done);
        std::copy_n(history.begin() + 16 * now, 2 * kKept, history.begin());
    }
}

} // namespace zephra
