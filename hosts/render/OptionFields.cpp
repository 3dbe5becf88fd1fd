// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/OptionFields.h"

#include "song/Failure.h"
#include "song/MidiMessage.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <utility>

namespace zephra::render {
namespace {

std::string plain(double value)
{
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return {text, result.ptr};
}

} // namespace

bool readNumber(std::string_view text, double& value)
{
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc{} && result.ptr == text.data() + text.size();
}

OptionFields::OptionFields(std::string optionName, const std::string& text, const std::string& form,
                           std::size_t least, std::size_t most)
    : option(std::move(optionName))
{
    std::string_view rest = text;
    for (std::size_t comma; (comma = rest.find(',')) != rest.npos; rest.remove_prefix(comma + 1))
        fields.emplace_back(rest.substr(0, comma));
    fields.emplace_back(rest);
    if (fields.size() < least || fields.size() > most)
        throw usageFailure(option, "\"" + text + "\" is not of the form " + form);
}

double OptionFields::real(std::size_t field, const char* name, double low, double high) const
{
    double value = 0.0;
    if (!readNumber(fields[field], value))
        throw usageFailure(option,
                           std::string(name) + " \"" + fields[field] + "\" is not a number");
    if (!(value >= low && value <= high)) // also true for not-a-number
        throw usageFailure(option, std::string(name) + " " + fields[field] + " is outside " +
                                       plain(low) + " to " + plain(high));
    return value;
}

int OptionFields::integer(std::size_t field, const char* name, int low, int high) const
{
    const double value = real(field, name, low, high);
    if (value != std::floor(value))
        throw usageFailure(option,
                           std::string(name) + " " + fields[field] + " is not a whole number");
    return static_cast<int>(value);
}

int OptionFields::channel(std::size_t field) const
{
    return field < fields.size() ? integer(field, "CHANNEL", 1, 16) - 1 : 0;
}

double OptionFields::time(std::size_t field, const char* name) const
{
    return real(field, name, 0.0, kLongestSeconds);
}

} // namespace zephra::render
