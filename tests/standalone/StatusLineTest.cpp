// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/StatusLine.h"
#include "common/Utf8.h"
#include "standalone/Terminal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zephra::standalone {
namespace {

using testing::StartsWith;

TEST(StatusLine, MeterShowsDecibelsAndTheRestIsCutToTheWidthOfTheTerminal)
{
    Status status;
    status.patch = "Höhlenbär ∿\a";
    status.keyboards = std::string(300, 'k');
    for (const auto& [peak, start] : {std::pair(0.0f, "[....................]         "),
                                      {0.0316228f, "[##########..........] -30 dB "},
                                      {1.0f, "[####################]  +0 dB!"},
                                      {4.0f, "[####################] +12 dB!"}}) {
        status.peak = peak;
        const std::string whole = statusLine(status, 1000);
        EXPECT_THAT(whole, StartsWith(start));
        EXPECT_THAT(whole, testing::HasSubstr("  Höhlenbär ∿*  octave 3  dropped 0  kkk"));
        for (int columns = 1; columns < 120; ++columns) {
            const std::string line = statusLine(status, columns);
            EXPECT_EQ(codePoints(line), static_cast<std::size_t>(columns - 1));
            EXPECT_THAT(whole, StartsWith(line));
        }
    }
    EXPECT_EQ(statusLine(status, 0), "");
}

TEST(Terminal, NothingThatATerminalWouldObeyIsPrinted)
{
    constexpr std::pair<std::string_view, std::string_view> kRows[] = {
        {"Bass ü € 𝄞", "Bass ü € 𝄞"},     {"\033]2;title\a\r\nb\x7f", "*]2;title***b*"},
        {"\xc2\x9b;1m", "**;1m"}, // a control character of two bytes
        {"\xff\xc0\xaf \xc3,", "*** *,"}, {"\xe2\x82", "**"},
    };
    for (const auto& [text, shown] : kRows)
        EXPECT_EQ(printable(text), shown);
}

} // namespace
} // namespace zephra::standalone
