// SPDX-License-Identifier: GPL-3.0-or-later
#include "effects/PlateReverb.h"

#include "common/Flush.h"
#include "effects/ControlRange.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace zephra {

namespace {

constexpr double kTankRate = 16000.0;    ///< [Hz] rate of the lengths in samples below
constexpr double kLongestDelay = 1000.0; ///< [samples at kTankRate]
constexpr int kShortestRing = 2048;      ///< [samples]
constexpr int kRingsPerHalf = 10;
/// Between rings, so that their newest samples do not all fall into one set of the cache.
constexpr int kRingGap = 16;

/// Lengths in samples at kTankRate. The unlike ends of the two halves, 872 and 42.6, are meant.
struct TankLengths {
    double entry1, entry2, pre, first, firstInner, middle, middleCross, second, secondInner1,
        secondInner2, last, out;
};
// clang-format off
constexpr TankLengths kLengths[2] = {
    // entry      pre  first     middle and its cross      second         last  out
    { 109, 179,  123, 356, 886,  499.6,   624.6,           681, 422, 569,  382, 872 },
    {  94, 150,   65, 244, 924,  741.333, 616.6666666667,  691, 391, 679,  137, 42.6 },
};
// clang-format on

constexpr float kEntry1 = 0.65f;
constexpr float kEntry2 = 0.546f;
constexpr float kInner = 0.25f;

constexpr float kTapPre = 0.98f;                // g1
constexpr float kTapMiddle = 0.3945f / 0.9284f; // g2
constexpr float kTapCross = 0.215f / -0.9284f;  // g3
constexpr float kTapLast = 0.0815f / 0.8f;      // g4

constexpr double kInputHz = 8000.0;
/// Damping of the eight stages of a Butterworth low-pass of order 16: sin((2 i + 1) * pi / 32).
constexpr double kDamping[8] = {0.098017, 0.290285, 0.471397, 0.634393,
                                0.77301,  0.881921, 0.95694,  0.995185};

constexpr double kWanderSeconds = 1.3;       ///< from one end to the other
constexpr double kWanderDepth = 170.0 / 1.5; ///< [samples] at every rate
constexpr float kInaudible = 1e-6f;

/// Decay times in seconds at positions 0, 1/8 ... 1; the last stands for no end.
constexpr int kSegments = 8;
constexpr double kDecaySeconds[kSegments + 1] = {0.6, 1.152, 1.44, 1.93, 2.6, 3.7, 5.7, 12.0, 70.0};

double decaySeconds(double position) noexcept
{
    const double x = kSegments * position;
    const int j = std::min(static_cast<int>(x), kSegments - 1);
    return kDecaySeconds[j] + (x - j) * (kDecaySeconds[j + 1] - kDecaySeconds[j]);
}

/// The other way round. Kept: a time just below the shortest one gives 1/8, the shortest itself 0.
double decayPosition(double seconds) noexcept
{
    if (seconds < kDecaySeconds[0])
        return seconds / kDecaySeconds[0] / kSegments;
    int j = 0;
    while (j < kSegments - 1 && seconds >= kDecaySeconds[j + 1])
        ++j;
    const double part = (seconds - kDecaySeconds[j]) / (kDecaySeconds[j + 1] - kDecaySeconds[j]);
    return std::min((j + part) / kSegments, 1.0);
}

/// Gain of a pass through a half-tank: exactly 1 at position 1.
double decayGain(double position) noexcept { return 0.97 * std::pow(position, 0.9) + 0.03; }

/// `z` is what comes out of the ring's delay.
inline float allPass(Ring& ring, float z, float a, float x) noexcept
{
    const float v = x + a * z;
    ring.now() = v;
    return z - a * v;
}

} // namespace

PlateReverb::PlateReverb(std::uint32_t seed)
{
    random.seed(seed);
    setSampleRate(44100.0);
}

PlateReverb::TankDelays PlateReverb::tankDelays(int ch, double rate) noexcept
{
    const TankLengths& l = kLengths[ch];
    const double r = rate / kTankRate;
    int n = static_cast<int>(40.0 * rate / 44100.0);
    if (n % 2 == 0)
        --n;
    const int c = (n - 2) / 4; // taken off the pre-delay and the taps after it: 9 at 44100 Hz

    const auto samples = [r](double length, int less = 0) {
        return static_cast<int>(length * r - less);
    };
    TankDelays d{};
    d.entry1 = samples(l.entry1);
    d.entry2 = samples(l.entry2);
    d.pre = samples(l.pre, c);
    d.first = samples(l.first);
    d.firstInner = samples(l.firstInner);
    d.middle = samples(l.middle, d.pre + c);
    d.middleCross = samples(l.middleCross, d.pre + c);
    d.second = samples(l.second);
    d.secondInner1 = samples(l.secondInner1);
    d.secondInner2 = samples(l.secondInner2);
    d.last = samples(l.last);
    d.out = samples(l.out);
    return d;
}

void PlateReverb::InputFilter::setSampleRate(double rate) noexcept
{
    for (int i = 0; i < 4; ++i) {
        const SvfCoeffs early = svfLowPassCoeffs(kInputHz, 2.0 * kDamping[i], rate);
        const SvfCoeffs late = svfLowPassCoeffs(kInputHz, 2.0 * kDamping[i + 4], rate);
        a[i] = Float4{early.a, early.a, late.a, late.a};
        b[i] = Float4{early.b, early.b, late.b, late.b};
        c[i] = Float4{early.c, early.c, late.c, late.c};
    }
}

/// Lanes 2 and 3 of `out` are the result for the sample before.
inline void PlateReverb::InputFilter::tick(float left, float right) noexcept
{
    Float4 x{left, right, out[0], out[1]};
    for (int i = 0; i < 4; ++i)
        x = stage[i].tick(x, a[i], b[i], c[i]);
    out = x;
}

void PlateReverb::setSampleRate(double newRate)
{
    if (static_cast<int>(newRate) == static_cast<int>(fs))
        return;
    fs = newRate;
    c5 = static_cast<float>(onePoleCoeff(5.0, fs));
    c540 = static_cast<float>(onePoleCoeff(540.0, fs));
    c12k = static_cast<float>(onePoleCoeff(12000.0, fs));
    wanderStep = 1.0 / (kWanderSeconds * fs);
    inputFilter.setSampleRate(fs);

    const int longest = static_cast<int>(kLongestDelay * fs / kTankRate);
    const int length =
        std::max(kShortestRing, static_cast<int>(std::bit_ceil(static_cast<unsigned>(longest))));
    memory.resize(static_cast<std::size_t>(2 * kRingsPerHalf * (length + kRingGap)));
    float* block = memory.data();
    for (int ch = 0; ch < 2; ++ch) {
        delays[ch] = tankDelays(ch, fs);
        HalfTank& t = half[ch];
        t.head.setLength(length);
        for (Ring* ring : {&t.entry1, &t.entry2, &t.pre, &t.first, &t.firstInner, &t.middle,
                           &t.second, &t.secondInner1, &t.secondInner2, &t.last}) {
            ring->place(block);
            block += length + kRingGap;
        }
    }
    reset();
}

void PlateReverb::setTime(float control) noexcept { timeControl = clippedControl(control); }
void PlateReverb::setColor(float control) noexcept { colorControl = clippedControl(control); }
void PlateReverb::setWidth(float control) noexcept { widthControl = clippedControl(control); }
void PlateReverb::setDryWet(float control) noexcept { dryWetControl = clippedControl(control); }

void PlateReverb::reset() noexcept
{
    std::fill(memory.begin(), memory.end(), 0.0f);
    for (auto& stage : inputFilter.stage)
        stage = {};
    inputFilter.out = Float4{};
    for (HalfTank& tank : half)
        tank.feedback = tank.feedbackLp = tank.crossLp = 0.0f;
    outHp[0] = outHp[1] = 0.0f;
    wander = wanderTarget = 0.0;
}

const PlateReverb::Targets& PlateReverb::targets(float fade) noexcept
{
    const std::array<float, 5> now{timeControl, colorControl, widthControl, dryWetControl, fade};
    if (now == followed)
        return to;
    followed = now;
    const auto [time, color, width, mix, faded] = now;
    const double seconds = decaySeconds(time) * geometricMap(1.0 - color, 0.25, 4.0);
    const double high = time;
    const double low = decayPosition(std::min(seconds, kDecaySeconds[kSegments]));
    const double longer = std::max(low, high);

    to.lowGain = decayGain(low);
    to.highGain = decayGain(high);
    to.k1 = static_cast<float>(0.44 * std::pow(longer, 0.29) + 0.1);
    to.k2 = static_cast<float>(0.47 * std::pow(longer, 0.7) + 0.15);
    to.wet = (0.99f * mix * mix + 0.0001f) * faded;
    to.spreadMono = 1.0f - 0.999f * width;
    return to;
}

/// Straight lines between random places.
inline void PlateReverb::moveWander() noexcept
{
    const double e = wander - wanderTarget;
    if (std::fabs(e) <= wanderStep)
        wanderTarget = random.next() / 32767.0;
    else
        wander += e > 0.0 ? -wanderStep : wanderStep;
}

/// Read between two samples, in steps of 1/128; the halves move opposite ways.
inline float PlateReverb::modulated(const Ring& ring, int ch) const noexcept
{
    const double shift = kWanderDepth * wander;
    const double m = delays[ch].second + (ch == 0 ? shift : -shift);
    const int fixed = static_cast<int>(m * 128.0);
    const int i = fixed >> 7;
    const float fr = static_cast<float>(fixed & 127) * (1.0f / 128.0f);
    const float z = ring.back(i);
    return z + (ring.back(i + 1) - z) * fr;
}

inline void PlateReverb::runHalfTank(int ch, float x, float (&acc)[2]) noexcept
{
    HalfTank& tank = half[ch];
    const TankDelays& d = delays[ch];

    // The other half enters, in two bands. Both signs of the loop cancel.
    const float f = -half[1 - ch].feedbackLp;
    tank.crossLp += (f - tank.crossLp) * c540;
    float t = flushed(
        static_cast<float>(x + tank.crossLp * lowGain + (f - tank.crossLp) * highGain), kInaudible);
    tank.head.advance();

    t = allPass(tank.entry1, tank.entry1.back(d.entry1), kEntry1, t);
    t = allPass(tank.entry2, tank.entry2.back(d.entry2), kEntry2, t);

    tank.pre.now() = t;
    const float s = tank.pre.back(d.pre);
    acc[ch] += kTapPre * s;

    float z = allPass(tank.firstInner, tank.firstInner.back(d.firstInner), kInner,
                      tank.first.back(d.first));
    tank.middle.now() = allPass(tank.first, z, to.k1, s);
    const float e = tank.middle.back(d.middle);
    acc[ch] += kTapMiddle * e;
    acc[1 - ch] += kTapCross * tank.middle.back(d.middleCross);

    z = modulated(tank.second, ch);
    const float inner = allPass(tank.secondInner2, tank.secondInner2.back(d.secondInner2), kInner,
                                tank.secondInner1.back(d.secondInner1));
    z = allPass(tank.secondInner1, inner, kInner, z);
    tank.last.now() = allPass(tank.second, z, to.k2, e);
    acc[ch] += kTapLast * tank.last.back(d.last);
    tank.feedback = -tank.last.back(d.out);
}

bool PlateReverb::hasArrived(float fade) noexcept
{
    targets(fade);
    const auto stands = [this](auto x, auto target) { return x + (target - x) * c5 == x; };
    return stands(spreadMono, to.spreadMono) && stands(wet, to.wet) &&
           stands(lowGain, to.lowGain) && stands(highGain, to.highGain);
}

void PlateReverb::rest(int frames) noexcept
{
    while (frames > 0) {
        const double e = wander - wanderTarget;
        const int steps = std::min(frames, static_cast<int>(std::fabs(e) / wanderStep) - 1);
        for (int i = 0; i < steps; ++i) // of which none arrives
            wander += e > 0.0 ? -wanderStep : wanderStep;
        frames -= std::max(steps, 0);
        if (frames > 0) {
            moveWander();
            --frames;
        }
    }
}

void PlateReverb::process(float* left, float* right, int frames, float fade) noexcept
{
    targets(fade);

    for (int i = 0; i < frames; ++i) {
        inputFilter.tick(left[i], right[i]);
        moveWander();
        for (HalfTank& tank : half)
            tank.feedbackLp += (tank.feedback - tank.feedbackLp) * c12k;

        float acc[2] = {};
        runHalfTank(0, inputFilter.out[2], acc);
        runHalfTank(1, inputFilter.out[3], acc);

        for (int ch = 0; ch < 2; ++ch) {
            outHp[ch] += (acc[ch] - outHp[ch]) * c5;
            acc[ch] -= outHp[ch];
        }
        const float mid = 0.5f * (acc[0] + acc[1]);
        for (float& out : acc)
            out += (mid - out) * spreadMono;

        spreadMono += (to.spreadMono - spreadMono) * c5;
        wet += (to.wet - wet) * c5;
        lowGain += (to.lowGain - lowGain) * c5;
        highGain += (to.highGain - highGain) * c5;
        left[i] += (acc[0] - left[i]) * wet;
        right[i] += (acc[1] - right[i]) * wet;
    }

    for (float& state : outHp)
        state = flushed(state, 1e-17f);
    for (HalfTank& tank : half)
        tank.feedbackLp = flushed(tank.feedbackLp, kInaudible);
}

} // namespace zephra
