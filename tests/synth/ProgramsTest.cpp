// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchLibrary.h"
#include "support/ChunkBytes.h"
#include "support/LibraryTree.h"
#include "support/PluginPeers.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using test::ChunkBytes;
using test::LibraryTree;
using test::Plugin;

/// A tree of patches that all can be loaded.
struct PatchTree : LibraryTree {
    PatchTree(std::initializer_list<const char*> names) : LibraryTree(names)
    {
        const auto bytes = ChunkBytes(6, 0).values({{volume, 0.25f}}).file();
        for (const std::string& name : this->names())
            put(name, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }
};

TEST(FirstPatch, IsTheShowpieceElseTheFirstWithoutCategoryElseTheFirst)
{
    const struct {
        PatchTree tree;
        const char* name;
        int program;
    } rows[] = {
        {{"A/a.fxp", "showcase/bass carpet qx.fxp", "Z/z.fxp"}, "bass carpet qx", 1},
        {{"A/Lead/a.fxp", "A/b.fxp", "A/c.fxp"}, "b", 1},
        {{"A/Lead/b.fxp", "A/Lead/a.fxp"}, "a", 0},
        {{}, "Init Patch", 0},
    };
    for (const auto& row : rows) {
        const Plugin plugin("Quillon Audio", row.tree.root());
        EXPECT_EQ(plugin.host.displayUpdates + plugin.host.refreshes, 0) << "no news";
        EXPECT_EQ(plugin.synth->programName(), row.name);
        EXPECT_EQ(plugin.synth->getProgram(), row.program) << row.name;
    }
}

TEST(NewPatch, LiesWhereTheBrowserPointsAndNeverOnAnotherOne)
{
    const PatchTree tree{"A/a.fxp", "A/Lead/b.fxp"};
    Plugin plugin("", tree.root());
    VstXSynth& synth = *plugin.synth;
    synth.setControlSilently(filter_cutoff, 0.125f);
    const auto store = [&](const char* name) {
        synth.library()->filter.bankRow = synth.library()->columns().bankRowNamed("A");
        return synth.storeNewPatch(name);
    };
    EXPECT_FALSE(store("A"));
    EXPECT_EQ(synth.messages.count(), 1);
    EXPECT_TRUE(store("Own"));
    EXPECT_EQ(synth.programName(), "Own");
    ASSERT_TRUE(synth.library()->findByPath(libraryPath(tree / "A/Own.fxp")));
    for (const auto& [name, cutoff] : {std::pair("A/a.fxp", 0.5f), {"A/Own.fxp", 0.125f}}) {
        synth.loadPatchFile(tree / name, PatchFileMode::LoadProgram, true);
        EXPECT_EQ(synth.getControlValue(filter_cutoff), cutoff) << name;
    }
}

TEST(Child, SoundsAtOnceAndIsStoredInABankOfItsOwn)
{
    const PatchTree tree{"A/a.fxp", "A/b.fxp"};
    Plugin plugin("", tree.root());
    VstXSynth& synth = *plugin.synth;
    GeneticsState nobody;
    synth.breed(nobody, 0xabc);
    EXPECT_EQ(synth.programName(), "a") << "without two parents nothing happens";

    plugin.editor->refreshes = plugin.host.refreshes = 0;
    synth.library()->buildView({});
    synth.library()->runGenetics(true, false, 0.5f,
                                 [&](GeneticsState& state) { synth.breed(state, 0xabc); });
    EXPECT_EQ(synth.currentPatchName(), "Genetics");
    EXPECT_EQ(synth.currentPatchPath, "") << "it stands for no file";
    EXPECT_EQ(plugin.host.refreshes, 1);
    EXPECT_EQ(plugin.editor->refreshes, 1);

    ASSERT_TRUE(synth.storeChild());
    EXPECT_TRUE(synth.programName().ends_with("-ABE")) << synth.programName();
    const PatchEntry* stored = synth.library()->findByPath(libraryPath(synth.currentPatchPath));
    ASSERT_TRUE(stored);
    EXPECT_EQ(synth.library()->bankNameOf(*stored), "Genetics");
    synth.initPatch();
    synth.loadPatchFile(synth.currentPatchPath, PatchFileMode::LoadProgram, true);
    EXPECT_EQ(synth.getControlValue(volume), 0.25f) << "of both parents";
    EXPECT_EQ(synth.parameters().getPreset(0)->infoText(), "a|b|abe");
}

TEST(FirstStart, BringsTheFactoryBanksOnce)
{
    const PatchTree factory{"Showcase/Bass Carpet QX.fxp", "Essentials/Bass/x.fxp"};
    const test::TempFolder home;
    VstXSynthOptions options;
    options.soundbankRoot = home / "deep/down/Soundbanks";
    options.factoryBanks = factory.root();
    EXPECT_EQ(VstXSynth(options).programName(), "Bass Carpet QX");
    EXPECT_TRUE(std::filesystem::is_directory(options.soundbankRoot / "User"));
    std::filesystem::remove_all(options.soundbankRoot / "Showcase");
    EXPECT_EQ(VstXSynth(options).programName(), "x") << "what is deleted does not come back";
}

TEST(ProgramChange, CountsThePatchesOfTheBankThatMidiHasSelected)
{
    // MIDI's banks: 0 Genetics, 1 User, 2 A, 3 B.
    const PatchTree tree{"A/a.fxp", "A/Lead/b.fxp", "A/All Patches/c.fxp", "A/d.fxp",
                         "B/e.fxp", "B/f.fxp",      "User/g.fxp"};
    Plugin plugin("", tree.root());
    ASSERT_EQ(plugin.synth->programName(), "a");
    const auto bank = [](int number) { return MidiEvent(0, 0xb0, 32, number); };
    const auto program = [](int number) { return MidiEvent(0, 0xc0, number, 0); };
    const struct {
        const char* what;
        std::vector<MidiEvent> events;
        const char* name;
    } rows[] = {
        {"the bank of the first patch", {program(1)}, "b"},
        {"folders out of sight do not count", {program(2)}, "d"},
        {"beyond the bank", {program(3)}, "d"},
        {"a bank alone plays nothing", {bank(3)}, "d"},
        {"it holds from then on", {program(0)}, "e"},
        {"beyond the list", {bank(4), program(1)}, "f"},
        {"the last one stands", {program(0), bank(1), program(0)}, "g"},
        {"a later bank is for later", {bank(3), program(0), bank(2)}, "e"},
        {"as here", {program(0)}, "a"},
        {"an empty bank", {bank(0), program(0)}, "a"},
    };
    for (const auto& row : rows) {
        const int updates = plugin.host.displayUpdates;
        for (const MidiEvent& event : row.events)
            plugin.send({event});
        EXPECT_EQ(plugin.host.displayUpdates, updates) << "nothing is loaded on the audio thread";
        plugin.synth->serviceRequests();
        EXPECT_EQ(plugin.synth->programName(), row.name) << row.what;
        plugin.synth->serviceRequests();
        EXPECT_EQ(plugin.synth->programName(), row.name) << "once";
    }
    Plugin alone; // without a library
    alone.send({bank(3), program(17)});
    alone.synth->serviceRequests();
    EXPECT_EQ(alone.synth->programName(), "Init Patch");
}

} // namespace
} // namespace zephra
