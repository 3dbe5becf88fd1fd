// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cmath>
#include <complex>
#include <span>

namespace zephra::test {

/// Amplitude and phase of one frequency (cycles per sample) in a signal, by a Hann-windowed sum
/// in double: 1 for a sine of amplitude 1.
template <class T> std::complex<double> component(std::span<const T> x, double frequency)
{
    constexpr double kTau = 6.283185307179586;
    std::complex<double> sum;
    const auto n = static_cast<double>(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double window = 1.0 - std::cos(kTau * static_cast<double>(i) / n);
        sum += static_cast<double>(x[i]) * window *
               std::polar(1.0, -kTau * frequency * static_cast<double>(i));
    }
    return 2.0 * sum / n;
}

template <class Range> double amplitude(const Range& x, double frequency)
{
    return std::abs(component(std::span(x), frequency));
}

inline double decibels(double ratio) { return 20.0 * std::log10(ratio); }

} // namespace zephra::test
