// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/fuzz/PatchBytes.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

// What patch-fuzzer starts from and what it has found, without the fuzzer.
TEST(PatchCorpus, EveryInputIsTakenWell)
{
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(ZEPHRA_PATCH_CORPUS)) {
        EXPECT_TRUE(test::patchBytesAreTakenWell(test::fileBytes(entry))) << entry.path();
        ++count;
    }
    EXPECT_GE(count, 16);
}

} // namespace
} // namespace zephra
