// SPDX-License-Identifier: GPL-3.0-or-later
//
// Writes the noise recording of the voice as a C++ source: make-noise-recording <file>
//
// White noise of one loop's length runs through a pink filter, round the loop until the filter
// meets its own state again: the end then leads into the start as any sample into the next. That
// is integer arithmetic, and the scaling uses only operations that IEEE 754 rounds exactly: every
// machine and compiler writes the same bytes.
#include "common/Random15.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <vector>

namespace {

constexpr int kLength = 335257;           ///< samples of the loop
constexpr double kLevel = 0.22 * 32768.0; ///< RMS
constexpr std::uint32_t kSeed = 1;        ///< chosen for a peak below full scale at that level

/// -3 dB per octave from 20 Hz to 20 kHz, within 0.8 dB, at 48 kHz: one-poles with corners two
/// octaves apart, amplitudes one octave apart, and a share of the white noise at the top.
class PinkFilter {
public:
    std::int64_t tick(std::int64_t white) noexcept
    {
        std::int64_t sum = 3 * white; // quarters
        for (int k = 0; k < kPoles; ++k) {
            state[k] += (white - state[k]) >> (2 * k + 1); // step 1/2, 1/8, .. 1/2048
            sum += state[k] * (8 << k);
        }
        return sum;
    }
    bool operator==(const PinkFilter&) const = default;

private:
    static constexpr int kPoles = 6;
    std::array<std::int64_t, kPoles> state{};
};

std::vector<std::int64_t> pinkLoop(std::uint32_t seed)
{
    constexpr int kFractionBits = 20; ///< below the 16 bits of the white noise
    std::vector<std::int64_t> loop(kLength);
    PinkFilter filter, atStart;
    do {
        atStart = filter;
        std::uint32_t state = seed;
        for (std::int64_t& sample : loop) {
            state = zephra::nextSeed(state);
            const std::int64_t white = static_cast<std::int16_t>(state >> 16);
            sample = filter.tick(white * (1 << kFractionBits)) >> kFractionBits;
        }
    } while (filter != atStart);
    return loop;
}

/// Takes the mean off and brings the loop to kLevel.
std::vector<int> scaled(const std::vector<std::int64_t>& loop)
{
    std::int64_t sum = 0;
    for (const std::int64_t sample : loop)
        sum += sample;
    const std::int64_t mean = sum / kLength;

    double energy = 0.0;
    for (const std::int64_t sample : loop) {
        const auto ac = static_cast<double>(sample - mean);
        energy += ac * ac;
    }
    const double scale = kLevel / std::sqrt(energy / kLength);

    std::vector<int> samples;
    samples.reserve(loop.size());
    for (const std::int64_t sample : loop)
        samples.push_back(
            static_cast<int>(std::floor(static_cast<double>(sample - mean) * scale + 0.5)));
    return samples;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: make-noise-recording <file>\n");
        return 2;
    }
    std::ofstream file(argv[1]);
    file << "// Written by make-noise-recording.\n"
            "#include \"voice/NoiseRecording.h\"\n\n"
            "namespace zephra {\nnamespace {\n\n"
            "constexpr std::int16_t kSamples[] = {";
    int column = 0;
    for (const int sample : scaled(pinkLoop(kSeed))) {
        if (sample < -32768 || sample > 32767) {
            std::fprintf(stderr, "make-noise-recording: seed %u clips\n", kSeed);
            return 1;
        }
        file << (column++ % 16 == 0 ? "\n" : " ") << sample << ',';
    }
    file << "\n};\n\n} // namespace\n\n"
            "std::span<const std::int16_t, kNoiseRecordingLength> noiseRecording() noexcept\n"
            "{\n    return kSamples;\n}\n\n} // namespace zephra\n";
    file.close();
    if (!file) {
        std::fprintf(stderr, "make-noise-recording: %s cannot be written\n", argv[1]);
        return 1;
    }
    return 0;
}
