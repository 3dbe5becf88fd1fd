// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/WavWriter.h"

#include "song/Failure.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

namespace zephra::render {
namespace {

int bitsOf(SampleFormat format) noexcept
{
    switch (format) {
    case SampleFormat::Int24: return 24;
    case SampleFormat::Int16: return 16;
    case SampleFormat::Float32: break;
    }
    return 0;
}

int codecOf(SampleFormat format) noexcept
{
    switch (format) {
    case SampleFormat::Int24: return SF_FORMAT_PCM_24;
    case SampleFormat::Int16: return SF_FORMAT_PCM_16;
    case SampleFormat::Float32: break;
    }
    return SF_FORMAT_FLOAT;
}

/// Sample -1..1 as a whole number of `bits` bits, in the high bits of a word.
int quantised(float sample, int bits) noexcept
{
    const double steps = std::ldexp(1.0, bits - 1);
    const double value = std::fmax(-steps, std::fmin(steps - 1.0, std::nearbyint(sample * steps)));
    return static_cast<int>(value) * (1 << (32 - bits));
}

} // namespace

WavWriter::WavWriter(const std::string& path, int rate, SampleFormat format)
    : file(path), bits(bitsOf(format)), sound(nullptr, &sf_close)
{
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | codecOf(format);
    sound.reset(sf_open_fd(file.descriptor(), SFM_WRITE, &info, SF_FALSE));
    if (!sound)
        fail(sf_strerror(nullptr));
    // The chunk of peaks carries the time of day.
    sf_command(sound.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
}

std::int64_t WavWriter::mostFrames(SampleFormat format) noexcept
{
    constexpr std::int64_t kHeader = 1024; ///< bytes, more than enough
    const int bytes = format == SampleFormat::Float32 ? 4 : bitsOf(format) / 8;
    return (std::numeric_limits<std::uint32_t>::max() - kHeader) / (2 * bytes);
}

void WavWriter::write(const float* left, const float* right, int frames)
{
    const auto count = static_cast<std::size_t>(frames);
    sf_count_t written = 0;
    errno = 0;
    if (bits == 0) {
        floats.resize(2 * count);
        for (std::size_t i = 0; i < count; ++i) {
            floats[2 * i] = left[i];
            floats[2 * i + 1] = right[i];
        }
        written = sf_writef_float(sound.get(), floats.data(), frames);
    } else {
        integers.resize(2 * count);
        for (std::size_t i = 0; i < count; ++i) {
            integers[2 * i] = quantised(left[i], bits);
            integers[2 * i + 1] = quantised(right[i], bits);
        }
        written = sf_writef_int(sound.get(), integers.data(), frames);
    }
    if (written != frames)
        fail("the file cannot be written");
}

void WavWriter::finish()
{
    errno = 0;
    if (sf_close(sound.release()) != 0)
        fail("the file cannot be completed");
    file.commit();
}

void WavWriter::fail(const char* otherwise) const
{
    throw fileFailure(file.name(), errno != 0 ? std::strerror(errno) : otherwise);
}

} // namespace zephra::render
