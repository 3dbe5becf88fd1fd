// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstddef>
#include <exception>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace zephra::test {

/// What `make()` gives in a child of this process, a million values at most. Every child finds the
/// process as it is now, so that engines built in two children draw the same random numbers; two
/// engines built here would not.
template <class Make> std::vector<float> inFreshProcess(Make make)
{
    struct Shared {
        std::size_t count;
        float values[1 << 20];
    };
    void* const memory =
        ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Shared& shared = *static_cast<Shared*>(memory);
    const pid_t child = ::fork();
    if (child == 0) {
        try {
            const std::vector<float> values = make();
            shared.count = values.size();
            std::copy(values.begin(), values.end(), shared.values);
            ::_exit(0);
        } catch (const std::exception&) {
            ::_exit(1);
        }
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    const std::vector<float> values(shared.values, shared.values + shared.count);
    ::munmap(memory, sizeof(Shared));
    if (status != 0)
        throw std::runtime_error("a process of its own has failed");
    return values;
}

} // namespace zephra::test
