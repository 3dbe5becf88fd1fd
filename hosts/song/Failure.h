// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>

namespace zephra {

inline constexpr int kFileStatus =
    1; ///< exit status: a file is missing, damaged or cannot be written
inline constexpr int kUsageStatus = 2; ///< exit status: the command line is wrong

/// Ends the program with one line on standard error and an exit status.
class Failure : public std::runtime_error {
public:
    Failure(const std::string& line, int exitStatus) : std::runtime_error(line), status(exitStatus)
    {
    }

    int status;
};

/// `name` is the file as the user wrote it.
inline Failure fileFailure(const std::string& name, const std::string& what)
{
    return {name + ": " + what, kFileStatus};
}

/// `option` is the option with its dashes.
inline Failure usageFailure(const std::string& option, const std::string& what)
{
    return {option + ": " + what, kUsageStatus};
}

/// A text without line breaks and other control characters, which file names may hold.
inline std::string oneLine(std::string text)
{
    std::ranges::replace_if(
        text, [](unsigned char c) { return c < ' ' || c == 0x7f; }, ' ');
    return text;
}

/// Does the work of a program: its exit status, after a line on standard error if it failed.
template <class Work> int exitStatusOf(const char* program, Work work)
{
    std::string fault;
    int status = 0;
    try {
        work();
    } catch (const Failure& failure) {
        fault = failure.what();
        status = failure.status;
    } catch (const std::exception& error) { // out of memory, for one
        fault = error.what();
        status = kFileStatus;
    }
    if (status != 0)
        std::cerr << program << ": " << oneLine(fault) << '\n';
    return status;
}

} // namespace zephra
