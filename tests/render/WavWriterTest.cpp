// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/WavWriter.h"

#include "support/TempFolder.h"

#include <array>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>

namespace zephra::render::test {
namespace {

namespace fs = std::filesystem;
using zephra::test::fileBytes;
using zephra::test::TempFolder;

constexpr std::array kLeft{0.0f, 1.0f, -1.0f, 0.5f, 2.0f};
constexpr std::array kRight{0.25f, -2.0f, 1e-9f, -0.5f, std::numeric_limits<float>::infinity()};

TEST(WavWriter, HoldsTheSamplesInEachFormat)
{
    const TempFolder folder;
    const struct {
        SampleFormat format;
        std::vector<int> bytes; ///< the first two frames
    } rows[] = {
        {SampleFormat::Float32, {0, 0, 0, 0, 0, 0, 0x80, 0x3e, 0, 0, 0x80, 0x3f, 0, 0, 0, 0xc0}},
        {SampleFormat::Int24, {0, 0, 0, 0, 0, 0x20, 0xff, 0xff, 0x7f, 0, 0, 0x80}},
        {SampleFormat::Int16, {0, 0, 0, 0x20, 0xff, 0x7f, 0, 0x80}},
    };
    for (const auto& row : rows) {
        const fs::path path = folder / (std::to_string(row.bytes.size()) + ".wav");
        WavWriter wav(path, 96000, row.format);
        wav.write(kLeft.data(), kRight.data(), 5);
        EXPECT_FALSE(fs::exists(path)) << "not before it is complete";
        wav.finish();

        const std::vector<std::uint8_t> data = fileBytes(path);
        const std::string bytes(data.begin(), data.end());
        EXPECT_EQ(bytes.find("PEAK"), bytes.npos) << "would carry the time of day";
        const std::size_t start = bytes.find("data") + 8;
        ASSERT_EQ(bytes.size() - start, 5 * row.bytes.size() / 2);
        for (std::size_t i = 0; i < row.bytes.size(); ++i)
            EXPECT_EQ(data[start + i], row.bytes[i]) << "byte " << i;
        SF_INFO info{};
        sf_close(sf_open(path.c_str(), SFM_READ, &info));
        EXPECT_EQ(info.samplerate, 96000);
        EXPECT_EQ(info.channels, 2);
    }
    EXPECT_EQ(folder.count(), 3);
}

TEST(WavWriter, AnUnfinishedFileLeavesTheOldOneAndALinkStaysALink)
{
    const TempFolder folder;
    const fs::path path = folder / "x.wav", link = folder / "link.wav";
    folder.put("x.wav", {'o', 'l', 'd'});
    WavWriter(path, 48000, SampleFormat::Float32).write(kLeft.data(), kRight.data(), 5);
    EXPECT_EQ(fileBytes(path).size(), 3u);
    EXPECT_EQ(folder.count(), 1);
    fs::create_symlink("x.wav", link);
    WavWriter wav(link, 48000, SampleFormat::Float32);
    wav.write(kLeft.data(), kRight.data(), 5);
    wav.finish();
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_GT(fileBytes(path).size(), 3u);
}

} // namespace
} // namespace zephra::render::test
