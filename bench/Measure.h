// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <span>
#include <string>
#include <vector>

namespace zephra::bench {

/// What other programs do meanwhile is not counted.
inline double threadSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// A machine is never quiet: what a quarter of the chunks undercut is what the code costs.
inline double lowerQuartile(std::vector<double> chunks)
{
    const auto quarter = chunks.begin() + static_cast<std::ptrdiff_t>(chunks.size() / 4);
    std::ranges::nth_element(chunks, quarter);
    return *quarter;
}

/// Clock of the core in Hz, by a chain of operations of one cycle each; the quickest of many, since
/// others can only make it slower.
inline double coreHz()
{
    constexpr int kSteps = 20000;
    std::vector<double> chunks;
    for (int chunk = 0; chunk < 40; ++chunk) {
        std::uint64_t x = 1, y = 3;
        const double start = threadSeconds();
        for (int i = 0; i < kSteps; ++i) {
            for (int pair = 0; pair < 8; ++pair) {
                x ^= y;
                asm volatile("" : "+r"(x));
                x += y;
                asm volatile("" : "+r"(x));
            }
        }
        chunks.push_back((threadSeconds() - start) / (16.0 * kSteps));
    }
    return 1.0 / *std::ranges::min_element(chunks);
}

/// What `measure` gives, in a child process. Random numbers follow from how many engines the
/// process has built, and the hash of a scenario shall not follow from which others were run.
template <class Measure> auto inChild(Measure measure)
{
    decltype(measure()) result{};
    int ends[2];
    if (pipe(ends) != 0)
        return result;
    const pid_t child = fork();
    if (child == 0) {
        result = measure();
        _exit(write(ends[1], &result, sizeof result) == sizeof result ? 0 : 1);
    }
    close(ends[1]);
    if (read(ends[0], &result, sizeof result) != sizeof result)
        result = {};
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return result;
}

/// FNV-1a over what was rendered.
class SoundHash {
public:
    void add(std::span<const float> left, std::span<const float> right)
    {
        for (std::size_t i = 0; i < left.size(); ++i)
            for (const float x : {left[i], right[i]})
                hash = (hash ^ std::bit_cast<std::uint32_t>(x)) * 1099511628211ull;
    }
    std::string text() const
    {
        std::array<char, 17> digits;
        std::snprintf(digits.data(), digits.size(), "%016llx",
                      static_cast<unsigned long long>(hash));
        return digits.data();
    }

private:
    std::uint64_t hash = 14695981039346656037ull;
};

} // namespace zephra::bench
