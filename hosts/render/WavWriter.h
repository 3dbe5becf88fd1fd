// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "render/PendingFile.h"
#include "render/RenderOptions.h"

#include <cstdint>
#include <memory>
#include <sndfile.h>
#include <string>
#include <vector>

namespace zephra::render {

/// Writes a stereo WAV file, or nothing: see PendingFile. Whole-number formats round to the
/// nearest step and clip at full scale, without dither. The same samples make the same bytes.
class WavWriter {
public:
    /// Opens the file beside its place. `path` "-" is standard output. Throws Failure.
    WavWriter(const std::string& path, int rate, SampleFormat format);

    /// The most samples a channel that fit a WAV file, whose sizes have 32 bits.
    static std::int64_t mostFrames(SampleFormat format) noexcept;

    /// Throws Failure, for example on a full disk.
    void write(const float* left, const float* right, int frames);
    /// Completes the file under its name. Throws Failure.
    void finish();

private:
    [[noreturn]] void fail(const char* otherwise) const;

    PendingFile file;
    int bits; ///< of a sample, 0 for floating point
    std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> sound;
    std::vector<float> floats; ///< interleaved
    std::vector<int> integers; ///< interleaved, in the high bits
};

} // namespace zephra::render
