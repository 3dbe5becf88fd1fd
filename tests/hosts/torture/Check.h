// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "torture/PluginFormat.h"

#include <algorithm>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>

namespace zephra::torture {

/// What a check found wrong, in words.
struct Failure : std::runtime_error {
    using runtime_error::runtime_error;
};
/// Why a check cannot be made here.
struct Skip : std::runtime_error {
    using runtime_error::runtime_error;
};

inline void require(bool holds, const std::string& otherwise)
{
    if (!holds)
        throw Failure(otherwise);
}

/// Under a sanitizer times, memory and system calls are not those of the plug-in.
#ifdef ZEPHRA_SANITIZED
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

/// What a check works with. Each runs in a process of its own, which begins without the library.
struct Bench {
    Format& format;
    bool longForm;
    std::mt19937 random{1};
    long blocks = 0;       ///< played
    long others = 0;       ///< done, of what the check is about
    const char* unit = ""; ///< what these are, in the plural

    /// Sanitizers make the short form shorter still.
    int rounds(int shortForm, int longerForm) const
    {
        return longForm ? longerForm : kSanitized ? std::max(shortForm / 5, 1) : shortForm;
    }
    int below(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }
    /// 0..1; now and then nothing that a host should send.
    float anyValue();
    /// Notes, controllers, bends, pressure and program changes, in order, on samples of a block.
    std::vector<Event> anyEvents(int howMany, int frames);
};

/// Does something over and over on another thread while it lives.
class Beside {
public:
    template <class Step>
    explicit Beside(Step step)
        : thread([step](const std::stop_token& stop) mutable {
              for (; !stop.stop_requested(); std::this_thread::yield())
                  step();
          })
    {
    }

private:
    std::jthread thread;
};

struct Check {
    const char* name;
    const char* claim; ///< one sentence on what holds
    void (*run)(Bench&);
};

std::span<const Check> libraryChecks();
std::span<const Check> soundChecks();
std::span<const Check> eventChecks();
std::span<const Check> parameterChecks();
std::span<const Check> stateChecks();
std::span<const Check> lifeChecks();

} // namespace zephra::torture
