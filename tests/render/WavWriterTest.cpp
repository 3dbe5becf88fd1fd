// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/WavWriter.h"

#include "render/Failure.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>

namespace zephra::render::test {
namespace {

namespace fs = std::filesystem;

/// A folder of its own for each test, removed behind it.
class WavWriterTest : public ::testing::Test {
protected:
    WavWriterTest()
    {
        std::string place = fs::temp_directory_path() / "zephra-wav-XXXXXX";
        folder = ::mkdtemp(place.data());
    }
    ~WavWriterTest() override { fs::remove_all(folder); }

    std::size_t files() const
    {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), {}));
    }
    std::string read(const fs::path& path) const
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    fs::path folder;
};

constexpr std::array kLeft{0.0f, 1.0f, -1.0f, 0.5f, 2.0f};
constexpr std::array kRight{0.25f, -2.0f, 1e-9f, -0.5f, std::numeric_limits<float>::infinity()};

TEST_F(WavWriterTest, HoldsTheSamplesInEachFormat)
{
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

        const std::string bytes = read(path);
        EXPECT_EQ(bytes.find("PEAK"), bytes.npos) << "would carry the time of day";
        const std::size_t data = bytes.find("data") + 8;
        ASSERT_EQ(bytes.size() - data, 5 * row.bytes.size() / 2);
        for (std::size_t i = 0; i < row.bytes.size(); ++i)
            EXPECT_EQ(static_cast<unsigned char>(bytes[data + i]), row.bytes[i]) << "byte " << i;
        SF_INFO info{};
        SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
        EXPECT_EQ(info.samplerate, 96000);
        EXPECT_EQ(info.channels, 2);
        EXPECT_EQ(info.frames, 5);
        sf_close(file);
    }
    EXPECT_EQ(files(), 3u);
}

TEST_F(WavWriterTest, AnUnfinishedFileLeavesTheOldOne)
{
    const fs::path path = folder / "x.wav";
    std::ofstream(path) << "old";
    {
        WavWriter wav(path, 48000, SampleFormat::Float32);
        wav.write(kLeft.data(), kRight.data(), 5);
    }
    EXPECT_EQ(read(path), "old");
    EXPECT_EQ(files(), 1u);
}

TEST_F(WavWriterTest, ALinkStaysALink)
{
    const fs::path path = folder / "x.wav", link = folder / "link.wav";
    std::ofstream(path) << "old";
    fs::create_symlink("x.wav", link);
    WavWriter wav(link, 48000, SampleFormat::Float32);
    wav.write(kLeft.data(), kRight.data(), 5);
    wav.finish();
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(read(path).substr(0, 4), "RIFF");
}

TEST_F(WavWriterTest, UnwritablePlacesAreNamed)
{
    const fs::path missing = folder / "missing" / "x.wav";
    for (const std::string& path : {missing.string(), folder.string()}) {
        try {
            WavWriter wav(path, 48000, SampleFormat::Float32);
            ADD_FAILURE() << path;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.status, kFileStatus);
            EXPECT_EQ(std::string(failure.what()).rfind(path + ": ", 0), 0u) << failure.what();
        }
    }
    WavWriter full("/dev/full", 48000, SampleFormat::Float32);
    full.write(kLeft.data(), kRight.data(), 5);
    EXPECT_THROW(full.finish(), Failure);
    EXPECT_TRUE(fs::is_character_file("/dev/full")) << "a device is never replaced";
}

TEST(WavWriter, SizesStayWithin32Bits)
{
    EXPECT_LT(WavWriter::mostFrames(SampleFormat::Float32) * 8, std::int64_t{1} << 32);
    EXPECT_GT(WavWriter::mostFrames(SampleFormat::Int16),
              WavWriter::mostFrames(SampleFormat::Int24));
}

} // namespace
} // namespace zephra::render::test
