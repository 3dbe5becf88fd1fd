// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/ProgramFile.h"

#include "library/PatchChunk.h"
#include "support/ChunkBytes.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sys/stat.h>

namespace zephra {
namespace {

namespace fs = std::filesystem;
using Fault = ProgramFile::Fault;
using test::Bytes;
using test::ChunkBytes;

struct ProgramFiles : testing::Test {
    test::TempFolder folder;
};

TEST_F(ProgramFiles, OfFourIdsAreOneKindOfPatchNamedAfterItsFile)
{
    const ChunkBytes chunk = ChunkBytes(6).name("Inside").values({{volume, 0.25f}});
    const struct {
        const char *id, *file, *name; ///< name of the patch; nullptr: it is none
    } rows[] = {
        {"ZPHR", "Outside.fxp", "Outside"},
        {"ZPHF", "Bass v1.2.fxp", "Bass v1.2"},
        {"ZEPD", "without", "without"},
        {"ZEPF", "A name that is longer than thirty-one bytes.fxp",
         "A name that is longer than thir"},
        {"ZPHX", "x.fxp", nullptr},
        {"RHPZ", "x.fxp", nullptr},
        {"zphr", "x.fxp", nullptr},
    };
    for (const auto& row : rows) {
        const std::string path = folder.put(row.file, chunk.file(row.id));
        const auto patch = readPatchFileForBreeding(path);
        ASSERT_EQ(patch != nullptr, row.name != nullptr) << row.id;
        if (patch) {
            EXPECT_EQ(patch->getPreset(0)->nameText(), row.name);
            EXPECT_EQ(patch->getValue(volume), 0.25f);
        } else {
            EXPECT_EQ(readProgramFile(path).why, "This is not a patch for The Zephra.");
        }
    }
}

TEST_F(ProgramFiles, ThatCannotBeReadAreToldFromThoseOfAnotherInstrument)
{
    folder.put("header.fxp", Bytes(59, 'x'));
    folder.put("noise.fxp", Bytes(60, 'x'));
    fs::create_directory(folder / "folder.fxp");
    ::mkfifo((folder / "pipe.fxp").c_str(), 0600);
    fs::create_symlink("/dev/zero", folder / "endless.fxp");
    fs::create_symlink("itself.fxp", folder / "itself.fxp");
    for (const char* name :
         {"missing.fxp", "header.fxp", "folder.fxp", "pipe.fxp", "endless.fxp", "itself.fxp"}) {
        EXPECT_EQ(readProgramFile(folder / name).fault, Fault::Unreadable) << name;
        EXPECT_FALSE(readProgramFile(folder / name).why.empty()) << name;
    }
    EXPECT_EQ(readProgramFile(folder / "noise.fxp").fault, Fault::Foreign);
}

TEST_F(ProgramFiles, CutAnywhereGiveWholeValuesOrDefaults)
{
    const Bytes whole = ChunkBytes(1).values({{tuning_coarse, 0.3f}, {unison_spread, 0.2f}}).file();
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        const auto patch = readPatchFileForBreeding(folder.put("x.fxp", part));
        ASSERT_EQ(patch != nullptr, size > 60) << size;
        if (patch) {
            ASSERT_EQ(patch->getValue(unison_spread), size == whole.size() ? 0.2f : 0.5f) << size;
            ASSERT_EQ(patch->getValue(opts_flt_symmetry), size + 8 >= whole.size() ? 0.3f
                                                          : size < 60 + 512 + 1
                                                              ? defaultValue(opts_flt_symmetry)
                                                              : defaultValue(tuning_coarse))
                << size;
        }
    }
}

TEST_F(ProgramFiles, WhoseSizesLieTakeNoMoreThanThereIs)
{
    const Bytes whole = ChunkBytes(6).values({{volume, 0.25f}}).file();
    const auto chunkOf = [&](std::uint8_t upper, std::uint8_t lowest, std::uintmax_t fileSize) {
        Bytes lying = whole;
        std::fill_n(lying.begin() + 56, 3, upper);
        lying[59] = lowest;
        folder.put("x.fxp", lying);
        fs::resize_file(folder / "x.fxp", fileSize);
        return readProgramFile(folder / "x.fxp").chunk;
    };
    EXPECT_EQ(chunkOf(0xff, 0xff, whole.size()).size(), whole.size() - 60);
    EXPECT_EQ(chunkOf(0, 100, whole.size()).size(), 100u);
    const auto vast = chunkOf(0xff, 0xff, std::uintmax_t{4} << 30);
    EXPECT_EQ(vast.size(), kMostChunkBytes);
    EXPECT_LE(vast.capacity(), kMostChunkBytes);
}

} // namespace
} // namespace zephra
