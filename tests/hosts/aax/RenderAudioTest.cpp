// SPDX-License-Identifier: GPL-3.0-or-later
#include "aax/Zephra_Parameters.h"
#include "hosts/support/AaxHost.h"
#include "hosts/support/Home.h"
#include "realtime/RealtimeWatch.h"

#include <gmock/gmock.h>

namespace zephra::aax {
namespace {

using testing::Each;

/// An instance with its inside out.
struct OpenInstance : Zephra_Parameters, Track {
    explicit OpenInstance(StemFormat trackStems = AAX_eStemFormat_Stereo) : Track(trackStems)
    {
        EXPECT_EQ(Initialize(*this), AAX_SUCCESS);
    }
    using Zephra_Parameters::RenderAudio;
    using Zephra_Parameters::synth;
    using Zephra_Parameters::tempo;
    using Zephra_Parameters::tickValue;
    using Zephra_Parameters::transportBlock;

    void render(int blockFrames)
    {
        prepareBlock(blockFrames);
        RenderAudio(info);
    }
};

class AaxRenderAudio : public test::HomeTest {};

TEST_F(AaxRenderAudio, RateLengthAndTransportComeWithTheBlock)
{
    OpenInstance instance;
    EXPECT_EQ(instance.tempo, 120.0);
    EXPECT_EQ(instance.tickValue, 960);
    instance.tickValue = 1;

    constexpr std::uint32_t kAlways = 1u << 9 | 1u << 10 | 1u << 15;
    constexpr struct {
        double rate;
        int frames, blockSize;
        bool playing;
        double tempo;
        std::int64_t ticks;
        std::uint32_t flags;
        double ppqPos;
        int tickValue;
    } kRows[] = {
        {48000.0, 512, 512, false, 98.5, 0, kAlways, 0.0, 1},
        {48000.0, 65, 65, true, 98.5, 960000, kAlways | 3, 1.0, 960},
        {48000.0, 0, 65, true, 130.0, 2400000, kAlways | 2, 2.5, 960},
        {96000.0, 65, 65, false, 130.0, -480000, kAlways | 1, -0.5, 960},
    };
    for (const auto& row : kRows) {
        instance.rate = row.rate;
        instance.transport.playing = row.playing;
        instance.transport.beatsPerMinute = row.tempo;
        instance.transport.ticks = row.ticks;
        instance.render(row.frames);
        EXPECT_EQ(instance.synth->sampleRate(), row.rate);
        EXPECT_EQ(instance.synth->blockSize(), row.blockSize);
        const TransportBlock& time = instance.transportBlock;
        EXPECT_EQ(time.flags, row.flags);
        EXPECT_EQ(time.tempo, row.tempo);
        EXPECT_EQ(time.ppqPos, row.ppqPos);
        EXPECT_EQ(time.sampleRate, row.rate);
        EXPECT_EQ(instance.tickValue, row.tickValue);
    }
}

TEST_F(AaxRenderAudio, AMonoBlockAllocatesNothingUnlessItsLengthChanges)
{
    if (const char* reason = RealtimeWatch::blindness())
        GTEST_SKIP() << reason;
    OpenInstance instance(AAX_eStemFormat_Mono);
    instance.render(512);
    Offences offences;
    for (const int frames : {512, 0, 512}) {
        instance.midiEvent(0, 0x90, 40, 100);
        instance.prepareBlock(frames);
        const RealtimeWatch watch(offences);
        instance.RenderAudio(instance.info);
    }
    EXPECT_EQ(offences.count(), 0) << offences;
}

TEST_F(AaxRenderAudio, WithoutASynthTheInputPasses)
{
    OpenInstance instance;
    instance.synth.reset();
    EXPECT_EQ(instance.Initialize(instance), AAX_SUCCESS);
    EXPECT_EQ(instance.parameterCount(), 1) << "the bypass";
    std::ranges::fill(instance.inputs[1], 0.5f);
    instance.render(64);
    EXPECT_THAT(instance.sound(1), Each(Track::kOld + 0.5f));
    EXPECT_EQ(instance.UpdateParameterNormalizedValue("MasterBypassID", 1.0, 0), AAX_SUCCESS);
    instance.render(64);
    EXPECT_THAT(instance.sound(1), Each(0.5f));
    EXPECT_EQ(instance.TimerWakeup(), AAX_SUCCESS);

    std::uint32_t size = 0;
    Chunk chunk{};
    EXPECT_EQ(instance.GetChunkSize(kChunkId, &size), -20007);
    EXPECT_EQ(instance.GetChunk(kChunkId, &chunk, sizeof chunk), -20007);
    for (const AAX_Result answer : {0, -20007}) // the first is dropped
        EXPECT_EQ(instance.SetChunk(kChunkId, &chunk, sizeof chunk), answer);
}

} // namespace
} // namespace zephra::aax
