// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/FreshProcess.h"
#include "torture/Player.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <xmmintrin.h>

namespace zephra::torture {

namespace {

constexpr std::array kRates = {44100.0, 48000.0, 88200.0, 96000.0, 176400.0, 192000.0};
constexpr std::array kBlocks = {1, 2, 15, 63, 64, 65, 127, 512, 1000, 1024, 4096, 8192};

void everyRateAtEveryBlock(Bench& bench)
{
    for (const double rate : kRates) {
        for (const int block : kBlocks) {
            Player player(bench, rate, block);
            const int blocks = std::clamp(bench.rounds(2048, 48000) / block, 1, 200);
            float peak = 0.0f;
            player.play(block, {noteOn(0, 57), noteOn(block / 2, 64)});
            for (int i = 0; i < blocks; ++i) {
                player.play(block);
                peak = std::max(peak, player.peak());
            }
            require(block < 64 || peak > 1e-4f, "no sound at " + std::to_string(rate) +
                                                    " Hz in blocks of " + std::to_string(block));
        }
    }
}

/// Also longer than announced, empty, and less than that where hosts could say so.
void everyBlockAnotherLength(Bench& bench)
{
    Player player(bench, 48000.0, 64);
    for (int i = 0; i < bench.rounds(200, 3000); ++i) {
        const int frames = i % 3 ? bench.below(300) : bench.below(2) * bench.below(8193);
        player.play(frames, bench.anyEvents(bench.below(20), frames));
        if (bench.format.freedoms().unprepared)
            player.plugin().process(nullptr, nullptr, -i);
    }
    player.play(0, {noteOn(0, 60)});
    player.play(512);
    require(player.peak() > 0.0f, "no sound afterwards");
}

void rateAndBlockChangeBetweenBlocks(Bench& bench)
{
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    std::vector<double> rates(kRates.begin(), kRates.end());
    std::vector<int> blocks(kBlocks.begin(), kBlocks.end());
    if (bench.format.freedoms().unprepared) { // others tell them once, when they make an instance
        rates.insert(rates.end(), {0.0, -48000.0, kNaN, kInfinity, 1.0, 22050.0, 384000.0, 1e12});
        blocks.insert(blocks.end(), {0, -1, std::numeric_limits<int>::min()});
    }
    Player player(bench);
    for (int i = 0; i < bench.rounds(100, 1000); ++i) {
        const int block = blocks[static_cast<std::size_t>(bench.below(std::ssize(blocks)))];
        player.plugin().turn(false);
        player.plugin().prepare(rates[static_cast<std::size_t>(bench.below(std::ssize(rates)))],
                                block);
        player.plugin().turn(true);
        for (const int frames : {std::max(block, 1), 300})
            player.play(frames, bench.anyEvents(3, frames));
    }
}

void missingBuffers(Bench& bench)
{
    if (!bench.format.freedoms().missingBuffers)
        throw Skip("its hosts connect both outputs");
    Player player(bench);
    std::array<float, 512> side{};
    for (int i = 0; i < bench.rounds(20, 200); ++i) {
        const std::array events = {noteOn(0, 48 + i % 24)};
        player.plugin().queue(events);
        player.plugin().process(nullptr, nullptr, 512);
        player.plugin().process(side.data(), nullptr, 512);
        player.plugin().process(nullptr, side.data(), 512);
        player.plugin().process(side.data(), side.data(), 512);
        bench.blocks += 4;
    }
    require(std::ranges::any_of(side, [](float x) { return x != 0.0f; }), "no sound");
}

void unprepared(Bench& bench)
{
    if (!bench.format.freedoms().unprepared)
        throw Skip("its hosts cannot play before they tell rate and block");
    const auto instance = bench.format.open(); // not turned on, nothing asked
    std::array<float, 2048> left{}, right{};
    const std::array events = {noteOn(0, 60)};
    float peak = 0.0f;
    instance->queue(events);
    for (int i = 0; i < 10; ++i, ++bench.blocks) {
        instance->process(left.data(), right.data(), 2048);
        for (const float x : left)
            peak = std::max(peak, std::fabs(x));
    }
    require(peak > 1e-4f, "no sound");
}

void offAndOn(Bench& bench)
{
    Player player(bench);
    for (int i = 0; i < bench.rounds(50, 1000); ++i) {
        player.play(64, {noteOn(0, 36 + i % 60)});
        player.plugin().turn(false);
        if (i % 3)
            player.plugin().turn(i % 2 == 0);
        player.plugin().turn(true);
    }
}

/// One note of the first patch in blocks of this length, in a process of its own: engines of one
/// process draw different random numbers.
std::vector<float> noteInBlocksOf(Bench& bench, int block)
{
    return test::inFreshProcess([&bench, block] {
        Player player(bench, 48000.0, block);
        std::vector<float> sound;
        for (int at = 0; at < 24576; at += block) {
            const bool starts = at <= 1000 && 1000 < at + block;
            player.play(block, starts ? std::vector{noteOn(1000 - at, 57)} : std::vector<Event>{});
            sound.insert(sound.end(), player.left().begin(), player.left().end());
        }
        return sound;
    });
}

void anyBlockSoundsAlike(Bench& bench)
{
    const std::vector<float> reference = noteInBlocksOf(bench, 64);
    require(std::all_of(reference.begin(), reference.begin() + 1000,
                        [](float x) { return std::fabs(x) < kSilence; }),
            "sound before the note");
    require(std::any_of(reference.begin() + 1000, reference.end(),
                        [](float x) { return std::fabs(x) > 1e-3f; }),
            "no sound");
    for (const int block : {128, 512, 4096, 8192}) {
        require(noteInBlocksOf(bench, block) == reference,
                "blocks of " + std::to_string(block) + " sound other than blocks of 64");
        ++bench.others;
    }
    bench.unit = "lengths of blocks";
}

void fallsSilent(Bench& bench)
{
    Player player(bench);
    player.play(512, {noteOn(0, 60), noteOn(10, 64), noteOn(20, 67)});
    player.playFor(4096);
    player.play(512, {noteOff(0, 60), noteOff(0, 64), noteOff(0, 67)});
    // Release up to half a minute, and an effect that keeps what it has.
    for (int second = 0; second < 120 && player.peak() != 0.0f; ++second)
        player.playFor(48000);
    require(player.peak() == 0.0f, "it still sounds two minutes after the last key");
}

void leavesTheProcessorAsItWas(Bench& bench)
{
    Player player(bench);
    for (const unsigned mode : {0x1f80u, 0x9fc0u}) { // plain, and with denormals off
        _mm_setcsr(mode);
        player.play(512, {noteOn(0, 60)});
        require((_mm_getcsr() & ~0x3fu) == mode, "it changes how its host calculates");
    }
    _mm_setcsr(0x1f80u);
}

constexpr Check kChecks[] = {
    {"sound.rates", "every rate from 44.1 to 192 kHz plays in every block from 1 to 8192",
     everyRateAtEveryBlock},
    {"sound.lengths", "every block may have another length, also more than announced and none",
     everyBlockAnotherLength},
    {"sound.prepare", "rate and longest block may change between blocks, to senseless ones too",
     rateAndBlockChangeBetweenBlocks},
    {"sound.null", "outputs may be missing, one or both, or lie in one buffer", missingBuffers},
    {"sound.unprepared", "plays before it is told a rate or turned on", unprepared},
    {"sound.switch", "may be turned off and on at any time", offAndOn},
    {"sound.alike", "a note sounds the same in any block, from its sample on", anyBlockSoundsAlike},
    {"sound.silence", "falls wholly silent after the last key, without denormals", fallsSilent},
    {"sound.processor", "leaves the processor's modes as its host had them",
     leavesTheProcessorAsItWas},
};

} // namespace

std::span<const Check> soundChecks() { return kChecks; }

} // namespace zephra::torture
