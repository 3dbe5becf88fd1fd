// SPDX-License-Identifier: GPL-3.0-or-later
#include "effects/DelayLine.h"

#include "common/Flush.h"
#include "effects/ControlRange.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace zephra {

namespace {

/// Note lengths in 1/64 of a quarter note: dotted, plain and triplet of whole to sixteenth. The
/// triplets are rounded to single precision, which is upwards: in double, lengths that come out
/// whole would fall one sample short.
constexpr float kTriplet[] = {512.0f / 3, 256.0f / 3, 128.0f / 3, 64.0f / 3, 32.0f / 3};
// clang-format off
constexpr float kNoteLength[DelayLine::kNoteLengths] = {
    384, 256, kTriplet[0],
    192, 128, kTriplet[1],
     96,  64, kTriplet[2],
     48,  32, kTriplet[3],
     24,  16, kTriplet[4],
};
// clang-format on
constexpr double kSecondsPerUnit = 60.0 / 64.0; ///< at one beat per minute
constexpr double kShortest = 0.02;              ///< [s]

constexpr int kAllPassLeft = 292, kAllPassRight = 311; ///< [samples at 48 kHz]
constexpr int kAllPassRing = 2048;                     ///< [samples], as long as it holds the delay
constexpr float kAllPassGain = 0.215f;                 ///< falls to 0 at full feedback

constexpr double kHighPassHz = 10.0;
constexpr double kLowPassHz = 4000.0;
constexpr double kLowPassK = 1.414; ///< flat, without a peak

constexpr float kSmoothing = 0.01f;
constexpr float kBias = 1e-13f; ///< keeps the loops off denormals
constexpr float kInaudible = 1e-6f;

/// [samples]; an echo as long as the ring is the longest, about 2.7 s up to 50 kHz.
constexpr int lineLength(int rate) noexcept
{
    return rate <= 50000 ? 1 << 17 : rate <= 150000 ? 1 << 18 : 1 << 19;
}

/// All-pass that closes a loop; `fromLine` is the echo, read `delay` early to make up for it.
inline float loopAllPass(Ring& ring, int delay, float ap, float fromLine) noexcept
{
    const float z = ring.back(delay);
    const float v = z * ap + fromLine;
    ring.now() = v;
    return z - v * ap;
}

inline float highPass(float& hp, float h, float x) noexcept
{
    hp += (x - hp) * h;
    return x - hp;
}

} // namespace

DelayLine::DelayLine() { setSampleRate(44100.0); }

void DelayLine::setSampleRate(double newRate)
{
    const bool sameRings = static_cast<int>(newRate) == static_cast<int>(fs);
    fs = newRate;
    const double r = fs / 48000.0;
    t1 = static_cast<int>(kAllPassLeft * r);
    t2 = static_cast<int>(kAllPassRight * r);
    h = static_cast<float>(onePoleCoeff(kHighPassHz, fs));
    lowPass = svfLowPassCoeffs(kLowPassHz, kLowPassK, fs);
    if (sameRings)
        return;

    const int line = lineLength(static_cast<int>(fs));
    const int ap = std::max(kAllPassRing, static_cast<int>(std::bit_ceil(unsigned(t2) + 1u)));
    lineHead.setLength(line);
    apHead.setLength(ap);
    memory.resize(static_cast<std::size_t>(3 * line + 2 * ap));
    float* block = memory.data();
    for (Ring* ring : {&lineL, &lineR, &dryR}) {
        ring->place(block);
        block += line;
    }
    for (Ring* ring : {&apL, &apR}) {
        ring->place(block);
        block += ap;
    }
    reset();
}

void DelayLine::setTime(int index) noexcept { noteLength = std::clamp(index, 0, kNoteLengths - 1); }
void DelayLine::setFeedback(float control) noexcept { feedbackControl = clippedControl(control); }
void DelayLine::setDryWet(float control) noexcept { dryWetControl = clippedControl(control); }
void DelayLine::setWidth(float control) noexcept { widthControl = clippedControl(control); }

void DelayLine::reset() noexcept
{
    std::fill(memory.begin(), memory.end(), 0.0f);
    hpL = hpR = 0.0f;
    svfL = svfR = {};
}

/// Length of the chosen note; a note longer than the ring is cut there and leaves the tempo.
int DelayLine::delaySamples(double bpm) const noexcept
{
    if (!(std::isfinite(bpm) && bpm > 0.0))
        bpm = 120.0;
    const double note = static_cast<double>(kNoteLength[noteLength]);
    const double samples = kSecondsPerUnit * fs / bpm * note;
    const int longest = lineHead.longest();
    const int cut = static_cast<int>(std::min(samples, static_cast<double>(longest)));
    return std::max(cut, static_cast<int>(kShortest * fs));
}

DelayLine::Targets DelayLine::targets(float fade) const noexcept
{
    return {0.95f * feedbackControl + 0.0001f, 0.999f * dryWetControl * fade + 0.0001f,
            1.0f - 0.999f * widthControl};
}

bool DelayLine::hasArrived(float fade) const noexcept
{
    const Targets to = targets(fade);
    const auto stands = [](float x, float target) { return x + (target - x) * kSmoothing == x; };
    return stands(feedback, to.feedback) && stands(wet, to.wet) && stands(mono, to.mono);
}

void DelayLine::process(float* left, float* right, int frames, double bpm, float fade) noexcept
{
    const int D = delaySamples(bpm);
    const Targets to = targets(fade);

    for (int i = 0; i < frames; ++i) {
        feedback += (to.feedback - feedback) * kSmoothing;
        wet += (to.wet - wet) * kSmoothing;
        mono += (to.mono - mono) * kSmoothing;
        apHead.advance();
        lineHead.advance();

        const float inL = left[i] + kBias;
        const float inR = right[i] + kBias;
        dryR.now() = inR;
        const float halfR = dryR.back(D / 2);

        const float ap = kAllPassGain - kAllPassGain * feedback;
        const float fromL = loopAllPass(apL, t1, ap, lineL.back(D - t1));
        const float fromR = loopAllPass(apR, t2, ap, lineR.back(D - t2));
        const float eL = highPass(hpL, h, fromL);
        const float eR = highPass(hpR, h, fromR);

        // Each repeat is darker than the one before, but the first is heard before the low-pass.
        const float darkL = svfL.tick(eL, lowPass.a, lowPass.b, lowPass.c);
        const float darkR = svfR.tick(eR, lowPass.a, lowPass.b, lowPass.c);
        lineL.now() = (darkL + inL) * feedback;
        lineR.now() = (darkR + feedback * halfR) * feedback; // Kept: feedback twice on the right

        float oL = flushed(eL, kInaudible);
        float oR = flushed(eR + halfR, kInaudible);
        const float mid = 0.5f * (oL + oR);
        oL += (mid - oL) * mono;
        oR += (mid - oR) * mono;

        left[i] += (oL - left[i]) * wet;
        right[i] += (oR - right[i]) * wet;
    }

    for (float* state : {&hpL, &hpR, &svfL.s1, &svfL.s2, &svfR.s1, &svfR.s2})
        *state = flushed(*state, kInaudible);
}

} // namespace zephra
