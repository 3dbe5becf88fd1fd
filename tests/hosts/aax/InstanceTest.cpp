// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "controls/PluginParameters.h"
#include "hosts/support/AaxHost.h"
#include "hosts/support/Home.h"
#include "library/PatchChunk.h"
#include "library/ProgramFile.h"
#include "support/FreshProcess.h"
#include "support/PluginPeers.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <span>

namespace zephra::aax {
namespace {

using test::peak;
using testing::Each;

/// Below this a voice that plays no note is not heard.
constexpr float kSilence = 1e-6f;

/// What only AAX has; all else is proved by the torture.
class AaxInstance : public test::HomeTest {
protected:
    const LoadedLibrary library;
};

float valueIn(const std::vector<std::uint8_t>& block, int id)
{
    PluginParameters parameters;
    readChunk(std::span(block).subspan(sizeof(Chunk)), parameters);
    return parameters.getValue(id);
}

TEST_F(AaxInstance, PublishesTheBypassAndTheHostParameters)
{
    Instance track(library);
    ASSERT_EQ(track.model->parameterCount(), 1 + kNumHostParameters);
    EXPECT_EQ(track.model->parameter(-1), nullptr);
    EXPECT_EQ(track.model->parameter(76), nullptr);

    const AAX_IParameter& bypass = *track.model->parameter(0);
    EXPECT_STREQ(bypass.identifier(), "MasterBypassID");
    EXPECT_STREQ(bypass.name(), "Master Bypass");
    EXPECT_EQ(bypass.text(0.0) + " " + bypass.text(1.0), "bypass on");
    EXPECT_EQ(bypass.numberOfSteps(), 2);
    EXPECT_EQ(bypass.defaultNormalizedValue(), 0.0);
    EXPECT_FALSE(bypass.GetValueAsBool());
    for (int i = 0; i < kNumHostParameters; ++i) {
        const ControlInfo& control = *findControl(kHostParameters[static_cast<std::size_t>(i)].id);
        const AAX_IParameter& parameter = *track.model->parameter(i + 1);
        EXPECT_EQ(parameter.identifier(), "pn_" + std::to_string(i));
        EXPECT_STREQ(parameter.name(), control.hostName);
        EXPECT_EQ(parameter.defaultNormalizedValue(), control.defaultValue / control.scale);
        EXPECT_EQ(parameter.normalizedValue(), control.defaultValue / control.scale);
        EXPECT_TRUE(parameter.isAutomatable());
    }
    EXPECT_EQ(track.model->parameter(35)->text(0.5), "841 Hz");

    EXPECT_EQ(track.set("pn_34", 0.25), AAX_SUCCESS);
    EXPECT_EQ(track.set("MasterBypassID", 1.0), AAX_SUCCESS);
    EXPECT_EQ(track.changes(), 2);
    const auto block = track.chunk();
    EXPECT_EQ(valueIn(block, filter_cutoff), 0.25f);
    for (const char* id : {"pn_75", "pn_", "pn_034", ""})
        EXPECT_EQ(track.set(id, 0.5), -20002) << id;
    EXPECT_EQ(track.model->UpdateParameterNormalizedValue(nullptr, 0.5, 0), -20002);
    EXPECT_EQ(track.set("pn_34", std::nan("")), -20002);
    EXPECT_EQ(track.changes(), 2);
    EXPECT_EQ(track.chunk(), block);
    track.set("pn_34", 7.0);
    EXPECT_EQ(track.value(34), 1.0);
}

TEST_F(AaxInstance, AMonoTrackHearsTheMiddle)
{
    const auto play = [&](StemFormat stems) {
        return test::inFreshProcess([&] { // engines of one process differ
            Instance track(library, stems);
            track.midiEvent(0, 0x90, 45, 100);
            std::vector<float> sound;
            for (const int frames : {0, 512, 512, 2000, 64}) {
                track.render(frames);
                for (const int channel : {0, 1}) {
                    const auto side = track.sound(channel);
                    sound.insert(sound.end(), side.begin(), side.end());
                }
            }
            return sound;
        });
    };
    const auto mono = play(AAX_eStemFormat_Mono), stereo = play(AAX_eStemFormat_Stereo);
    float widest = 0.0f;
    for (std::size_t start = 0; const std::size_t frames : {512u, 512u, 2000u, 64u}) {
        for (std::size_t i = start; i < start + frames; ++i) {
            ASSERT_EQ(mono[i], (stereo[i] + stereo[i + frames]) * 0.5f) << "at " << i;
            widest = std::max(widest, std::abs(stereo[i] - stereo[i + frames]));
        }
        start += 2 * frames;
    }
    EXPECT_GT(widest, 0.01f) << "the sides must differ for this to mean anything";
}

TEST_F(AaxInstance, SoundOnTheInputIsAddedAndAloneWhenBypassed)
{
    for (const StemFormat stems : {AAX_eStemFormat_Mono, AAX_eStemFormat_Stereo}) {
        Instance track(library, stems);
        const int last = stems == AAX_eStemFormat_Mono ? 0 : 1;
        for (auto& input : track.inputs)
            std::ranges::fill(input, 0.125f);
        track.render(256);
        EXPECT_THAT(track.sound(last), Each(testing::FloatNear(0.125f, kSilence)));

        // A note that starts while bypassed is heard when the bypass ends.
        track.set("MasterBypassID", 1.0);
        track.midiEvent(0, 0x90, 60, 127);
        for (int block = 0; block < 10; ++block) {
            track.render(256);
            EXPECT_THAT(track.sound(0), Each(0.125f));
            EXPECT_THAT(track.sound(last), Each(0.125f));
        }
        track.set("MasterBypassID", 0.0);
        track.render(256);
        EXPECT_GT(peak(track.sound(last)), 0.15f);
    }
}

TEST_F(AaxInstance, MidiOfTheTrackIsTakenAndAnOverlongBlockIsDroppedWhole)
{
    for (const int packets : {1, 4095, 4096}) {
        Instance track(library);
        for (int i = 1; i < packets; ++i)
            track.midiEvent(0, 0xb0, 2, 64); // breath
        track.midiEvent(200, 0x90, 60, 127);
        track.global.waiting.push_back({0, {0x90, 72, 127, 0}});
        track.render(512);
        const auto sound = track.sound(0);
        const auto isHeard = [](float x) { return std::abs(x) > kSilence; };
        const auto start = std::ranges::find_if(sound, isHeard) - sound.begin();
        EXPECT_NEAR(static_cast<double>(start), packets < 4096 ? 216.0 : 512.0, 16.0) << packets;
    }
}

TEST_F(AaxInstance, TheFirstChunkIsDroppedAndOfTheLaterOnesThoseThatAreForeignOrDoNotFit)
{
    Instance writer(library), reader(library);
    writer.set("pn_34", 0.25);
    const auto good = writer.chunk();
    reader.set("pn_35", 0.5);
    const auto before = reader.chunk();
    EXPECT_EQ(reader.load(good), AAX_SUCCESS);
    EXPECT_EQ(reader.changes(), 0);
    EXPECT_EQ(reader.chunk(), before);

    constexpr struct {
        const char* what;
        void (*spoil)(std::vector<std::uint8_t>&);
    } kRows[] = {
        {"manufacturer", [](auto& block) { Instance::head(block)->manufacturer = 1; }},
        {"product", [](auto& block) { Instance::head(block)->product = 1; }},
        {"size beyond the block", [](auto& block) { ++Instance::head(block)->size; }},
        {"negative size", [](auto& block) { Instance::head(block)->size = -1; }},
        {"half a head", [](auto& block) { block.resize(sizeof(Chunk) / 2); }},
    };
    for (const auto& row : kRows) {
        auto block = good;
        row.spoil(block);
        EXPECT_EQ(reader.load(block), -20007) << row.what;
    }
    auto block = good;
    EXPECT_EQ(reader.model->SetChunk(Instance::kId + 1, Instance::head(block), block.size()),
              -20007);
    EXPECT_EQ(reader.model->SetChunk(Instance::kId, nullptr, block.size()), -20007);
    EXPECT_EQ(reader.chunk(), before);
    EXPECT_EQ(reader.load(good), AAX_SUCCESS);
    EXPECT_EQ(reader.chunk(), good);
    EXPECT_EQ(reader.value(34), 0.25) << "the host sees the new values";
}

TEST_F(AaxInstance, TheChunkHasAHeadThatTellsWhoseItIs)
{
    Instance track(library);
    EXPECT_EQ(track.model->GetNumberOfChunks(), 1);
    TypeId found = 0;
    EXPECT_EQ(track.model->GetChunkIDFromIndex(-5, &found), AAX_SUCCESS);
    EXPECT_EQ(found, Instance::kId);

    auto block = track.chunk();
    Chunk& head = *Instance::head(block);
    EXPECT_EQ(head.size, static_cast<int>(block.size() - sizeof(Chunk)));
    EXPECT_EQ(fourText(head.manufacturer) + fourText(head.product) + fourText(head.plugIn) +
                  fourText(head.id),
              "QuilZPHRZPHRZPCH");
    EXPECT_EQ(std::string(head.name, sizeof head.name), "The Zephra" + std::string(22, '\0'));

    // Without GetChunkSize, into exactly as much memory as it takes, and made anew each time.
    for (const double cutoff : {0.25, 0.75}) {
        track.set("pn_34", cutoff);
        EXPECT_EQ(track.model->GetChunk(Instance::kId, &head, block.size()), AAX_SUCCESS);
        EXPECT_EQ(valueIn(block, filter_cutoff), cutoff);
    }
    std::ranges::fill(block, 0xaa);
    EXPECT_EQ(track.model->GetChunk(Instance::kId, &head, block.size() - 1), -20007);
    EXPECT_EQ(track.model->GetChunk(Instance::kId + 1, &head, block.size()), -20007);
    std::uint32_t size = 0;
    EXPECT_EQ(track.model->GetChunkSize(Instance::kId + 1, &size), -20007);
    EXPECT_THAT(block, Each(0xaa));
    for (const TypeId id : {Instance::kId, Instance::kId + 1}) {
        bool equal = false;
        head.id = id;
        EXPECT_EQ(track.model->CompareActiveChunk(&head, &equal) == 0, id == Instance::kId);
        EXPECT_TRUE(equal);
    }
}

TEST_F(AaxInstance, AProgramChangeLoadsOnTheTimerAndTheHostSeesTheValues)
{
    for (const float cutoff : {0.25f, 0.75f}) { // programs 0 and 1 of the bank
        PluginParameters parameters;
        parameters.setValue(filter_cutoff, cutoff);
        home.put("data/Soundbanks/Bank/" + std::to_string(cutoff) + ".fxp",
                 programFileBytes(*parameters.getPreset(NoParameter), 0));
    }
    Instance track(library);
    track.midiEvent(0, 0xc0, 1, 0);
    track.render(64);
    EXPECT_EQ(track.value(34), 0.25) << "no files on the audio thread";
    EXPECT_EQ(track.model->TimerWakeup(), AAX_SUCCESS);
    EXPECT_EQ(track.value(34), 0.75);
}

TEST_F(AaxInstance, IsFoundByItsPrivateDataAloneAndPlaysWithWhatThereIs)
{
    Instance track(library);
    EXPECT_EQ(static_cast<void*>(track.privateData), static_cast<void*>(track.model.get()));
    for (const auto& [field, size] : {std::pair{24, 8u}, {21, 8u}, {22, 4u}, {22, 16u}}) {
        std::array<std::uint8_t, 17> bytes;
        bytes.fill(0xaa);
        EXPECT_EQ(track.model->ResetFieldData(field, bytes.data(), size), AAX_SUCCESS);
        EXPECT_THAT(std::span(bytes).first(size), Each(0));
        EXPECT_THAT(std::span(bytes).subspan(size), Each(0xaa));
    }
    const auto isLeftAlone = [&] {
        track.render(512);
        return peak(track.sound(0)) == Track::kOld;
    };
    auto* const data = std::exchange(track.privateData, nullptr);
    EXPECT_TRUE(isLeftAlone());
    track.privateData = data;
    const RenderInfo whole = track.info;
    track.info.audioInputs = nullptr;
    track.info.inputMidi = nullptr;
    track.info.transport = nullptr;
    EXPECT_FALSE(isLeftAlone());
    track.info.audioOutputs = nullptr;
    EXPECT_TRUE(isLeftAlone());
    track.info = whole;

    EXPECT_EQ(track.model->Uninitialize(), AAX_SUCCESS);
    EXPECT_EQ(track.set("pn_34", 0.5), -20002);
    EXPECT_TRUE(isLeftAlone());
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(track.model->Initialize(track), AAX_SUCCESS);
    EXPECT_EQ(track.model->parameterCount(), 76);
    EXPECT_FALSE(isLeftAlone());
}

} // namespace
} // namespace zephra::aax
