// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "hosts/support/Home.h"
#include "hosts/support/Vst2Effect.h"
#include "support/ChunkBytes.h"
#include "support/FreshProcess.h"
#include "support/PluginPeers.h"
#include "torture/PluginFormat.h"

#include <array>
#include <thread>

namespace zephra {
namespace {

using test::Vst2Effect;
using torture::Event;

/// What only VST2 has; all else is proved by the torture.
class Vst2Test : public test::HomeTest {
protected:
    static void send(Vst2Effect& effect, std::initializer_list<Event> list)
    {
        test::Vst2Events events(list);
        EXPECT_EQ(effect.call(effProcessEvents, 0, 0, events.get()), 1);
    }
    /// Left side of one block, rendered by any of the three ways in.
    template <class Sample, class Process>
    static std::vector<float> render(Vst2Effect& effect, Process process, int frames,
                                     Sample before = 0)
    {
        std::vector<Sample> left(static_cast<std::size_t>(frames), before), right = left;
        Sample* outputs[] = {left.data(), right.data()};
        process(effect.operator->(), nullptr, outputs, frames);
        return {left.begin(), left.end()};
    }
    static std::vector<float> play(Vst2Effect& effect, int frames)
    {
        return render<float>(effect, effect->processReplacing, frames);
    }
    void putPatches(std::initializer_list<const char*> names) const
    {
        for (const std::string name : names)
            home.put("data/Soundbanks/A/" + name + ".fxp",
                     test::ChunkBytes(6, 0).values({}).file());
    }

    const test::Library library{ZEPHRA_VST2_LIBRARY};
};

TEST_F(Vst2Test, TellsHostsWhatItIs)
{
    Vst2Effect effect(library);
    EXPECT_EQ(effect->magic, kEffectMagic);
    EXPECT_EQ(effect->uniqueID, CCONST('Z', 'P', 'H', 'R'));
    EXPECT_EQ(effect->initialDelay, 0);
    EXPECT_EQ(effect->flags, effFlagsIsSynth | effFlagsCanReplacing | effFlagsProgramChunks |
                                 effFlagsCanDoubleReplacing);
    EXPECT_EQ(
        (std::array{effect->numInputs, effect->numOutputs, effect->numParams, effect->numPrograms}),
        (std::array{0, 2, 75, 1}));
    for (const int name : {effGetEffectName, effGetProductString})
        EXPECT_EQ(effect.text(name), "The Zephra");
    EXPECT_EQ(effect.text(effGetVendorString), "Quillon Audio");
    constexpr int kNoOpcode = 4711;
    const std::pair<int, t_fstPtrInt> answers[] = {{effGetVstVersion, 2400},
                                                   {effGetPlugCategory, kPlugCategSynth},
                                                   {effGetVendorVersion, effect->version},
                                                   {effIdentify, CCONST('N', 'v', 'E', 'f')},
                                                   {effEditOpen, 0},
                                                   {effGetChunk, 0},
                                                   {kNoOpcode, 0},
                                                   {-1, 0}};
    for (const auto& [opcode, answer] : answers)
        EXPECT_EQ(effect.call(opcode), answer) << opcode;
    EXPECT_GT(effect->version, 0);
    for (const auto& [ability, answer] :
         {std::pair<std::string, int>{"receiveVstMidiEvent", 1}, {"offline", -1}}) {
        std::string name = ability;
        EXPECT_EQ(effect.call(effCanDo, 0, 0, name.data()), answer) << name;
    }
    for (int index = 0; index < 3; ++index) {
        t_fstPinProperties pin{};
        EXPECT_EQ(effect.call(effGetOutputProperties, index, 0, &pin), index < 2) << index;
        EXPECT_EQ(pin.label, index < 2 ? "Vstx " + std::to_string(index + 1) : "");
        EXPECT_EQ(pin.flags, index < 2 ? 3 : 0);
    }
}

TEST_F(Vst2Test, ParametersHaveNamesTextsAndSteps)
{
    Vst2Effect effect(library);
    for (int index = -1; index <= kNumHostParameters; ++index) {
        const bool exists = index >= 0 && index < kNumHostParameters;
        const ControlInfo* const control =
            exists ? findControl(kHostParameters[static_cast<std::size_t>(index)].id) : nullptr;
        EXPECT_EQ(effect.text(effGetParamName, index), exists ? control->hostName : "-/-");
        EXPECT_EQ(effect.text(effGetParamLabel, index), "");
        EXPECT_EQ(effect.call(effCanBeAutomated, index), exists);
        vst2::ParameterProperties told{};
        const bool isStepped = exists && control->kind != ControlKind::Continuous;
        EXPECT_EQ(effect.call(vst2::kEffGetParameterProperties, index, 0, &told), isStepped);
        EXPECT_EQ(told.smallStep, isStepped ? 1.0f / control->scale : 0.0f) << index;
        EXPECT_STREQ(told.name, isStepped ? control->hostName : "");
        const bool isSwitch = isStepped && control->kind == ControlKind::Switch;
        EXPECT_EQ(told.flags, isSwitch ? 1 : isStepped ? 4 : 0) << index;
    }
    constexpr int kDelayTime = 57;
    effect->setParameter(effect.operator->(), kDelayTime, 0.5f);
    EXPECT_EQ(effect.text(effGetParamDisplay, kDelayTime), "1/8");
    EXPECT_EQ(effect.text(effGetParamDisplay, kNumHostParameters), "-/-");
}

TEST_F(Vst2Test, OneProgramForAllHostsButTheMakersOwn)
{
    putPatches({"First of all", "Second"});
    const std::pair<const char*, std::vector<std::string>> rows[] = {
        {"A host", {"First of all"}}, {"Quillon Audio", {"First of all", "Second"}}};
    for (const auto& [vendor, names] : rows) {
        Vst2Effect effect(library, vendor);
        const int last = static_cast<int>(names.size()) - 1;
        for (int i = 0; i <= last; ++i)
            EXPECT_EQ(effect.text(effGetProgramNameIndexed, i), names[static_cast<std::size_t>(i)]);
        EXPECT_EQ(effect.call(effGetProgramNameIndexed, last + 1), 0);
        effect.call(effSetProgram, 0, last);
        EXPECT_EQ(effect.call(effGetProgram), last);
        EXPECT_EQ(effect.text(effGetProgramName), names.back());
        std::string name = "A name that is much longer than hosts have room for";
        effect.call(effSetProgramName, 0, 0, name.data());
        EXPECT_EQ(effect.text(effGetProgramName), name.substr(0, 23));
    }
}

TEST_F(Vst2Test, AChunkOfBankOrProgramBringsTheNameBackAndTellsTheHost)
{
    Vst2Effect saved(library), restored(library);
    for (const int isPreset : {0, 1}) {
        std::string name = isPreset ? "Program" : "Bank";
        saved.call(effSetProgramName, 0, 0, name.data());
        void* bytes = nullptr;
        const t_fstPtrInt size = saved.call(effGetChunk, isPreset, 0, &bytes);
        restored.call(effSetChunk, isPreset, size, bytes);
        EXPECT_EQ(restored.text(effGetProgramName), name);
        EXPECT_EQ(restored.displayUpdates, isPreset + 1);
        EXPECT_EQ(restored.call(effSetChunk, isPreset, -5, bytes), 0);
    }
}

TEST_F(Vst2Test, TheThreeWaysToRenderGiveOneSoundInBlocksLongerThanAnnounced)
{
    const auto note = [&](auto process) { // in a process of its own: engines of one differ
        return test::inFreshProcess([&] {
            Vst2Effect effect(library);
            effect.call(effSetBlockSize, 0, 256);
            effect.call(effMainsChanged, 0, 1);
            send(effect, {{100, {0x90, 60, 100}}});
            return process(effect);
        });
    };
    const auto replaced = note([](Vst2Effect& effect) { return play(effect, 3000); });
    EXPECT_GT(test::peak(replaced), 1e-3f);
    EXPECT_EQ(replaced, note([](Vst2Effect& effect) {
                  return render<double>(effect, effect->processDoubleReplacing, 3000, 3.0);
              }));
    const auto onTop = note(
        [](Vst2Effect& effect) { return render<float>(effect, effect->process, 3000, 0.25f); });
    for (std::size_t i = 0; i < onTop.size(); ++i)
        ASSERT_EQ(onTop[i], 0.25f + replaced[i]) << i;
}

TEST_F(Vst2Test, RateAndBlockMayBeToldAtAnyTimeOrNever)
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
            send(effect, {}); // makes the instrument, though it has not been turned on
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

TEST_F(Vst2Test, AnEmptyBlockLeavesItsEventsToTheNextAndForeignEventsAreLeftOut)
{
    Vst2Effect effect(library);
    test::Vst2Events list(std::array{Event{0, {0x90, 60, 100}}, Event{0, {0x90, 64, 100}}});
    list.get()->events[0] = nullptr;
    list.get()->events[1]->type = kVstSysExType;
    EXPECT_EQ(effect.call(effProcessEvents, 0, 0, list.get()), 1);
    EXPECT_EQ(effect.call(effProcessEvents), 0);
    EXPECT_LT(test::peak(play(effect, 2000)), 1e-6f);
    for (const int way : {0, 1, 2}) {
        for (const std::uint8_t status : {0x90, 0x80}) {
            send(effect, {{0, {status, 60, 100}}});
            way == 0   ? play(effect, 0)
            : way == 1 ? render<float>(effect, effect->process, 0)
                       : render<double>(effect, effect->processDoubleReplacing, 0);
            play(effect, status == 0x90 ? 0 : 100000);
            EXPECT_EQ(test::peak(play(effect, 2000)) > 1e-4f, status == 0x90) << way;
        }
    }
}

TEST_F(Vst2Test, MidiProgramsAreLoadedAsideAndToldWhereTheHostCalls)
{
    putPatches({"One", "Two", "Three"});
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

    for (const auto& [idle, program, name] :
         {std::tuple{static_cast<int>(effEditIdle), std::uint8_t{1}, "Three"},
          {static_cast<int>(vst2::kEffIdle), std::uint8_t{0}, "One"}}) {
        send(effect, {{0, {0xc0, program, 0}}});
        EXPECT_EQ(effect.call(idle), 1);
        EXPECT_EQ(effect.text(effGetProgramName), name);
    }
}

} // namespace
} // namespace zephra
