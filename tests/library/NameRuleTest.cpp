// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/NameRule.h"
#include "support/LibraryTree.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace zephra {
namespace {

TEST(NameRule, LimitsLengthAndCharacters)
{
    std::string umlauts;
    for (int i = 0; i < 64; ++i)
        umlauts += "\xc3\xa4";
    const std::string bad = "The following characters are not allowed in the name of the bank:\n\n"
                            "   /   \\  :  *  <  >  | ";
    const struct {
        std::string name, text;
    } rows[] = {
        {std::string(64, 'n'), ""},
        {umlauts, ""},
        {"Really? \"Yes\"", ""},
        {std::string(65, 'n'), "The maximum bank name length is 64 characters."},
        {umlauts + "n", "The maximum bank name length is 64 characters."},
        {"", bad},
        {".", bad},
        {"..", bad},
        {".hidden", bad},
        {"a/b", bad},
        {"a\\b", bad},
        {"a:b", bad},
        {"a*b", bad},
        {"<", bad},
        {">", bad},
        {"|", bad},
        {"a\nb", bad},
    };
    for (const auto& row : rows) {
        test::RecordingLibraryHost host;
        EXPECT_EQ(checkName(row.name, "bank", host), row.text.empty()) << row.name;
        EXPECT_EQ(host.texts, row.text.empty() ? std::vector<std::string>()
                                               : std::vector<std::string>{row.text})
            << row.name;
    }
}

} // namespace
} // namespace zephra
