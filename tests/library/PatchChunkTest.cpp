// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchChunk.h"

#include "library/PatchValue.h"
#include "library/ProgramFile.h"
#include "support/ChunkBytes.h"
#include "support/RandomPatch.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <limits>

namespace zephra {
namespace {

using test::Bytes;
using test::ChunkBytes;
using namespace std::string_literals;

TEST(PatchBytes, LieAsHostsHaveThemInTheirSongsAndFiles)
{
    PluginParameters parameters;
    PatchRecord& record = *parameters.getPreset(0);
    record.setName("A bell of thirty-two letters, all");
    record.setInfoText("struck");
    record.presetInts[0] = 0x01020304;
    record.presetIntCount = 2;
    parameters.setValue(modwheel, 1.0f);
    const Bytes file = programFileBytes(record, 0xa1b2c3d4);
    const struct {
        std::size_t at;
        std::string bytes;
    } rows[] = {
        {0, "CcnK\0\0\x07\xb8" // 1976: all but these eight
            "FPCh\0\0\0\1ZPHR\0\0\0\1\0\0\0\x4b"
            "A bell of thirty-two letter\0\0\0\x07\x84"s},
        {60, std::string(512, '\0') + "\6\0\0\0"s},
        {60 + 520, "\xd4\xc3\xb2\xa1"s + std::string(36, '\0')},
        {60 + 560, "\1\0\0\0serp\4\0\0\0\2\0\0\0\4\3\2\1\0\0\0\0"s},
        {60 + 584, "\1\0\0\0eman\x1c\0\0\0\1\0\0\0A bell of thirty-two letter\0"s},
        {60 + 628, "\1\0\0\0fnip\x30\2\0\0\1\0\0\0struck\0"s},
        {60 + 1204, "\1\0\0\0arap\x08\0\0\0\x58\0\0\0\x62\0\0\0\0\0\x80\x3f"s},
    };
    ASSERT_EQ(file.size(), 60u + 1220 + 88 * 8);
    for (const auto& row : rows)
        EXPECT_EQ(std::string(file.begin(), file.end()).substr(row.at, row.bytes.size()), row.bytes)
            << "at " << row.at;
}

TEST(PatchBytes, OfRandomPatchesComeBackToTheBitAsChunkAndAsFile)
{
    const test::TempFolder folder;
    test::RandomPatch random(1);
    PluginParameters source;
    PatchRecord& before = *source.getPreset(0);
    for (int i = 0; i < 3000; ++i) {
        const std::uint32_t engineWord = random.fill(before);
        const Bytes chunk = writeChunk(before, engineWord);
        PluginParameters target;
        random.fill(*target.getPreset(0)); // whatever was there before
        target.getPreset(0)->presetInts = {};
        target.getPreset(0)->presetIntCount = 0;
        ASSERT_EQ(readChunk(chunk, target), engineWord);
        ASSERT_EQ(writeChunk(*target.getPreset(0), engineWord), chunk);

        before.setName("x"); // as the file
        const Bytes bytes = programFileBytes(before, engineWord);
        const auto patch = readPatchFileForBreeding(folder.put("x.fxp", bytes));
        ASSERT_EQ(programFileBytes(*patch->getPreset(0), engineWord), bytes);
    }
    before.setName("12345678901234567890123456\xc3\xa4");
    readChunk(writeChunk(before, 0), source);
    EXPECT_EQ(before.nameText(), "12345678901234567890123456") << "27 bytes, but whole letters";
}

// Chunks that other versions may have written, or nobody, after a patch of some name and words.
TEST(ReadChunk, TakesWhatItFindsAndDefaultsForTheRest)
{
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const std::string entry = ChunkBytes::entry(volume, 0, 0.25f);
    const auto chunk = [] { return ChunkBytes(6, 77); };
    // clang-format off
    const struct {
        const char* what;
        ChunkBytes chunk;
        float volume = 0.5f;
        std::string name = "Before", info = "";
        std::vector<std::uint32_t> words = {33};
    } rows[] = {
        {"nothing", chunk()},
        {"no number is neutral", chunk().values({{volume, kNan}}), 0.0f},
        {"neither is this", chunk().values({{volume, -kInfinity}}), 0.0f},
        {"unset is as if it were not there", chunk().values({{volume, 0.25f}, {volume, -9999}}), 0.25f},
        {"but only below that", chunk().values({{volume, -9990}}), -9990.0f},
        {"the very small stays", chunk().values({{volume, 1e-42f}}), 1e-42f},
        {"a sub-index of another", chunk().section("para", 8, 1, ChunkBytes::entry(volume, 1, 1))},
        {"any order, strange ones between",
         chunk().section("zzzz", 3, 5, std::string(15, 'z')).values({{volume, .25f}, {777, 1}})
             .section("read", 0, 9, "").section("pinf", 560, 1, "two\nlines" + std::string(551, 0))
             .name("Out of Order").section("pres", 4, 2, "\1\0\0\0\2\0\0\0"s),
         0.25f, "Out of Order", "two\nlines", {1, 2}},
        {"later values win", chunk().values({{volume, 1}, {volume, 0}}).values({{volume, .25f}}),
         0.25f},
        {"in one section too", chunk().values({{volume, 1}, {volume, 0.25f}}), 0.25f},
        {"8 bytes a value whatever the head", chunk().section("para", 4, 1, entry), 0.25f},
        {"but its length is a section's", chunk().section("zzzz", 4, 2, "12345678").name("After"), 0.5f,
         "After"},
        {"27 bytes of name", chunk().section("name", 1, 36, std::string(36, 'n')), 0.5f,
         std::string(27, 'n')},
        {"wide words", chunk().section("pres", 6, 2, "abcdefABCDEF").name(""), 0.5f, "", "",
         {0x64636261, 0x44434241}},
        {"narrow words", chunk().section("pres", 2, 2, "abcd").name(""), 0.5f, "", "",
         {0x6261, 0x6463}},
        {"too many words", chunk().section("pres", 4, 100, std::string(400, 1)).name("After"), 0.5f,
         "After", "", std::vector<std::uint32_t>(64, 0x01010101)},
        {"short info", chunk().section("pinf", 3, 1, "abc").name(""), 0.5f, "", "abc"},
        {"long info", chunk().section("pinf", 600, 1, std::string(600, 'i')), 0.5f, "Before",
         std::string(511, 'i')},
        {"a section that is cut", chunk().section("para", 8, 8, entry), 0.25f},
        {"its element just fits", chunk().section("para", 23, 1, entry), 0.25f},
        {"its element reaches beyond the end", chunk().section("para", 24, 1, entry)},
    };
    // clang-format on
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        PluginParameters parameters;
        PatchRecord& record = *parameters.getPreset(0);
        for (const int id : kStorageOrder)
            parameters.setValue(id, 0.125f);
        record.setName("Before");
        record.setInfoText("Before");
        record.presetInts[0] = 33;
        record.presetIntCount = 1;
        EXPECT_EQ(readChunk(row.chunk.bytes, parameters), 77u);
        for (const int id : kStorageOrder)
            EXPECT_EQ(parameters.getValue(id), id == volume ? row.volume : defaultValue(id)) << id;
        EXPECT_EQ(record.nameText(), row.name);
        EXPECT_EQ(record.infoText(), row.info);
        EXPECT_EQ(std::vector(record.presetInts.begin(),
                              record.presetInts.begin() +
                                  static_cast<std::ptrdiff_t>(record.presetIntCount)),
                  row.words);
    }
}

TEST(ReadChunk, LockedControlsKeepTheirValueAndLendItToNoOther)
{
    PluginParameters parameters;
    const std::pair<int, float> locked[] = {
        {unison_spread, 0.1f}, {polyphony, 1.0f}, {filter_cutoff, 0.9f}};
    for (const auto& [id, value] : locked) {
        parameters.setValue(id, value);
        parameters.setLocked(id, true);
    }
    parameters.locks()[static_cast<std::size_t>(storageRow(volume))].value =
        std::numeric_limits<float>::infinity(); // no lock at all
    readChunk(ChunkBytes(1).values({{unison_spread, 0.7f}, {volume, 0.3f}}).bytes, parameters);
    for (const auto& [id, value] : locked)
        EXPECT_EQ(parameters.getValue(id), value) << id;
    EXPECT_EQ(parameters.getValue(unison_detune), 0.7f) << "from the patch, not from the lock";
    EXPECT_EQ(parameters.getValue(volume), 0.3f);
    EXPECT_TRUE(parameters.isLocked(filter_cutoff));
}

TEST(ReadChunk, OfSixteenMegabytesIsSoonDoneAndReadsNoMore)
{
    // Sections without length whose values overlap: naively, a million times two million values.
    const auto little = ChunkBytes::little;
    const std::string head = little(1) + "arap" + little(0) + little(0xffffffff);
    std::string overlapping;
    while (overlapping.size() < kMostChunkBytes)
        overlapping += head;
    const auto volumeOf = [](const ChunkBytes& chunk) {
        PluginParameters parameters;
        readChunk(chunk.bytes, parameters);
        return parameters.getValue(volume);
    };
    EXPECT_EQ(volumeOf(ChunkBytes(6).raw(overlapping)), 0.5f);
    const std::string fill(kMostChunkBytes - 560 - 24 - 16, '\0');
    EXPECT_EQ(volumeOf(ChunkBytes(6)
                           .values({{volume, 0.25f}})
                           .section("none", 1, static_cast<std::uint32_t>(fill.size()), fill)
                           .values({{volume, 0.75f}})),
              0.25f);
}

TEST(ValueMerge, FallsBackFromASubIndexToThePlainValue)
{
    PatchValue values[] = {{7, 0, 0.5f}, {7, 2, 0.5f}, {65535, 65535, 0.5f}};
    const auto expectMerged = [&](const std::string& list, float plain, float second, float last) {
        ValueMerge merge(values);
        merge.take({reinterpret_cast<const std::uint8_t*>(list.data()), list.size()});
        merge.apply();
        EXPECT_EQ(values[0].value, plain);
        EXPECT_EQ(values[1].value, second);
        EXPECT_EQ(values[2].value, last);
    };
    const auto e = ChunkBytes::entry;
    expectMerged(e(7, 1, 9) + e(65535, 0, 3) + e(8, 0, 2), 0.5f, 0.5f, 3);
    expectMerged(e(65535, 65535, 4) + e(7, 0, 1) + e(65535, 0, 5), 1, 1, 4);
    expectMerged(e(7, 2, 2) + e(7, 0, 3) + e(7, 0, -9999), 3, 2, 4);
}

} // namespace
} // namespace zephra
