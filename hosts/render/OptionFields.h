// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zephra::render {

/// Reads a whole text as a number, with '.' as decimal point whatever the locale; "nan" and "inf"
/// are numbers too. False if it is none.
bool readNumber(std::string_view text, double& value);

/// The comma-separated numbers of one option value. Every read is checked against its range; a
/// fault throws a usage Failure that names the option and the field.
class OptionFields {
public:
    /// `form` names the fields as the help does, for example "KEY,VELOCITY,ON,OFF[,CHANNEL]".
    OptionFields(std::string option, const std::string& text, const std::string& form,
                 std::size_t least, std::size_t most);

    int integer(std::size_t field, const char* name, int low, int high) const;
    double real(std::size_t field, const char* name, double low, double high) const;
    /// Channel 1..16 as 0..15; a missing field is channel 1.
    int channel(std::size_t field) const;
    /// Seconds from the start, up to a day.
    double time(std::size_t field, const char* name) const;

private:
    std::string option;
    std::vector<std::string> fields;
};

} // namespace zephra::render
