// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchChunk.h"

#include "library/ProgramFile.h"
#include "support/ChunkBytes.h"
#include "support/RandomPatch.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zephra {
namespace {

using test::Bytes;
using test::ChunkBytes;

std::string text(const Bytes& bytes, std::size_t from, std::size_t count)
{
    return {bytes.begin() + static_cast<std::ptrdiff_t>(from),
            bytes.begin() + static_cast<std::ptrdiff_t>(from + count)};
}

/// A store that has taken in a chunk.
struct Loaded {
    explicit Loaded(const Bytes& chunk) { engineWord = readChunk(chunk, parameters); }

    const PatchRecord& record() const { return *parameters.getPreset(0); }
    float value(int id) const { return parameters.getValue(id); }

    PluginParameters parameters;
    std::uint32_t engineWord = 0;
};

TEST(WriteChunk, LaysTheBytesOutAsHostsHaveThemInTheirSongs)
{
    PluginParameters parameters;
    PatchRecord& record = *parameters.getPreset(0);
    record.setName("Bell");
    record.setInfoText("struck");
    record.presetInts[0] = 0x01020304;
    record.presetIntCount = 2;
    parameters.setValue(modwheel, 1.0f);
    const Bytes chunk = writeChunk(record, 0xa1b2c3d4);

    ASSERT_EQ(chunk.size(), 560u + 16 + 2 * 4 + 16 + 28 + 16 + 560 + 16 + 88 * 8);
    using namespace std::string_literals;
    EXPECT_EQ(text(chunk, 0, 512), std::string(512, '\0'));
    EXPECT_EQ(text(chunk, 512, 4), "\6\0\0\0"s);
    EXPECT_EQ(text(chunk, 520, 4), "\xd4\xc3\xb2\xa1"s);
    EXPECT_EQ(text(chunk, 524, 36), std::string(36, '\0'));
    EXPECT_EQ(text(chunk, 560, 24), "\1\0\0\0serp\4\0\0\0\2\0\0\0\4\3\2\1\0\0\0\0"s);
    EXPECT_EQ(text(chunk, 584, 44), "\1\0\0\0eman\x1c\0\0\0\1\0\0\0Bell"s + std::string(24, '\0'));
    EXPECT_EQ(text(chunk, 628, 23), "\1\0\0\0fnip\x30\2\0\0\1\0\0\0struck\0"s);
    EXPECT_EQ(text(chunk, 1204, 24), "\1\0\0\0arap\x08\0\0\0\x58\0\0\0\x62\0\0\0\0\0\x80\x3f"s);
}

TEST(WriteChunk, KeepsTwentySevenBytesOfANameInWholeLetters)
{
    PatchRecord record;
    record.setName("123456789012345678901234567890");
    EXPECT_EQ(Loaded(writeChunk(record, 0)).record().nameText(), "123456789012345678901234567");
    record.setName("12345678901234567890123456\xc3\xa4");
    EXPECT_EQ(Loaded(writeChunk(record, 0)).record().nameText(), "12345678901234567890123456");
}

TEST(RoundTrip, TenThousandRandomPatchesComeBackToTheBit)
{
    test::RandomPatch random(1);
    PluginParameters source;
    for (int i = 0; i < 10'000; ++i) {
        PatchRecord& before = *source.getPreset(0);
        const std::uint32_t engineWord = random.fill(before);
        const Bytes chunk = writeChunk(before, engineWord);

        PluginParameters target;
        random.fill(*target.getPreset(0)); // whatever was there before
        target.getPreset(0)->presetInts = {};
        target.getPreset(0)->presetIntCount = 0;
        ASSERT_EQ(readChunk(chunk, target), engineWord);
        const PatchRecord& after = *target.getPreset(0);
        ASSERT_EQ(after.nameText(), before.nameText());
        ASSERT_EQ(after.info, before.info);
        ASSERT_EQ(after.presetInts, before.presetInts);
        for (std::size_t row = 0; row < PatchRecord::paramCount; ++row) {
            ASSERT_EQ(std::bit_cast<std::uint32_t>(after.params[row].value.get()),
                      std::bit_cast<std::uint32_t>(before.params[row].value.get()));
        }
        ASSERT_EQ(writeChunk(after, engineWord), chunk);
    }
}

TEST(ReadChunk, SectionsComeInAnyOrderAndStrangeOnesArePassedOver)
{
    const Loaded patch(ChunkBytes(6, 77)
                           .section("zzzz", 3, 5, std::string(15, 'z'))
                           .values({{volume, 0.25f}, {777, 1.0f}})
                           .section("read", 0, 9, "")
                           .section("pinf", 560, 1, "two\nlines" + std::string(551, '\0'))
                           .name("Out of Order")
                           .section("pres", 4, 2, std::string("\1\0\0\0\2\0\0\0", 8))
                           .bytes);
    EXPECT_EQ(patch.engineWord, 77u);
    EXPECT_EQ(patch.value(volume), 0.25f);
    EXPECT_EQ(patch.value(filter_cutoff), 0.5f);
    EXPECT_EQ(patch.record().nameText(), "Out of Order");
    EXPECT_EQ(patch.record().infoText(), "two\nlines");
    EXPECT_EQ(patch.record().presetInts[1], 2u);
    EXPECT_EQ(patch.record().presetIntCount, 2u);
}

TEST(ReadChunk, WhatAChunkLacksIsDefaultButNameAndWordsStay)
{
    PluginParameters parameters;
    test::RandomPatch(2).fill(*parameters.getPreset(0));
    parameters.getPreset(0)->setName("Before");
    parameters.getPreset(0)->presetInts[3] = 33;
    parameters.getPreset(0)->presetIntCount = 4;
    readChunk(ChunkBytes(6).values({{volume, 0.25f}}).bytes, parameters);
    for (const int id : kStorageOrder)
        EXPECT_EQ(parameters.getValue(id), id == volume ? 0.25f : defaultValue(id));
    EXPECT_EQ(parameters.getPreset(0)->infoText(), "");
    EXPECT_EQ(parameters.getPreset(0)->nameText(), "Before");
    EXPECT_EQ(parameters.getPreset(0)->presetInts[3], 33u);
    EXPECT_EQ(parameters.getPreset(0)->presetIntCount, 4u);
}

TEST(ReadChunk, LaterValuesWinWithinAndAcrossSections)
{
    const Loaded patch(ChunkBytes(6)
                           .values({{volume, 0.1f}, {volume, 0.2f}, {filter_cutoff, 0.3f}})
                           .values({{filter_cutoff, 0.4f}})
                           .bytes);
    EXPECT_EQ(patch.value(volume), 0.2f);
    EXPECT_EQ(patch.value(filter_cutoff), 0.4f);
}

TEST(ReadChunk, ElementSizesMayLie)
{
    const std::string entry = ChunkBytes::entry(volume, 0, 0.25f);
    // Eight bytes a value whatever the head says; the length of the section follows the head.
    EXPECT_EQ(Loaded(ChunkBytes(6).section("para", 4, 1, entry).bytes).value(volume), 0.25f);
    EXPECT_EQ(
        Loaded(ChunkBytes(6).section("para", 4, 2, entry).name("After").bytes).record().nameText(),
        "After");
    // 27 bytes of name.
    const std::string letters = "abcdefghijklmnopqrstuvwxyz0123456789";
    EXPECT_EQ(Loaded(ChunkBytes(6).section("name", 1, 36, letters).bytes).record().nameText(),
              letters.substr(0, 27));
    // Words of any width: the lowest bytes of each count.
    const Loaded wide(ChunkBytes(6).section("pres", 6, 2, "abcdefABCDEF").name("").bytes);
    EXPECT_EQ(wide.record().presetInts[0], 0x64636261u);
    EXPECT_EQ(wide.record().presetInts[1], 0x44434241u);
    const Loaded narrow(ChunkBytes(6).section("pres", 2, 2, "abcd").name("").bytes);
    EXPECT_EQ(narrow.record().presetInts[1], 0x6463u);
    const Loaded many(
        ChunkBytes(6).section("pres", 4, 100, std::string(400, '\1')).name("After").bytes);
    EXPECT_EQ(many.record().presetIntCount, 64u);
    EXPECT_EQ(many.record().nameText(), "After");
    // A shorter info block leaves the rest empty; a longer one is cut, with a NUL behind its text.
    EXPECT_EQ(Loaded(ChunkBytes(6).section("pinf", 3, 1, "abc").name("").bytes).record().infoText(),
              "abc");
    const Loaded longInfo(ChunkBytes(6).section("pinf", 600, 1, std::string(600, 'i')).bytes);
    EXPECT_EQ(longInfo.record().infoText(), std::string(511, 'i'));
    EXPECT_EQ(longInfo.record().info[559], 'i');
}

TEST(ReadChunk, ASectionThatIsCutIsStillReadUpToItsEnd)
{
    // 16 bytes of head and one value of the eight that are promised.
    const std::string entry = ChunkBytes::entry(volume, 0, 0.25f);
    EXPECT_EQ(Loaded(ChunkBytes(6).section("para", 8, 8, entry).bytes).value(volume), 0.25f);
    // One element that would reach far beyond the end drops its section.
    EXPECT_EQ(Loaded(ChunkBytes(6).section("para", 24, 1, entry).bytes).value(volume), 0.5f);
    EXPECT_EQ(Loaded(ChunkBytes(6).section("para", 23, 1, entry).bytes).value(volume), 0.25f);
}

TEST(ReadChunk, LockedControlsKeepTheirValueAndLendItToNoOther)
{
    PluginParameters parameters;
    parameters.setValue(unison_spread, 0.1f);
    parameters.setValue(polyphony, 1.0f);
    parameters.setValue(filter_cutoff, 0.9f);
    parameters.setLocked(unison_spread, true);
    parameters.setLocked(polyphony, true);
    parameters.setLocked(filter_cutoff, true);
    parameters.locks()[static_cast<std::size_t>(storageRow(volume))].value =
        std::numeric_limits<float>::infinity(); // no lock at all

    readChunk(ChunkBytes(1).values({{unison_spread, 0.7f}, {volume, 0.3f}}).bytes, parameters);
    EXPECT_EQ(parameters.getValue(unison_spread), 0.1f);
    EXPECT_EQ(parameters.getValue(unison_detune), 0.7f) << "from the patch, not from the lock";
    EXPECT_EQ(parameters.getValue(polyphony), 1.0f) << "not lifted";
    EXPECT_EQ(parameters.getValue(filter_cutoff), 0.9f);
    EXPECT_EQ(parameters.getValue(volume), 0.3f);
    EXPECT_TRUE(parameters.isLocked(filter_cutoff));
}

// --- Damage ---------------------------------------------------------------------------------

TEST(DamagedChunk, CutAnywhereGivesWholeValuesOrDefaults)
{
    test::RandomPatch random(3);
    PluginParameters source;
    random.fill(*source.getPreset(0));
    source.getPreset(0)->presetIntCount = 5;
    const Bytes chunk = writeChunk(*source.getPreset(0), 9);
    for (std::size_t size = 0; size < chunk.size(); ++size) {
        const Loaded patch(Bytes(chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(size)));
        for (const int id : kStorageOrder) {
            const float value = patch.value(id);
            ASSERT_TRUE(value == source.getValue(id) || value == defaultValue(id)) << size;
        }
        ASSERT_EQ(patch.engineWord, size > 520 ? 9u : 0u) << size; // it has one byte
    }
}

TEST(DamagedChunk, LengthsThatLieEndTheReading)
{
    constexpr std::uint32_t kHuge = 0xffffffff;
    for (const char* tag : {"pres", "name", "pinf", "para", "????"}) {
        for (const std::uint32_t elementSize : {0u, 1u, 8u, 559u, 0x10000u, 0x7fffffffu, kHuge}) {
            for (const std::uint32_t count : {0u, 1u, 1000u, 0x80000000u, kHuge}) {
                const Loaded patch(ChunkBytes(6)
                                       .values({{volume, 0.25f}})
                                       .section(tag, elementSize, count, "short")
                                       .bytes);
                EXPECT_EQ(patch.value(volume), 0.25f);
                EXPECT_LE(patch.record().nameText().size(), 31u);
                EXPECT_LE(patch.record().infoText().size(), 511u);
                EXPECT_LE(patch.record().presetIntCount, 64u);
            }
        }
    }
}

TEST(DamagedChunk, NothingIsReadBeyondSixteenMegabytes)
{
    ChunkBytes patch(6);
    patch.values({{volume, 0.25f}});
    const std::string fill(kMostChunkBytes - patch.bytes.size() - 16, '\0');
    patch.raw(ChunkBytes::little(1) + "none" +
              ChunkBytes::little(static_cast<std::uint32_t>(fill.size())) + ChunkBytes::little(1) +
              fill);
    patch.values({{volume, 0.75f}});
    EXPECT_EQ(Loaded(patch.bytes).value(volume), 0.25f);
}

// Sections without length whose values overlap: read naively, a million times two million values.
TEST(DamagedChunk, SixteenMegabytesOfOverlappingSectionsAreReadSoon)
{
    const std::string head =
        ChunkBytes::little(1) + "arap" + ChunkBytes::little(0) + ChunkBytes::little(0xffffffff);
    std::string all;
    while (all.size() < kMostChunkBytes)
        all += head;
    EXPECT_EQ(Loaded(ChunkBytes(6).raw(all).bytes).value(volume), 0.5f);
}

TEST(DamagedChunk, ValuesThatAreNoNumbersAreNeutral)
{
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const Loaded patch(ChunkBytes(6)
                           .values({{volume, kNan},
                                    {filter_cutoff, kInfinity},
                                    {polyphony, -kInfinity},
                                    {opts_osc_keytracking, -9999.0f},
                                    {fx_del_time, -9990.5f},
                                    {fx_rev_time, -9990.0f},
                                    {mixer_noise, 1e-42f}})
                           .bytes);
    EXPECT_EQ(patch.value(volume), 0.0f);
    EXPECT_EQ(patch.value(filter_cutoff), 0.0f);
    EXPECT_EQ(patch.value(polyphony), 0.0f);
    EXPECT_EQ(patch.value(opts_osc_keytracking), 0.6f) << "unset: the default";
    EXPECT_EQ(patch.value(fx_del_time), 7.0f);
    EXPECT_EQ(patch.value(fx_rev_time), -9990.0f) << "only below that";
    EXPECT_EQ(patch.value(mixer_noise), 1e-42f);
}

} // namespace
} // namespace zephra
