// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace zephra::test {

/// What `make()` gives in a child of this process. Every child finds the process as it is now, so
/// that engines built in two children draw the same random numbers; two engines built here would
/// not.
template <class Make> std::vector<float> inFreshProcess(Make make)
{
    int ends[2];
    if (::pipe(ends) != 0)
        return {};
    const pid_t child = ::fork();
    if (child == 0) {
        const std::vector<float> values = make();
        const auto* bytes = reinterpret_cast<const char*>(values.data());
        std::size_t left = values.size() * sizeof(float);
        while (left > 0) {
            const ssize_t written = ::write(ends[1], bytes, left);
            if (written <= 0)
                ::_exit(1);
            bytes += written;
            left -= static_cast<std::size_t>(written);
        }
        ::_exit(0);
    }
    ::close(ends[1]);

    std::vector<char> bytes;
    char buffer[65536];
    for (ssize_t count; (count = ::read(ends[0], buffer, sizeof buffer)) > 0;)
        bytes.insert(bytes.end(), buffer, buffer + count);
    ::close(ends[0]);
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    std::vector<float> values(bytes.size() / sizeof(float));
    std::copy_n(bytes.data(), values.size() * sizeof(float),
                reinterpret_cast<char*>(values.data()));
    return values;
}

} // namespace zephra::test
