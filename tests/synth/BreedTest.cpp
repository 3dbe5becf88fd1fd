// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "library/LibraryFiles.h"
#include "support/PluginPeers.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

namespace zephra {
namespace {

using test::Plugin;

/// Two patches on disk that differ in every continuous control, with the effects on.
class Breed : public testing::Test {
protected:
    void SetUp() override
    {
        std::filesystem::create_directories(folder);
        for (const auto& [path, value] : {std::pair(lead, 0.25f), {bass, 0.75f}}) {
            VstXSynth writer;
            for (const int id : kStorageOrder)
                writer.setControlValue(id, value, false);
            writer.setControlValue(fx_active, 1.0f, false);
            ASSERT_FALSE(writer.savePatchFile(path));
            PatchEntry entry;
            entry.path = libraryPath(path);
            state.addParent(entry);
        }
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    /// The share of the continuous controls that have this value.
    double shareOf(float value) const
    {
        int controls = 0, equal = 0;
        for (const ControlInfo& control : kControls) {
            if (!control.isStored() || control.kind != ControlKind::Continuous ||
                control.defaultValue == value)
                continue;
            ++controls;
            equal += plugin.synth->getControlValue(control.id) == value;
        }
        return static_cast<double>(equal) / controls;
    }

    const std::string folder = testing::TempDir() + "breed-" + std::to_string(getpid()) + "/";
    const std::string lead = folder + "Lead.fxp", bass = folder + "Bass.fxp";
    Plugin plugin;
    GeneticsState state;
};

TEST_F(Breed, SoundsAtOnceUnderANameOfItsOwn)
{
    ASSERT_TRUE(plugin.synth->loadPatchFile(lead, PatchFileMode::LoadProgram, true));
    plugin.synth->setControlValue(fx_active, 0.0f, false);
    plugin.synth->parameters().setLocked(fx_active, true);
    plugin.host.displayUpdates = plugin.host.refreshes = plugin.editor->refreshes = 0;
    state.mix = 1.0f;
    plugin.synth->breed(state, 0xabc);

    EXPECT_NEAR(shareOf(0.75f), 0.5, 0.2);
    EXPECT_EQ(plugin.synth->programName(), "Genetics");
    EXPECT_EQ(plugin.synth->currentPatchPath, "") << "it stands for no file";
    EXPECT_EQ(plugin.synth->parameters().getPreset(0)->infoText(), "Lead|Bass|abe");
    EXPECT_EQ(state.seed, 0xabeu);
    EXPECT_EQ(plugin.host.displayUpdates, 1);
    EXPECT_EQ(plugin.host.refreshes, 1);
    EXPECT_EQ(plugin.editor->refreshes, 1);

    EXPECT_EQ(plugin.synth->getControlValue(fx_active), 1.0f) << "locked, but bred";
    plugin.synth->parameters().loadDefaultsUnlocked();
    EXPECT_EQ(plugin.synth->getControlValue(fx_active), 1.0f) << "the lock has moved along";
    plugin.run(64);
    EXPECT_TRUE(plugin.synth->engine().effectsRunning());
}

TEST_F(Breed, AParentThatIsGonePassesDefaultsOn)
{
    std::filesystem::remove(lead);
    state.mix = 1.0f;
    plugin.synth->breed(state, 0xabc);
    EXPECT_NEAR(shareOf(0.75f), 0.5, 0.2);
    EXPECT_EQ(shareOf(0.25f), 0.0);
    EXPECT_EQ(plugin.synth->parameters().getPreset(0)->infoText(), "Init Patch|Bass|abe");
}

TEST_F(Breed, OneParentChangesNothing)
{
    ASSERT_TRUE(plugin.synth->loadPatchFile(lead, PatchFileMode::LoadProgram, true));
    state.parentCount = 1;
    plugin.synth->breed(state, 0xabc);
    EXPECT_EQ(plugin.synth->programName(), "Lead");
    EXPECT_EQ(plugin.synth->currentPatchPath, lead);
    EXPECT_EQ(plugin.editor->refreshes, 1) << "that of the loading";
}

} // namespace
} // namespace zephra
