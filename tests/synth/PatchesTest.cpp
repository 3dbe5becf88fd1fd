// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchChunk.h"
#include "library/PatchLibrary.h"
#include "library/ProgramFile.h"
#include "support/ChunkBytes.h"
#include "support/LibraryTree.h"
#include "support/PluginPeers.h"
#include "support/RandomPatch.h"
#include "support/TempFolder.h"
#include "synth/FileSelector.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using test::Bytes;
using test::ChunkBytes;
using test::peak;
using test::Plugin;

int set(VstXSynth& synth, const Bytes& chunk)
{
    return synth.setChunk(chunk.data(), static_cast<int>(chunk.size()), false);
}

Bytes get(VstXSynth& synth)
{
    void* data = nullptr;
    const int size = synth.getChunk(&data, false);
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    return {bytes, bytes + size};
}

class Patches : public testing::Test {
protected:
    bool load(const std::string& path, bool fromLibrary = true)
    {
        return synth.loadPatchFile(path, PatchFileMode::LoadProgram, fromLibrary);
    }

    test::TempFolder folder;
    Plugin plugin;
    VstXSynth& synth = *plugin.synth;
    const Bytes quiet = ChunkBytes(6, 7).name("Inside").values({{volume, 0.25f}}).file();
};

TEST_F(Patches, AChunkOfTheHostComesBackKeepsItsNameAndStandsForNoFile)
{
    ASSERT_TRUE(load(folder.put("Outside.fxp", quiet)));
    plugin.host.displayUpdates = plugin.editor->refreshes = plugin.host.refreshes = 0;
    const std::uint8_t byte = 0;
    EXPECT_EQ(synth.setChunk(nullptr, 1000, true), 1000);
    EXPECT_EQ(synth.setChunk(&byte, 0, true), 0);
    EXPECT_EQ(synth.setChunk(&byte, -1, true), -1);
    EXPECT_EQ(synth.getChunk(nullptr, true), 0);
    EXPECT_EQ(synth.currentPatchName(), "Outside") << "nothing happens without bytes";

    test::RandomPatch random(5);
    VstXSynth other;
    other.engineWord = random.fill(*other.parameters().getPreset(0));
    other.setProgramName("In the Song");
    const Bytes song = get(other);
    EXPECT_EQ(set(synth, song), static_cast<int>(song.size()));
    EXPECT_EQ(get(synth), song);
    EXPECT_EQ(plugin.host.displayUpdates, 1);
    EXPECT_EQ(plugin.host.refreshes, 1);
    EXPECT_EQ(plugin.editor->refreshes, 1);
    EXPECT_EQ(synth.currentPatchName(), "In the Song");
    EXPECT_EQ(synth.currentPatchPath, "");
    EXPECT_TRUE(synth.hostLoaded);
    EXPECT_EQ(set(synth, {1}), 1); // a header of nothing: all defaults
    EXPECT_EQ(synth.getControlValue(volume), 0.5f);
}

TEST_F(Patches, TheNextBlockAlreadyPlaysTheNewPatch)
{
    for (const float mode : {0.0f, 1.0f, 2.0f, 3.0f}) {
        synth.setControlSilently(polyphony, mode);
        synth.setControlSilently(fx_active, 1.0f);
        plugin.send({{0, 0x90, 60, 100}, {0, 0x90, 64, 100}});
        plugin.run(256);
        const float before = peak(Plugin::render(synth, 256).left);
        ASSERT_GT(before, 0.1f);

        set(synth, ChunkBytes(6).values({{polyphony, 2}, {volume, 1}}).bytes);
        // Voices and effects are cut. What the stages behind them hold still discharges, in a
        // fall without swing.
        EXPECT_LT(peak(Plugin::render(synth, 2048).left), 0.25f * before);
        EXPECT_LT(peak(Plugin::render(synth, 2048).left), 0.01f * before);

        plugin.send({{0, 0x90, 60, 100}, {0, 0x90, 64, 100}});
        const Plugin::Stereo played = Plugin::render(synth, 4096);
        EXPECT_GT(peak(played.left), 0.5f) << "the volume did not have to glide there";
        EXPECT_NEAR(peak(played.left), peak(played.right), 0.01f) << "Mono";
    }
}

TEST_F(Patches, AFileGivesThePatchItsNameAndASavedOneGetsIt)
{
    const std::string path = folder.put("A name that is longer than thirty-one bytes.fxp", quiet);
    for (const bool fromLibrary : {true, false}) { // else as if from the host, but named alike
        EXPECT_TRUE(load(path, fromLibrary));
        EXPECT_EQ(synth.programName(), "A name that is longer than thir");
        EXPECT_EQ(synth.currentPatchPath, fromLibrary ? path : "");
        EXPECT_EQ(synth.hostLoaded, !fromLibrary);
        EXPECT_EQ(synth.engineWord, 7u);
        EXPECT_EQ(synth.getControlValue(volume), 0.25f);
    }
    EXPECT_EQ(plugin.host.displayUpdates, 4) << "the sound, and once more the name";

    const std::string mine = (folder / "Mine.fxp").string();
    EXPECT_FALSE(synth.savePatchFile(mine));
    EXPECT_EQ(synth.programName(), "Mine");
    const Bytes state = get(synth);
    EXPECT_EQ(readProgramFile(mine).chunk, state);
    EXPECT_TRUE(synth.savePatchFile((folder / "no such" / "Other.fxp").string()));
    EXPECT_TRUE(synth.savePatchFile(folder.path().string())) << "a folder in its place";
    EXPECT_EQ(folder.count(), 2) << "nothing left aside";

    const int updates = plugin.host.displayUpdates;
    for (const auto& silent : {folder / "missing.fxp", folder.path()})
        EXPECT_FALSE(load(silent.string()));
    EXPECT_EQ(synth.messages.count(), 0);
    EXPECT_FALSE(load(folder.put("foreign.fxp", ChunkBytes(6).file("ZPHX"))));
    EXPECT_EQ(synth.messages.lastText(), "This is not a patch for The Zephra.");
    EXPECT_EQ(plugin.host.displayUpdates, updates);
    EXPECT_EQ(get(synth), state) << "what fails changes nothing";
    EXPECT_EQ(synth.currentPatchPath, mine);
}

TEST_F(Patches, InitPatchResetsLockedControlsToo)
{
    load(folder.put("x.fxp", quiet));
    synth.parameters().setLocked(volume, true);
    plugin.host.displayUpdates = plugin.editor->refreshes = plugin.host.refreshes = 0;
    synth.initPatch();
    EXPECT_TRUE(synth.parameters().isLocked(volume));
    EXPECT_EQ(plugin.host.displayUpdates, 1);
    EXPECT_EQ(plugin.host.refreshes, 1);
    EXPECT_EQ(plugin.editor->refreshes, 1);
    EXPECT_EQ(get(synth), get(*Plugin().synth)) << "as a fresh one";
}

/// A user who has made up their mind.
struct DecidedUser : FileSelector {
    std::optional<std::string> choose(const FileRequest&) override { return choice; }
    std::optional<std::string> choice;
};

TEST_F(Patches, TheFileSelectorLoadsAndSavesWhatTheUserChooses)
{
    DecidedUser user;
    VstXSynthOptions options;
    options.fileSelector = &user;
    VstXSynth asking(options);
    asking.selectPatchFile(PatchFileMode::LoadProgram); // the user gives up
    user.choice = folder.put("Deep.fxp", quiet);
    asking.selectPatchFile(PatchFileMode::LoadOld); // a kind of files without a reader
    EXPECT_EQ(asking.programName(), "Init Patch");
    asking.selectPatchFile(PatchFileMode::LoadProgram);
    EXPECT_EQ(asking.getControlValue(volume), 0.25f);
    for (const auto& [typed, written] : {std::pair{"v1.2", "v1.2.fxp"}, {"Loud.FXP", "Loud.FXP"}}) {
        user.choice = (folder / typed).string();
        asking.selectPatchFile(PatchFileMode::SaveProgram);
        EXPECT_EQ(readProgramFile(folder / written).fault, ProgramFile::Fault::None) << written;
    }
    user.choice = (folder / "no such" / "x").string();
    asking.selectPatchFile(PatchFileMode::SaveProgram);
    EXPECT_TRUE(asking.messages.lastText().starts_with("The patch could not be saved: "));
    synth.selectPatchFile(PatchFileMode::SaveProgram); // nobody to ask
}

/// A tree of patches that all can be loaded.
struct PatchTree : test::LibraryTree {
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
        for (const int program : {-1, 99})
            plugin.synth->setProgram(program);
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
        {"beyond the bank, and a bank alone", {program(3), bank(3)}, "d"},
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
    plugin.synth->setProgram(1); // by a host that does not see the list
    EXPECT_EQ(plugin.synth->programName(), "a");
    EXPECT_EQ(plugin.synth->getProgram(), 0);
    Plugin alone; // without a library
    alone.send({bank(3), program(17)});
    alone.synth->serviceRequests();
    EXPECT_EQ(alone.synth->programName(), "Init Patch");
}

} // namespace
} // namespace zephra
