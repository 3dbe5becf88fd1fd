// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/kernels/FilterKernel.h"

#include "common/Maths.h"
#include "common/Simd.h"
#include "voice/CutoffTables.h"
#include "voice/Ladder.h"

#include <type_traits>

namespace zephra {
inline namespace ZEPHRA_ISA {
namespace {

/// Filter, amplifier and pan of as many voices as T has lanes.
template <class T, class Ladder> struct Channel {
    static constexpr bool kIterated = std::is_same_v<Ladder, IteratedLadder<T>>;

    Ladder ladder;
    T fbState{}; ///< output of the last sample times the feedback gain
    T inHp{};    ///< low-pass under the input high-pass
    T outLp{};   ///< low-pass under the DC removal before the amplifier
    T amHp{};    ///< low-pass under the DC removal after it

    /// Hands the words of the state to `each`, in the order of FilterLanes.
    template <class Each> void visit(FilterLanes& lanes, Each each) noexcept
    {
        const auto visitAll = [each](FilterLanes::Word* word, auto&... state) {
            (each((word++)->data(), state), ...);
        };
        Ladder& l = ladder;
        if constexpr (kIterated)
            visitAll(lanes.iterated.data(), l.y.y1, l.y.y2, l.y.y3, l.y.y4, l.d1, l.d2, l.d3, l.d4,
                     l.loopLp);
        else
            visitAll(lanes.linearised.data(), l.i1, l.i2, l.i3, l.i4, l.s1, l.s2);
        visitAll(lanes.around.data(), fbState, inHp, outLp, amHp);
    }

    static T stream(const float* frame, Stream which) noexcept
    {
        return loadLanes<T>(frame + static_cast<int>(which) * kLanesOf<T>);
    }

    /// Drive, feedback, input high-pass, bias.
    template <bool kFeedback>
    LadderInput<T> drive(const FilterStretch& s, const float* frame) noexcept
    {
        const T cutoff = stream(frame, Stream::Cutoff);
        T x = stream(frame, Stream::Signal) * s.drive;
        if constexpr (kFeedback)
            x += 0.25f * th(fbState);
        inHp += (x - inHp) * s.coeffs.inHp;
        x -= inHp;
        x += s.asym * stream(frame, Stream::Amplitude) + 3.0f * s.asym;
        T g;
        for (int lane = 0; lane < kLanesOf<T>; ++lane)
            g[lane] = s.cutoffTable[static_cast<int>(cutoff[lane] * CutoffTables::kTopEntry)];
        return {x, cutoff, stream(frame, Stream::Resonance), g};
    }

    /// The ladder and its tap.
    T filter(const FilterStretch& s, const ResonancePath& path,
             const LadderInput<T>& input) noexcept
    {
        LadderStages<T> y;
        if constexpr (kIterated)
            y = ladder.tick(input, s.iteratedHp, s.mono);
        else
            y = ladder.tick(input, path);
        return y.y1 * s.tap.y1 + y.y2 * s.tap.y2 + y.y3 * s.tap.y3 + y.y4 * s.tap.y4;
    }

    /// Clipped before (iterated form only) and after the gain, which leaks a little.
    template <bool kFeedback> T amplify(const FilterStretch& s, const float* frame, T z) noexcept
    {
        const T amplitude = stream(frame, Stream::Amplitude);
        outLp += (z - outLp) * s.coeffs.outLp;
        z = (z - outLp) * s.tap.comp;
        if constexpr (kIterated)
            z = th(z) - 0.001f * amplitude;
        else
            z -= 0.02f * amplitude;
        z = th(amplitude * z * s.sat);

        amHp += (z - amHp) * s.coeffs.amHp;
        const T r = z - amHp;
        if constexpr (kFeedback)
            fbState = s.fbGain * r;
        return r;
    }
};

template <bool kFeedback, class T, class Ladder>
void renderAll(Channel<T, Ladder>& channel, const FilterStretch& s, const float* frames, int count,
               float* left, float* right) noexcept
{
    constexpr int kFrame = 4 * kLanesOf<T>;
    const ResonancePath path{s.linearisedHp1, s.linearisedHp2};
    const auto panLeft = loadLanes<Float4>(s.pan.left), panRight = loadLanes<Float4>(s.pan.right);
    const auto drive = [&](int i) {
        return channel.template drive<kFeedback>(s, frames + kFrame * i);
    };
    const auto put = [&](int i, T z) {
        const T r = channel.template amplify<kFeedback>(s, frames + kFrame * i, z);
        if (s.mono) {
            const float both = 2.0f * r[0];
            left[i] = right[i] = both < 1e-6f && both > -1e-6f ? 0.0f : both;
        } else {
            left[i] = laneSum(halvesAdded(r) * panLeft);
            right[i] = laneSum(halvesAdded(r) * panRight);
        }
    };
    if constexpr (kFeedback || Channel<T, Ladder>::kIterated) {
        for (int i = 0; i < count; ++i)
            put(i, channel.filter(s, path, drive(i)));
    } else if (count > 0) {
        // The ladder waits for itself. What stands beside it here, the drive of the next sample
        // and the amplifier of the last, waits for nothing and runs meanwhile.
        LadderInput<T> input = drive(0);
        T z{};
        for (int i = 0; i < count; ++i) {
            const T before = z;
            z = channel.filter(s, path, input);
            if (i + 1 < count)
                input = drive(i + 1);
            if (i > 0)
                put(i - 1, before);
        }
        put(count - 1, z);
    }
}

template <class T, class Ladder>
void render(const FilterStretch& s, FilterLanes& lanes, const float* frames, int count, float* left,
            float* right) noexcept
{
    Channel<T, Ladder> channel;
    channel.visit(lanes, [](float* word, T& state) { state = loadLanes<T>(word); });
    if constexpr (Channel<T, Ladder>::kIterated)
        channel.ladder.takeState();
    if (s.fbGain == 0.0f && all(channel.fbState == T{}))
        renderAll<false>(channel, s, frames, count, left, right);
    else
        renderAll<true>(channel, s, frames, count, left, right);
    // Only this state of the four lanes is flushed; the caller's flush-to-zero mode looks after
    // the rest.
    if constexpr (kLanesOf<T> == 4)
        channel.amHp =
            select((channel.amHp <= 1e-9f) & (channel.amHp >= -1e-9f), T{}, channel.amHp);
    channel.visit(lanes, [](float* word, const T& state) { storeLanes(word, state); });
}

} // namespace
} // namespace ZEPHRA_ISA

template <Isa isa>
void filterStretch(const FilterStretch& stretch, FilterLanes& lanes, const LaneBuffer& buffer,
                   int count, float* left, float* right) noexcept
{
    if (stretch.eight)
        render<Float8, LinearisedLadder<Float8>>(stretch, lanes, buffer.eight.data(), count, left,
                                                 right);
    else if (stretch.iterated)
        render<Float4, IteratedLadder<Float4>>(stretch, lanes, buffer.four.data(), count, left,
                                               right);
    else
        render<Float4, LinearisedLadder<Float4>>(stretch, lanes, buffer.four.data(), count, left,
                                                 right);
}

template void filterStretch<kIsa>(const FilterStretch&, FilterLanes&, const LaneBuffer&, int,
                                  float*, float*) noexcept;

} // namespace zephra
