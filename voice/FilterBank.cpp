// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/FilterBank.h"

#include "common/Maths.h"
#include "voice/VoiceRates.h"

#include <cmath>

namespace zephra {

namespace {

/// Output tap as weights of the ladder stages, with the gain that brings the four modes to one
/// loudness.
struct Tap {
    float y1 = 0.0f, y2 = 0.0f, y3 = 0.0f, y4 = 0.0f, comp = 0.0f;
};
constexpr float kComp = 0.7692308f;           // 1 / 1.3
constexpr float kBandPass24Comp = 1.5384616f; // 2 / 1.3
// clang-format off
constexpr Tap kTaps[2][2] = {                               // [24 dB][band pass]
    {{0, 1, 0, 0, kComp}, {1, -1, 0, 0, kComp}},            // 12 dB
    {{0, 0, 0, 1, kComp}, {0, 1, -2, 1, kBandPass24Comp}},  // 24 dB
};
// clang-format on

/// Kept: the symmetry never reaches zero; close to it, it sits on the positive side.
float biased(float symmetry) noexcept
{
    constexpr float kLeast = 0.001f;
    return symmetry > -kLeast && symmetry < kLeast ? kLeast : symmetry;
}

struct PanGains {
    float left, right;
};

/// Balance at position 0..1: the far side falls off, the near side stays at 1.
PanGains panAt(double position) noexcept
{
    if (position > 0.5)
        return {static_cast<float>(2.0 - 2.0 * position), 1.0f};
    return {1.0f, static_cast<float>(2.0 * position)};
}

PanGains panOfLane(const EngineValues& values, int lane) noexcept
{
    const double spread = values.unisonSpread;
    if (values.polyMode == PolyMode::Unison)
        return panAt((lane / 1.5 - 1.0) * spread * 0.5 + 0.5);
    const double s = 0.5 * spread + 0.5;
    return panAt(lane % 2 == 0 ? s : 1.0 - s);
}

Float4 load(const float* lanes) noexcept { return Float4{lanes[0], lanes[1], lanes[2], lanes[3]}; }

const float* stream(const float* frame, Stream which, int lanes) noexcept
{
    return frame + static_cast<int>(which) * lanes;
}

} // namespace

struct FilterBank::Stretch {
    float drive = 0.0f;
    float asym = 0.0f; ///< bias of the ladder
    float sat = 0.0f;  ///< gain into the amplifier's clipper
    float fbGain = 0.0f;
    Tap tap;
    bool mono = false; ///< the first lane decides alone
    const float* cutoffTable = nullptr;
    Coefficients coeffs;
    Pan pan;
};

void FilterBank::setSampleRate(double fs)
{
    const double fs8 = fs * kOversampling;
    const auto at = [fs8](double hz) { return static_cast<float>(tanCoeff(hz, fs8)); };
    lateCoeffs = {at(12.0), at(20.0), at(24.4)};
    earlyCoeffs = {at(8.0), at(12.0), at(16.0)};
    lateResonanceHp = at(29.04);
    earlyResonancePath = ResonancePath{at(9.0), at(15.0)};
    tables.setSampleRate(fs);
}

void FilterBank::reset() noexcept { groups = {}; }

template <bool kIterated>
Float4 FilterBank::tick(Group& group, const Stretch& s, Float4 signal, Float4 cutoff,
                        Float4 amplitude, Float4 resonance) noexcept
{
    // Drive, feedback, input high-pass, bias
    Float4 x = signal * s.drive + 0.25f * th(group.fbState);
    group.inHp += (x - group.inHp) * s.coeffs.inHp;
    x -= group.inHp;
    x += s.asym * amplitude + 3.0f * s.asym;

    // Ladder
    Float4 g;
    for (int lane = 0; lane < 4; ++lane)
        g[lane] = s.cutoffTable[static_cast<int>(cutoff[lane] * CutoffTables::kTopEntry)];
    const LadderInput<Float4> input{x, cutoff, resonance, g};
    LadderStages<Float4> y;
    if constexpr (kIterated)
        y = group.iterated.tick(input, lateResonanceHp, s.mono);
    else
        y = group.linearised.tick(input, earlyResonancePath);
    Float4 z = y.y1 * s.tap.y1 + y.y2 * s.tap.y2 + y.y3 * s.tap.y3 + y.y4 * s.tap.y4;

    // Amplifier: clipped before (Late only) and after the gain, which leaks a little
    group.outLp += (z - group.outLp) * s.coeffs.outLp;
    z = (z - group.outLp) * s.tap.comp;
    if constexpr (kIterated)
        z = th(z) - 0.001f * amplitude;
    else
        z -= 0.02f * amplitude;
    z = th(amplitude * z * s.sat);

    group.amHp += (z - group.amHp) * s.coeffs.amHp;
    const Float4 r = z - group.amHp;
    group.fbState = s.fbGain * r;
    return r;
}

template <bool kIterated>
void FilterBank::processFour(const Stretch& s, const LaneBuffer& buffer, int count, float* left,
                             float* right) noexcept
{
    Group group = groups[0];
    for (int i = 0; i < count; ++i) {
        const float* frame = &buffer.four[static_cast<std::size_t>(16 * i)];
        const Float4 r = tick<kIterated>(group, s, load(stream(frame, Stream::Signal, 4)),
                                         load(stream(frame, Stream::Cutoff, 4)),
                                         load(stream(frame, Stream::Amplitude, 4)),
                                         load(stream(frame, Stream::Resonance, 4)));
        if (s.mono) {
            const float both = 2.0f * r[0];
            left[i] = right[i] = std::fabs(both) < 1e-6f ? 0.0f : both;
        } else {
            left[i] = laneSum(r * s.pan.left);
            right[i] = laneSum(r * s.pan.right);
        }
    }
    // Only this state is flushed; the caller's flush-to-zero mode looks after the rest.
    const Int4 silent = (group.amHp <= 1e-9f) & (group.amHp >= -1e-9f);
    group.amHp = select(silent, Float4{}, group.amHp);
    groups[0] = group;
}

void FilterBank::processEight(const Stretch& s, const LaneBuffer& buffer, int count, float* left,
                              float* right) noexcept
{
    std::array<Group, 2> local = groups;
    for (int i = 0; i < count; ++i) {
        const float* frame = &buffer.eight[static_cast<std::size_t>(32 * i)];
        Float4 sum[2];
        for (int half = 0; half < 2; ++half)
            sum[half] = tick<false>(local[static_cast<std::size_t>(half)], s,
                                    load(stream(frame, Stream::Signal, 8) + 4 * half),
                                    load(stream(frame, Stream::Cutoff, 8) + 4 * half),
                                    load(stream(frame, Stream::Amplitude, 8) + 4 * half),
                                    load(stream(frame, Stream::Resonance, 8) + 4 * half));
        // Both groups have the same pan.
        const Float4 r = sum[0] + sum[1];
        left[i] = laneSum(r * s.pan.left);
        right[i] = laneSum(r * s.pan.right);
    }
    groups = local;
}

/// State words that are no longer finite become 0. True if there were any.
bool FilterBank::clearBroken(Group& group) noexcept
{
    bool broken = false;
    const auto mend = [&broken](Float4& x) {
        const Int4 finite = x - x == Float4{};
        broken = broken || !all(finite);
        x = select(finite, x, Float4{});
    };
    IteratedLadder<Float4>& n = group.iterated;
    LinearisedLadder<Float4>& l = group.linearised;
    for (Float4* state :
         {&n.y.y1, &n.y.y2, &n.y.y3, &n.y.y4, &n.d1, &n.d2, &n.d3, &n.d4, &n.loopLp, &l.i1, &l.i2,
          &l.i3, &l.i4, &l.s1, &l.s2, &group.fbState, &group.inHp, &group.outLp, &group.amHp})
        mend(*state);
    return broken;
}

void FilterBank::process(const EngineValues& values, const LaneBuffer& buffer, int count,
                         float* left, float* right) noexcept
{
    const bool eightLanes = values.polyMode == PolyMode::Poly8;
    const bool iterated = !eightLanes && values.revision == Revision::Late;
    Stretch s{
        .drive = values.drive + 0.325f,
        .asym = biased(values.symmetry),
        .sat = 2.0f * values.saturation + 2.0f,
        .fbGain = values.feedback,
        .tap = kTaps[values.filter24dB ? 1 : 0][values.filterBandPass ? 1 : 0],
        .mono = values.polyMode == PolyMode::Mono,
        .cutoffTable = iterated ? tables.late() : tables.early(),
        .coeffs = iterated ? lateCoeffs : earlyCoeffs,
        .pan = {},
    };
    for (int lane = 0; lane < 4; ++lane) {
        const PanGains pan = panOfLane(values, lane);
        s.pan.left[lane] = pan.left;
        s.pan.right[lane] = pan.right;
    }

    if (eightLanes)
        processEight(s, buffer, count, left, right);
    else if (iterated)
        processFour<true>(s, buffer, count, left, right);
    else
        processFour<false>(s, buffer, count, left, right);
    for (Group& group : groups) {
        if (clearBroken(group)) { // later stages have memories of their own to keep clean
            for (int i = 0; i < count; ++i)
                if (!std::isfinite(left[i]) || !std::isfinite(right[i]))
                    left[i] = right[i] = 0.0f;
        }
    }
}

} // namespace zephra
