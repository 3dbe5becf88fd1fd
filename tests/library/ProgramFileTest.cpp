// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/ProgramFile.h"

#include "library/PatchChunk.h"
#include "library/PatchDump.h"
#include "support/ChunkBytes.h"
#include "support/RandomPatch.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace zephra {
namespace {

namespace fs = std::filesystem;
using Fault = ProgramFile::Fault;
using test::Bytes;
using test::ChunkBytes;

class ProgramFiles : public testing::Test {
protected:
    Fault faultOf(const char* name) { return readProgramFile(folder / name).fault; }

    test::TempFolder folder;
};

TEST_F(ProgramFiles, CarryTheHeaderThatHostsKnow)
{
    PatchRecord record;
    record.setName("A name of thirty-one bytes, all");
    record.presetIntCount = 1;
    const Bytes bytes = programFileBytes(record, 5);
    ASSERT_EQ(bytes.size(), 60u + 1916 + 4);
    using namespace std::string_literals;
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 60),
              "CcnK\0\0\x07\xb4" // 1972: all but these eight
              "FPCh\0\0\0\1ZPHR\0\0\0\1\0\0\0\x4b"
              "A name of thirty-one bytes,\0\0\0\x07\x80"s);
    EXPECT_EQ(Bytes(bytes.begin() + 60, bytes.end()), writeChunk(record, 5));
}

TEST_F(ProgramFiles, AllFourIdsAreOneKindOfPatch)
{
    const ChunkBytes chunk = ChunkBytes(6).values({{volume, 0.25f}});
    for (const char* id : {"ZPHR", "ZPHF", "ZEPD", "ZEPF"}) {
        const auto patch = readPatchFileForBreeding(folder.put("x.fxp", chunk.file(id)));
        ASSERT_NE(patch, nullptr) << id;
        EXPECT_EQ(patch->getValue(volume), 0.25f);
    }
    for (const char* id : {"ZPHX", "RHPZ", "zphr"}) {
        const ProgramFile file = readProgramFile(folder.put("x.fxp", chunk.file(id)));
        EXPECT_EQ(file.fault, Fault::Foreign) << id;
        EXPECT_EQ(file.why, "This is not a patch for The Zephra.");
    }
}

TEST_F(ProgramFiles, TheFileNameIsTheNameOfThePatch)
{
    const Bytes bytes = ChunkBytes(6).name("Inside").file();
    const auto nameIn = [&](const char* file) {
        return std::string(
            readPatchFileForBreeding(folder.put(file, bytes))->getPreset(0)->nameText());
    };
    EXPECT_EQ(nameIn("Outside.fxp"), "Outside");
    EXPECT_EQ(nameIn("Bass v1.2.fxp"), "Bass v1.2");
    EXPECT_EQ(nameIn("without"), "without");
    EXPECT_EQ(nameIn("A name that is longer than thirty-one bytes.fxp"),
              "A name that is longer than thir");
}

TEST_F(ProgramFiles, WhatIsNoPatchFileIsToldFromOneOfAnotherInstrument)
{
    folder.put("empty.fxp", {});
    folder.put("header.fxp", Bytes(59, 'x'));
    folder.put("noise.fxp", Bytes(60, 'x'));
    folder.put("nothing in it.fxp", ChunkBytes(6).file());
    fs::resize_file(folder / "nothing in it.fxp", 60);
    fs::create_directory(folder / "folder.fxp");
    ::mkfifo((folder / "pipe.fxp").c_str(), 0600);
    fs::create_symlink("/dev/zero", folder / "endless.fxp");
    fs::create_symlink("itself.fxp", folder / "itself.fxp");
    for (const char* name : {"missing.fxp", "empty.fxp", "header.fxp", "nothing in it.fxp",
                             "folder.fxp", "pipe.fxp", "endless.fxp", "itself.fxp"}) {
        EXPECT_EQ(faultOf(name), Fault::Unreadable) << name;
        EXPECT_FALSE(readProgramFile(folder / name).why.empty()) << name;
        EXPECT_EQ(readPatchFileForBreeding(folder / name), nullptr) << name;
    }
    EXPECT_EQ(faultOf("noise.fxp"), Fault::Foreign);
}

TEST_F(ProgramFiles, AFileWithoutTheRightToReadIt)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root may read everything";
    folder.put("x.fxp", ChunkBytes(6).file());
    fs::permissions(folder / "x.fxp", fs::perms::none);
    EXPECT_EQ(faultOf("x.fxp"), Fault::Unreadable);
}

TEST_F(ProgramFiles, SizesThatLieTakeNoMoreThanThereIs)
{
    const Bytes whole = ChunkBytes(6).values({{volume, 0.25f}}).file();
    Bytes lying = whole;
    std::fill_n(lying.begin() + 56, 4, 0xff); // 4 GiB promised
    EXPECT_EQ(readProgramFile(folder.put("x.fxp", lying)).chunk.size(), whole.size() - 60);
    lying = whole;
    std::fill_n(lying.begin() + 56, 3, 0);
    lying[59] = 100; // less than there is
    EXPECT_EQ(readProgramFile(folder.put("x.fxp", lying)).chunk.size(), 100u);

    folder.put("vast.fxp", whole);
    fs::resize_file(folder / "vast.fxp", std::uintmax_t{4} << 30);
    {
        std::fstream file(folder / "vast.fxp", std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(56).write("\xff\xff\xff\xff", 4);
    }
    const ProgramFile vast = readProgramFile(folder / "vast.fxp");
    EXPECT_EQ(vast.chunk.size(), kMostChunkBytes);
    EXPECT_LE(vast.chunk.capacity(), kMostChunkBytes);
    EXPECT_EQ(readPatchFileForBreeding(folder / "vast.fxp")->getValue(volume), 0.25f);
}

TEST_F(ProgramFiles, CutAnywhereTheyLoadWhatIsThereOrNothing)
{
    const Bytes whole = ChunkBytes(1).name("x").values({{unison_spread, 0.25f}}).file();
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        const auto patch = readPatchFileForBreeding(folder.put("x.fxp", part));
        ASSERT_EQ(patch != nullptr, size > 60) << size;
        if (patch) {
            ASSERT_EQ(patch->getValue(unison_spread), size == whole.size() ? 0.25f : 0.5f) << size;
        }
    }
}

TEST_F(ProgramFiles, RandomPatchesComeBackToTheBit)
{
    test::RandomPatch random(4);
    PluginParameters source;
    PatchRecord& record = *source.getPreset(0);
    for (int i = 0; i < 10'000; ++i) {
        const std::uint32_t engineWord = random.fill(record);
        record.setName("x");
        const Bytes bytes = programFileBytes(record, engineWord);
        const auto patch = readPatchFileForBreeding(folder.put("x.fxp", bytes));
        ASSERT_EQ(programFileBytes(*patch->getPreset(0), engineWord), bytes);
    }
}

// --- The factory bank -----------------------------------------------------------------------

std::vector<fs::path> filesBelow(const fs::path& root, const char* extension)
{
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        if (entry.path().extension() == extension)
            files.push_back(entry.path().lexically_relative(root));
    }
    std::ranges::sort(files);
    return files;
}

TEST(FactoryPatches, EachSourceHasOneThatComesBackToTheBit)
{
    const fs::path target = ZEPHRA_SOUNDBANKS;
    std::vector<fs::path> expected = filesBelow(ZEPHRA_SOUNDBANK_SOURCES, ".sound");
    for (fs::path& file : expected)
        file.replace_extension(".fxp");
    EXPECT_EQ(filesBelow(target, ".fxp"), expected);

    for (const fs::path& file : expected) {
        const auto patch = readPatchFileForBreeding(target / file);
        ASSERT_NE(patch, nullptr) << file;
        const PatchRecord& record = *patch->getPreset(0);
        EXPECT_EQ(record.nameText(), file.stem().string());
        EXPECT_FALSE(record.infoText().empty()) << file;
        EXPECT_EQ(programFileBytes(record, 0), test::fileBytes(target / file)) << file;
    }
}

// --- Text dumps -----------------------------------------------------------------------------

TEST(PatchDump, ListsEveryValueWithFourDecimalsInAnyLocale)
{
    const test::TempFolder folder;
    PluginParameters parameters(2);
    parameters.setValue(modwheel, 0.12345f, 0, 1);
    const std::string former = std::setlocale(LC_NUMERIC, nullptr);
    std::setlocale(LC_NUMERIC, "de_DE.UTF-8"); // a decimal comma, where it is installed
    writeCsv(parameters, folder / "second.csv", 1);
    writeXml(parameters, folder / "second.xml", 1);
    std::setlocale(LC_NUMERIC, former.c_str());

    const Bytes csvBytes = test::fileBytes(folder / "second.csv");
    const std::string csv(csvBytes.begin(), csvBytes.end());
    EXPECT_TRUE(csv.starts_with("\"98\";\"0\";\"0.1235\"\n\"1\";\"0\";\"3.0000\"\n")) << csv;
    EXPECT_EQ(std::ranges::count(csv, '\n'), 88);

    const Bytes xmlBytes = test::fileBytes(folder / "second.xml");
    const std::string xml(xmlBytes.begin(), xmlBytes.end());
    EXPECT_TRUE(xml.starts_with("<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\n"
                                "<patch>\n\t<values>\n\t\t<item>\n"
                                "\t\t\t<id>98</id>\n\t\t\t<value>0.1235</value>\n"
                                "\t\t</item>\n\t\t<item>\n\t\t\t<id>1</id>\n"))
        << xml;
    EXPECT_TRUE(xml.ends_with("\t\t</item>\n\t</values>\n</patch>\n"));

    writeCsv(parameters, folder / "current.csv");
    EXPECT_NE(test::fileBytes(folder / "current.csv"), csvBytes);
    writeCsv(parameters, folder / "none.csv", 2);
    writeXml(parameters, folder / "missing" / "none.xml");
    EXPECT_EQ(folder.count(), 3);
}

} // namespace
} // namespace zephra
