// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <stdexcept>
#include <string>

namespace zephra::render {

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

} // namespace zephra::render
