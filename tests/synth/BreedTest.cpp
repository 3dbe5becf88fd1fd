// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "library/LibraryFiles.h"
#include "support/ChunkBytes.h"
#include "support/PluginPeers.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using test::ChunkBytes;

/// Two patches on disk that differ in every continuous control, with the effects on.
struct Breed : testing::Test {
    std::string parent(const char* name, float value)
    {
        ChunkBytes::List values = {{fx_active, 1.0f}};
        for (const ControlInfo& control : kControls)
            if (control.isStored() && control.kind == ControlKind::Continuous)
                values.emplace_back(control.id, value);
        const std::string path = folder.put(name, ChunkBytes(6).values(values).file());
        PatchEntry entry;
        entry.path = libraryPath(path);
        state.addParent(entry);
        return path;
    }
    /// The share of the continuous controls that have this value.
    double shareOf(float value) const
    {
        int controls = 0, equal = 0;
        for (const ControlInfo& control : kControls) {
            if (!control.isStored() || control.kind != ControlKind::Continuous)
                continue;
            ++controls;
            equal += synth.getControlValue(control.id) == value;
        }
        return static_cast<double>(equal) / controls;
    }

    test::TempFolder folder;
    test::Plugin plugin;
    VstXSynth& synth = *plugin.synth;
    GeneticsState state;
};

TEST_F(Breed, SoundsAtOnceUnderANameOfItsOwn)
{
    const std::string lead = parent("Lead.fxp", 0.26f);
    ASSERT_TRUE(synth.loadPatchFile(lead, PatchFileMode::LoadProgram, true));
    plugin.editor->refreshes = plugin.host.refreshes = 0;
    state.mix = 1.0f;
    synth.breed(state, 0xabc);
    EXPECT_EQ(synth.currentPatchPath, lead) << "one parent changes nothing";
    EXPECT_EQ(plugin.editor->refreshes, 0);

    parent("Bass.fxp", 0.74f);
    synth.setControlValue(fx_active, 0.0f, false);
    synth.parameters().setLocked(fx_active, true);
    synth.breed(state, 0xabc);
    EXPECT_NEAR(shareOf(0.74f), 0.5, 0.2);
    EXPECT_NEAR(shareOf(0.26f), 0.5, 0.2);
    EXPECT_EQ(synth.programName(), "Genetics");
    EXPECT_EQ(synth.currentPatchPath, "") << "it stands for no file";
    EXPECT_EQ(synth.parameters().getPreset(0)->infoText(), "Lead|Bass|abe");
    EXPECT_EQ(plugin.host.refreshes, 1);
    EXPECT_EQ(plugin.editor->refreshes, 1);

    synth.parameters().loadDefaultsUnlocked();
    EXPECT_EQ(synth.getControlValue(fx_active), 1.0f) << "locked, but bred, with its lock";
    plugin.run(64);
    EXPECT_TRUE(synth.engine().effectsRunning());

    std::filesystem::remove(folder / "Bass.fxp");
    synth.breed(state, 0xabc);
    EXPECT_EQ(shareOf(0.74f), 0.0);
    EXPECT_EQ(synth.parameters().getPreset(0)->infoText(), "Lead|Init Patch|abe");
}

} // namespace
} // namespace zephra
