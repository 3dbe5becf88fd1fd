// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/StatusLine.h"
#include "common/Utf8.h"
#include "standalone/Terminal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zephra::standalone::test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(StatusLine, MeterShowsDecibelsAndFullScale)
{
    constexpr struct {
        float peak;
        const char* start;
    } kRows[] = {
        {0.0f, "[....................]         "}, {0.0316228f, "[##########..........] -30 dB "},
        {0.5f, "[##################..]  -6 dB "},  {1.0f, "[####################]  +0 dB!"},
        {4.0f, "[####################] +12 dB!"},
    };
    for (const auto& row : kRows) {
        Status status;
        status.peak = row.peak;
        EXPECT_THAT(statusLine(status, 100), StartsWith(row.start)) << row.peak;
    }
}

TEST(StatusLine, IsCutByCharactersToTheWidthOfTheTerminal)
{
    Status status;
    status.patch = "Höhlenbär ∿∿∿";
    status.keyboards = std::string(300, 'k');
    const std::string whole = statusLine(status, 1000);
    EXPECT_THAT(whole, HasSubstr("Höhlenbär ∿∿∿  octave 3  dropped 0  kkk"));
    for (int columns = 1; columns < 120; ++columns) {
        const std::string line = statusLine(status, columns);
        EXPECT_EQ(codePoints(line), static_cast<std::size_t>(columns - 1));
        EXPECT_THAT(whole, StartsWith(line));
    }
    EXPECT_EQ(statusLine(status, 0), "");
}

TEST(Terminal, NothingThatATerminalWouldObeyIsPrinted)
{
    constexpr struct {
        std::string_view text, shown;
    } kRows[] = {
        {"Bass ü € 𝄞", "Bass ü € 𝄞"},
        {"\033]2;title\a", "*]2;title*"},
        {"a\r\nb\x7f", "a**b*"},
        {"\xc2\x9b"
         "31m",
         "**31m"}, // a control character of two bytes
        {"\xc3", "*"},
        {"\xe2\x82", "**"},
        {"\xff\xc0\xaf", "***"},
        {"\xc3"
         "a",
         "*a"},
    };
    for (const auto& row : kRows)
        EXPECT_EQ(printable(row.text), row.shown);
}

} // namespace
} // namespace zephra::standalone::test
