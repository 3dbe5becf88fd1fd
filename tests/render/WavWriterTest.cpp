// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/WavWriter.h"

#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <limits>

namespace zephra::render {
namespace {

constexpr float kLeft[] = {0.0f, 1.0f}, kRight[] = {0.25f, -2.0f};

TEST(WavWriter, HoldsTheSamplesInEachFormatAndLeavesTheOldFileUntilThen)
{
    const test::TempFolder folder;
    const std::filesystem::path path = folder / "x.wav", link = folder / "link.wav";
    std::filesystem::create_symlink("x.wav", link);
    const struct {
        SampleFormat format;
        std::vector<std::uint8_t> bytes;
    } rows[] = {
        {SampleFormat::Float32, {0, 0, 0, 0, 0, 0, 0x80, 0x3e, 0, 0, 0x80, 0x3f, 0, 0, 0, 0xc0}},
        {SampleFormat::Int24, {0, 0, 0, 0, 0, 0x20, 0xff, 0xff, 0x7f, 0, 0, 0x80}},
        {SampleFormat::Int16, {0, 0, 0, 0x20, 0xff, 0x7f, 0, 0x80}},
    };
    for (const auto& row : rows) {
        folder.put("x.wav", {'o', 'l', 'd'});
        WavWriter(path, 48000, row.format).write(kLeft, kRight, 2); // not finished
        WavWriter wav(link, 96000, row.format);
        wav.write(kLeft, kRight, 2);
        EXPECT_EQ(test::fileBytes(path).size(), 3u);
        wav.finish();

        const std::vector<std::uint8_t> data = test::fileBytes(path);
        const std::string bytes(data.begin(), data.end());
        EXPECT_EQ(bytes.find("PEAK"), bytes.npos) << "would carry the time of day";
        const auto start = static_cast<std::ptrdiff_t>(bytes.find("data") + 8);
        EXPECT_EQ(std::vector(data.begin() + start, data.end()), row.bytes);
        SF_INFO info{};
        sf_close(sf_open(path.c_str(), SFM_READ, &info));
        EXPECT_EQ(info.samplerate, 96000);
        EXPECT_EQ(info.channels, 2);
        EXPECT_TRUE(std::filesystem::is_symlink(link));
        EXPECT_EQ(folder.count(), 2) << "nothing left aside";
    }
}

} // namespace
} // namespace zephra::render
