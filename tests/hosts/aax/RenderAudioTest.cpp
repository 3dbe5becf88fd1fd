// SPDX-License-Identifier: GPL-3.0-or-later
#include "aax/Zephra_Parameters.h"
#include "hosts/aax/AaxHost.h"
#include "realtime/RealtimeWatch.h"

#include <gmock/gmock.h>

namespace zephra::aax {
namespace {

using testing::Each;

/// An instance with its inside out.
struct OpenInstance : Zephra_Parameters, Track {
    explicit OpenInstance(StemFormat stems = AAX_eStemFormat_Stereo) : Track(stems)
    {
        EXPECT_EQ(Initialize(controller), AAX_SUCCESS);
    }
    using Track::controller;
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

TEST_F(AaxTest, TheTransportBecomesTimeInformation)
{
    OpenInstance instance;
    EXPECT_EQ(instance.tickValue, 960);
    EXPECT_EQ(instance.tempo, 120.0);
    instance.tickValue = 1;

    constexpr std::uint32_t kAlways = 1u << 9 | 1u << 10 | 1u << 15;
    constexpr struct {
        bool playing;
        double tempo;
        std::int64_t ticks;
        std::uint32_t flags;
        double ppqPos;
        int tickValue;
    } kRows[] = {
        {false, 98.5, 0, kAlways, 0.0, 1},
        {true, 98.5, 960000, kAlways | 3, 1.0, 960},
        {true, 130.0, 2400000, kAlways | 2, 2.5, 960},
        {false, 130.0, -480000, kAlways | 1, -0.5, 960},
    };
    for (const auto& row : kRows) {
        FakeTransport& clock = instance.transport.clock;
        clock.playing = row.playing;
        clock.beatsPerMinute = row.tempo;
        clock.ticks = row.ticks;
        instance.render(64);
        const TransportBlock& time = instance.transportBlock;
        EXPECT_EQ(time.flags, row.flags);
        EXPECT_EQ(time.tempo, row.tempo);
        EXPECT_EQ(time.ppqPos, row.ppqPos);
        EXPECT_EQ(time.sampleRate, 48000.0);
        EXPECT_EQ(instance.tickValue, row.tickValue);
        seen("render 1..4", row.playing ? "plays" : "stands", ": flags ", time.flags, ", quarter ",
             time.ppqPos, ", tempo ", time.tempo, ", rate ", time.sampleRate);
    }
}

TEST_F(AaxTest, RateAndBlockSizeComeWithTheBlock)
{
    OpenInstance instance;
    constexpr struct {
        double rate;
        int frames;
    } kRows[] = {{48000.0, 512}, {48000.0, 65}, {96000.0, 65}};
    for (const auto& row : kRows) {
        instance.controller.rate = row.rate;
        instance.render(row.frames);
        EXPECT_EQ(instance.synth->sampleRate(), row.rate);
        EXPECT_EQ(instance.synth->blockSize(), row.frames);
        seen("render 6, 7", "block ", instance.synth->blockSize(), ", rate ",
             instance.synth->sampleRate());
    }
}

TEST_F(AaxTest, ABlockAllocatesNothingAndOnAStereoTrackNorDoesAnotherBlockSize)
{
    const struct {
        StemFormat stems;
        std::vector<int> blocks;
    } kRows[] = {{AAX_eStemFormat_Stereo, {512, 512, 256, 1024, 1, 512}},
                 {AAX_eStemFormat_Mono, {512, 512, 512}}};
    for (const auto& row : kRows) {
        OpenInstance instance(row.stems);
        instance.render(512);
        for (int i = 0; i < 100; ++i)
            instance.midiEvent(i, i % 3 ? 0x90 : 0xb0, 40 + i % 40, i);
        Offences offences;
        for (const int frames : row.blocks) {
            instance.prepareBlock(frames);
            instance.transport.clock.playing = !instance.transport.clock.playing;
            const RealtimeWatch watch(offences);
            instance.RenderAudio(instance.info);
        }
        EXPECT_EQ(offences.count(), 0) << offences;
        seen("render, memory", row.blocks.size(), " blocks: ", offences.allocations,
             " allocations, ", offences.locks, " locks, ", offences.systemCalls, " system calls");
    }
    if (const char* reason = RealtimeWatch::blindness())
        GTEST_SKIP() << reason;
}

TEST_F(AaxTest, WithoutASynthTheInputPasses)
{
    OpenInstance instance;
    instance.synth.reset();
    EXPECT_EQ(instance.Initialize(instance.controller), AAX_SUCCESS);
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
    EXPECT_EQ(instance.SetChunk(kChunkId, &chunk, sizeof chunk), AAX_SUCCESS) << "the first";
    EXPECT_EQ(instance.SetChunk(kChunkId, &chunk, sizeof chunk), -20007);
    seen("no synth", "input added, or alone when bypassed; chunks: -20007");
}

} // namespace
} // namespace zephra::aax
