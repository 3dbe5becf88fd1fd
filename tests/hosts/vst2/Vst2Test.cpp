// SPDX-License-Identifier: GPL-3.0-or-later
#include "hosts/support/Vst2Effect.h"
#include "support/ChunkBytes.h"
#include "support/FreshProcess.h"
#include "support/PluginPeers.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <thread>

namespace zephra {
namespace {

using test::ChunkBytes;
using test::TempFolder;
using test::Vst2Effect;

struct Event {
    int sample;
    std::array<std::uint8_t, 3> bytes;
};
using Events = std::initializer_list<Event>;

/// The built library, loaded as a host does, in a world without a user.
class Vst2Test : public testing::Test {
protected:
    void SetUp() override
    {
        ::setenv("ZEPHRA_DATA_ROOT", data.path().c_str(), 1);
        ::setenv("ZEPHRA_SETTINGS_DIR", settings.path().c_str(), 1);
        std::filesystem::create_directory(root());
    }

    std::filesystem::path root() const { return data / "Soundbanks"; }

    static void send(Vst2Effect& effect, Events list)
    {
        test::Vst2Events events(list);
        EXPECT_EQ(effect.call(effProcessEvents, 0, 0, events.get()), 1);
    }

    /// Left side of one block, rendered by any of the three ways in.
    template <class Sample, class Process>
    static std::vector<Sample> render(Vst2Effect& effect, Process process, int frames,
                                      Sample before = 0)
    {
        const auto size = static_cast<std::size_t>(frames);
        std::vector<Sample> left(size, before), right(size, before);
        Sample* outputs[] = {left.data(), right.data()};
        process(effect.operator->(), nullptr, outputs, frames);
        return left;
    }
    static std::vector<float> play(Vst2Effect& effect, int frames)
    {
        return render<float>(effect, effect->processReplacing, frames);
    }

    TempFolder data, settings;
    const test::Library library{ZEPHRA_VST2_LIBRARY};
};

TEST_F(Vst2Test, TellsHostsWhatItIs)
{
    Vst2Effect effect(library);
    EXPECT_EQ(effect->magic, kEffectMagic);
    EXPECT_EQ(effect->uniqueID, CCONST('Z', 'P', 'H', 'R'));
    EXPECT_EQ(effect->numInputs, 0);
    EXPECT_EQ(effect->numOutputs, 2);
    EXPECT_EQ(effect->numParams, 75);
    EXPECT_EQ(effect->numPrograms, 1);
    EXPECT_EQ(effect->initialDelay, 0);
    EXPECT_EQ(effect->flags, effFlagsIsSynth | effFlagsCanReplacing | effFlagsProgramChunks |
                                 effFlagsCanDoubleReplacing);
    EXPECT_EQ(effect.text(effGetEffectName), "The Zephra");
    EXPECT_EQ(effect.text(effGetProductString), "The Zephra");
    EXPECT_EQ(effect.text(effGetVendorString), "Quillon Audio");
    EXPECT_EQ(effect.call(effGetVstVersion), 2400);
    EXPECT_EQ(effect.call(effGetPlugCategory), kPlugCategSynth);
    EXPECT_EQ(effect.call(effGetVendorVersion), effect->version);
    EXPECT_GT(effect->version, 0);
    EXPECT_EQ(effect.call(effIdentify), CCONST('N', 'v', 'E', 'f'));

    const struct {
        const char* name;
        int answer;
    } abilities[] = {{"receiveVstEvents", 1},   {"receiveVstMidiEvent", 1},
                     {"receiveVstTimeInfo", 1}, {"sendVstMidiEvent", -1},
                     {"offline", -1},           {"", -1}};
    for (const auto& ability : abilities) {
        std::string name = ability.name;
        EXPECT_EQ(effect.call(effCanDo, 0, 0, name.data()), ability.answer) << name;
    }

    for (int index = 0; index < 3; ++index) {
        t_fstPinProperties pin{};
        EXPECT_EQ(effect.call(effGetOutputProperties, index, 0, &pin), index < 2) << index;
        EXPECT_EQ(pin.label, index < 2 ? "Vstx " + std::to_string(index + 1) : "");
        EXPECT_EQ(pin.flags, index < 2 ? 3 : 0);
    }
    constexpr int kNoOpcode = 4711;
    for (const int unknown : {kNoOpcode, -1, static_cast<int>(effEditOpen)})
        EXPECT_EQ(effect.call(unknown), 0) << unknown;
}

TEST_F(Vst2Test, ParametersHaveNamesValuesAndTexts)
{
    Vst2Effect effect(library);
    constexpr int kCutoff = 34, kDelayTime = 57;
    EXPECT_EQ(effect.text(effGetParamName, kCutoff), "Filter Cutoff");
    EXPECT_EQ(effect.text(effGetParamName, 75), "-/-");
    EXPECT_EQ(effect.text(effGetParamLabel, kCutoff), "");
    EXPECT_EQ(effect.call(effCanBeAutomated, 74), 1);
    EXPECT_EQ(effect.call(effCanBeAutomated, 75), 0);
    EXPECT_EQ(effect.call(effCanBeAutomated, -1), 0);

    effect->setParameter(effect.operator->(), kDelayTime, 0.5f);
    EXPECT_EQ(effect->getParameter(effect.operator->(), kDelayTime), 0.5f);
    EXPECT_EQ(effect.text(effGetParamDisplay, kDelayTime), "1/8");
    EXPECT_EQ(effect.text(effGetParamDisplay, 75), "-/-");
}

TEST_F(Vst2Test, OneProgramForAllHostsButTheMakersOwn)
{
    const auto bytes = ChunkBytes(6, 0).values({}).file();
    data.put("Soundbanks/A/First of all.fxp", bytes);
    data.put("Soundbanks/A/Second.fxp", bytes);
    struct {
        const char* vendor;
        std::vector<std::string> names;
    } rows[] = {{"A host", {"First of all"}}, {"Quillon Audio", {"First of all", "Second"}}};
    for (const auto& row : rows) {
        Vst2Effect effect(library, row.vendor);
        const int last = static_cast<int>(row.names.size()) - 1;
        for (int i = 0; i <= last; ++i)
            EXPECT_EQ(effect.text(effGetProgramNameIndexed, i),
                      row.names[static_cast<std::size_t>(i)]);
        EXPECT_EQ(effect.call(effGetProgramNameIndexed, last + 1), 0);
        EXPECT_EQ(effect.call(effGetProgramNameIndexed, -1), 0);

        effect.call(effSetProgram, 0, last);
        EXPECT_EQ(effect.call(effGetProgram), last);
        EXPECT_EQ(effect.text(effGetProgramName), row.names.back());

        std::string name = "A name that is much longer than hosts have room for";
        effect.call(effSetProgramName, 0, 0, name.data());
        EXPECT_EQ(effect.text(effGetProgramName), name.substr(0, 23));
    }
}

TEST_F(Vst2Test, AChunkOfBankOrProgramBringsEverythingBack)
{
    Vst2Effect saved(library), restored(library);
    for (int index = 0; index < 75; ++index)
        saved->setParameter(saved.operator->(), index, static_cast<float>(index) / 74.0f);
    std::string name = "Kept";
    saved.call(effSetProgramName, 0, 0, name.data());
    for (const int isPreset : {0, 1}) {
        void* bytes = nullptr;
        const t_fstPtrInt size = saved.call(effGetChunk, isPreset, 0, &bytes);
        ASSERT_GT(size, 0);
        restored.call(effSetChunk, isPreset, size, bytes);
        for (int index = 0; index < 75; ++index)
            EXPECT_EQ(restored->getParameter(restored.operator->(), index),
                      saved->getParameter(saved.operator->(), index))
                << index;
        EXPECT_EQ(restored.text(effGetProgramName), "Kept");
        EXPECT_EQ(restored.displayUpdates, isPreset + 1);
    }
    EXPECT_EQ(saved.call(effGetChunk), 0);
    EXPECT_EQ(restored.call(effSetChunk, 0, -5, &name), 0);
}

TEST_F(Vst2Test, TheThreeWaysToRenderGiveOneSoundInBlocksOfAnyLength)
{
    constexpr int kAnnounced = 256, kFrames = 3000;
    const auto note = [&](auto process) { // in a process of its own: engines of one differ
        return test::inFreshProcess([&] {
            Vst2Effect effect(library);
            effect.call(effSetBlockSize, 0, kAnnounced);
            effect.call(effMainsChanged, 0, 1);
            send(effect, {{100, {0x90, 60, 100}}});
            return process(effect);
        });
    };
    const auto replaced = note([](Vst2Effect& effect) { return play(effect, kFrames); });
    EXPECT_GT(test::peak(replaced), 1e-3f);
    EXPECT_EQ(replaced, note([](Vst2Effect& effect) {
                  const auto doubles =
                      render<double>(effect, effect->processDoubleReplacing, kFrames, 3.0);
                  return std::vector<float>(doubles.begin(), doubles.end());
              }));
    EXPECT_EQ(replaced, note([](Vst2Effect& effect) {
                  return render<float>(effect, effect->process, kFrames);
              }));
    const auto onTop = note(
        [](Vst2Effect& effect) { return render<float>(effect, effect->process, kFrames, 0.25f); });
    for (std::size_t i = 0; i < onTop.size(); ++i)
        ASSERT_EQ(onTop[i], 0.25f + replaced[i]) << i;
}

TEST_F(Vst2Test, RateAndBlockMayBeToldAtAnyTime)
{
    enum Told { Never, Early, Late };
    std::array<long, 3> start{}, crossings{}; // of zero, as many as the rate is low
    for (const Told told : {Never, Early, Late}) {
        Vst2Effect effect(library);
        for (const Told now : {Early, Late}) {
            if (told == now) {
                effect.call(effSetSampleRate, 0, 0, nullptr, 96000.0f);
                effect.call(effSetBlockSize, 0, 4096);
            }
            effect.call(effMainsChanged, 0, 1); // makes the instrument
        }
        send(effect, {{3000, {0x90, 60, 100}}});
        auto sound = play(effect, 4096);
        const auto isHeard = [](float x) { return std::abs(x) > 1e-6f; };
        start[told] = std::ranges::find_if(sound, isHeard) - sound.begin();
        sound = play(effect, 40000);
        for (std::size_t i = 1; i < sound.size(); ++i)
            crossings[told] += std::signbit(sound[i]) != std::signbit(sound[i - 1]);
    }
    EXPECT_LT(start[Never], 1100) << "the end of a block of 1024";
    for (const Told told : {Early, Late}) {
        EXPECT_GE(start[told], 3000);
        EXPECT_LT(crossings[told], 0.7 * crossings[Never]);
    }
}

TEST_F(Vst2Test, AnEmptyBlockLeavesItsEventsToTheNext)
{
    Vst2Effect effect(library);
    effect.call(effMainsChanged, 0, 1);
    for (const int way : {0, 1, 2}) {
        const auto empty = [&] {
            if (way == 0)
                play(effect, 0);
            else if (way == 1)
                render<float>(effect, effect->process, 0);
            else
                render<double>(effect, effect->processDoubleReplacing, 0);
        };
        send(effect, {{0, {0x90, 60, 100}}});
        empty();
        EXPECT_GT(test::peak(play(effect, 2000)), 1e-3f) << way;
        send(effect, {{0, {0x80, 60, 0}}});
        empty();
        play(effect, 100000);
        EXPECT_LT(test::peak(play(effect, 2000)), 1e-6f) << "a note hangs";
    }
}

TEST_F(Vst2Test, TheDelayFollowsTheTempoOfTheHost)
{
    constexpr int kEffectsActive = 56, kDelayMix = 60;
    const auto echoes = [&](double tempo) {
        return test::inFreshProcess([&] {
            Vst2Effect effect(library);
            effect.call(effMainsChanged, 0, 1);
            effect.tempo = tempo;
            effect->setParameter(effect.operator->(), kEffectsActive, 1.0f);
            effect->setParameter(effect.operator->(), kDelayMix, 0.5f);
            send(effect, {{0, {0x90, 60, 100}}});
            return play(effect, 40000);
        });
    };
    const auto unknown = echoes(0.0);
    EXPECT_EQ(echoes(120.0), unknown);
    EXPECT_EQ(echoes(-100.0), unknown);
    EXPECT_NE(echoes(100.0), unknown);
}

TEST_F(Vst2Test, MidiProgramsAreLoadedAsideAndToldWhereTheHostCalls)
{
    const auto bytes = ChunkBytes(6, 0).values({}).file();
    for (const char* name : {"One", "Two", "Three"})
        data.put(std::string("Soundbanks/A/") + name + ".fxp", bytes);
    Vst2Effect effect(library);
    effect.call(effMainsChanged, 0, 1);
    EXPECT_TRUE(effect.wantsIdle);
    EXPECT_EQ(effect.text(effGetProgramName), "One");

    const int told = effect.displayUpdates;
    send(effect, {{0, {0xc0, 2, 0}}}); // in the order of names
    while (effect.text(effGetProgramName) == "One")
        std::this_thread::yield(); // for the timer of the plug-in
    EXPECT_EQ(effect.text(effGetProgramName), "Two");
    EXPECT_GT(effect.displayUpdates, told);
    EXPECT_EQ(effect.displayThread, std::this_thread::get_id());

    for (const int idle : {static_cast<int>(effEditIdle), static_cast<int>(vst2::kEffIdle)}) {
        const bool first = idle == effEditIdle;
        send(effect, {{0, {0xc0, static_cast<std::uint8_t>(first ? 1 : 0), 0}}});
        EXPECT_EQ(effect.call(idle), 1);
        EXPECT_EQ(effect.text(effGetProgramName), first ? "Three" : "One");
    }
}

TEST_F(Vst2Test, EventsOfOtherKindsAndNoneAreLeftOut)
{
    Vst2Effect effect(library);
    effect.call(effMainsChanged, 0, 1);
    test::Vst2Events list(std::array{Event{0, {0x90, 60, 100}}, Event{0, {0x90, 64, 100}}});
    list.get()->events[0] = nullptr;
    list.get()->events[1]->type = kVstSysExType;
    EXPECT_EQ(effect.call(effProcessEvents, 0, 0, list.get()), 1);
    EXPECT_EQ(effect.call(effProcessEvents), 0);
    EXPECT_LT(test::peak(play(effect, 2000)), 1e-6f);
}

} // namespace
} // namespace zephra
