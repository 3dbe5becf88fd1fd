// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "controls/PluginParameters.h"
#include "hosts/aax/AaxHost.h"
#include "library/PatchChunk.h"
#include "library/ProgramFile.h"
#include "support/FreshProcess.h"
#include "support/PluginPeers.h"
#include "synth/VstXSynth.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <memory>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace zephra::aax {
namespace {

using testing::Each;
using testing::FloatNear;

/// Below this a voice that plays no note is not heard.
constexpr float kSilence = 1e-6f;

/// The values in a chunk as the host holds it.
float valueIn(std::vector<std::uint8_t> block, int id)
{
    PluginParameters parameters;
    readChunk(std::span(block).subspan(sizeof(Chunk)), parameters);
    return parameters.getValue(id);
}

std::vector<float> joined(std::vector<float> first, const std::vector<float>& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// A chord with an early and a late note, as the test's own instrument plays it: [left, right].
std::vector<float> chordOfVstXSynth(double tempo, int frames)
{
    test::RecordingHost host;
    host.now = {tempo, HostTime::kTempoValid};
    VstXSynthOptions options;
    options.host = &host;
    VstXSynth synth(options);
    synth.setBlockSize(frames);
    synth.setSampleRate(48000.0);
    synth.setParameter(56, 1.0f); // effects with the delay, which follows the tempo
    synth.setParameter(57, 1.0f);
    test::EventList notes{{0, 0x90, 45, 100}, {300, 0x90, 52, 90}};
    synth.processEvents(notes);
    std::vector<float> left, right;
    for (int block = 0; block < 40; ++block) {
        const auto sound = test::Plugin::render(synth, frames);
        left = joined(left, sound.left);
        right = joined(right, sound.right);
    }
    return joined(left, right);
}

/// The same from the loaded library; a mono track gives one channel.
std::vector<float> chordOfLibrary(StemFormat stems, double tempo, int frames)
{
    const LoadedLibrary library;
    Instance track(library, stems);
    track.transport.clock.beatsPerMinute = tempo;
    track.set("pn_56", 1.0);
    track.set("pn_57", 1.0);
    track.midiEvent(0, 0x90, 45, 100);
    track.midiEvent(300, 0x90, 52, 90);
    std::vector<float> channels[2];
    for (int block = 0; block < 40; ++block) {
        track.render(frames);
        for (int c = 0; c < 2; ++c)
            channels[c] = joined(channels[c], track.sound(c));
    }
    return stems == AAX_eStemFormat_Mono ? channels[0] : joined(channels[0], channels[1]);
}

TEST_F(AaxTest, ThePublishedParametersAreTheBypassAndTheHostParameters)
{
    const LoadedLibrary library;
    Instance track(library, AAX_eStemFormat_Stereo);
    ASSERT_EQ(track.model->parameterCount(), 76);
    EXPECT_EQ(track.model->parameter(-1), nullptr);
    EXPECT_EQ(track.model->parameter(76), nullptr);

    const AAX_IParameter& bypass = *track.model->parameter(0);
    EXPECT_STREQ(bypass.identifier(), "MasterBypassID");
    EXPECT_STREQ(bypass.name(), "Master Bypass");
    EXPECT_EQ(bypass.text(0.0) + " " + bypass.text(1.0), "bypass on");
    EXPECT_EQ(bypass.numberOfSteps(), 2);
    EXPECT_EQ(bypass.defaultNormalizedValue(), 0.0);
    EXPECT_FALSE(bypass.GetValueAsBool());
    EXPECT_TRUE(bypass.isAutomatable());
    seen("EffectInit 1", std::string(bypass.identifier()) + ", \"" + bypass.text(0.0) + "\", \"" +
                             bypass.text(1.0) + "\"");

    for (int i = 0; i < kNumHostParameters; ++i) {
        const ControlInfo& control = *findControl(kHostParameters[static_cast<std::size_t>(i)].id);
        const AAX_IParameter& parameter = *track.model->parameter(i + 1);
        EXPECT_EQ(parameter.identifier(), "pn_" + std::to_string(i));
        EXPECT_STREQ(parameter.name(), control.hostName);
        EXPECT_EQ(parameter.defaultNormalizedValue(), control.defaultValue / control.scale);
        EXPECT_EQ(parameter.normalizedValue(), control.defaultValue / control.scale);
        EXPECT_TRUE(parameter.isAutomatable());
    }
    const AAX_IParameter& delayTime = *track.parameter("pn_57"); // 7 of 14
    EXPECT_EQ(delayTime.defaultNormalizedValue(), 0.5);
    EXPECT_EQ(track.parameter("pn_34")->text(0.5), "841 Hz");
    seen("EffectInit 2", "75 parameters; pn_34 \"" + std::string(track.parameter("pn_34")->name()) +
                             "\" reads \"841 Hz\" at 0.5; pn_57 starts at 0.5");

    EXPECT_EQ(track.model->Initialize(track.controller), AAX_SUCCESS);
    EXPECT_EQ(track.model->parameterCount(), 76) << "a second start adds none";
}

TEST_F(AaxTest, AValueFromTheHostReachesTheInstrument)
{
    const LoadedLibrary library;
    Instance track(library, AAX_eStemFormat_Stereo);
    EXPECT_EQ(track.set("pn_34", 0.25), AAX_SUCCESS);
    EXPECT_EQ(track.set("pn_74", 1.0), AAX_SUCCESS);
    EXPECT_EQ(track.set("MasterBypassID", 1.0), AAX_SUCCESS);
    EXPECT_EQ(track.changes(), 3);
    const auto block = track.chunk();
    EXPECT_EQ(valueIn(block, filter_cutoff), 0.25f);
    EXPECT_EQ(valueIn(block, kHostParameters[74].id), controlScale(kHostParameters[74].id));
    seen("Update", "pn_34 = 0.25 gives cutoff " + std::to_string(valueIn(block, filter_cutoff)) +
                       "; 3 changes");

    for (const char* id : {"pn_75", "pn_", "pn_034", ""})
        EXPECT_EQ(track.set(id, 0.5), -20002);
    EXPECT_EQ(track.model->UpdateParameterNormalizedValue(nullptr, 0.5, 0), -20002);
    EXPECT_EQ(track.set("pn_34", std::nan("")), -20002);
    EXPECT_EQ(track.changes(), 3);
    EXPECT_EQ(track.chunk(), block);
    seen("Update", "unknown id, not a number: -20002");

    track.set("pn_34", 7.0);
    track.set("pn_35", -7.0);
    EXPECT_EQ(track.parameter("pn_34")->normalizedValue(), 1.0);
    EXPECT_EQ(valueIn(track.chunk(), filter_resonance), 0.0f);
}

TEST_F(AaxTest, AStereoTrackPlaysWhatTheInstrumentPlaysToTheBit)
{
    const auto own = test::inFreshProcess([] { return chordOfVstXSynth(93.0, 512); });
    const auto loaded =
        test::inFreshProcess([] { return chordOfLibrary(AAX_eStemFormat_Stereo, 93.0, 512); });
    const auto otherTempo =
        test::inFreshProcess([] { return chordOfLibrary(AAX_eStemFormat_Stereo, 187.0, 512); });
    ASSERT_GT(test::peak(own), 0.05f);
    EXPECT_EQ(loaded, own);
    EXPECT_NE(otherTempo, own);
    seen("Render 4", "the delay follows the host's tempo");
    seen("Render 8, 9 stereo", std::to_string(own.size()) + " samples, all equal; peak " +
                                   std::to_string(test::peak(loaded)));
}

TEST_F(AaxTest, OnAMonoTrackLeftAndRightMeetAtHalfLevelEach)
{
    const auto own = test::inFreshProcess([] { return chordOfVstXSynth(120.0, 512); });
    const auto loaded =
        test::inFreshProcess([] { return chordOfLibrary(AAX_eStemFormat_Mono, 120.0, 512); });
    const std::size_t frames = own.size() / 2;
    ASSERT_EQ(loaded.size(), frames);
    float widest = 0.0f;
    for (std::size_t i = 0; i < frames; ++i) {
        ASSERT_EQ(loaded[i], (own[i] + own[frames + i]) * 0.5f) << "at " << i;
        widest = std::max(widest, std::abs(own[i] - own[frames + i]));
    }
    EXPECT_GT(widest, 0.01f) << "the sides must differ for this to mean anything";
    seen("Render 9 mono", std::to_string(frames) + " samples, all (left + right) / 2");
}

TEST_F(AaxTest, SoundOnTheInputIsAddedAndAloneWhenBypassed)
{
    const LoadedLibrary library;
    for (const StemFormat stems : {AAX_eStemFormat_Mono, AAX_eStemFormat_Stereo}) {
        Instance track(library, stems);
        const int channels = static_cast<int>(stems & 0xffff);
        for (auto& input : track.inputs)
            std::fill(input.begin(), input.end(), 0.125f);

        track.render(256);
        for (int c = 0; c < channels; ++c)
            EXPECT_THAT(track.sound(c), Each(FloatNear(0.125f, kSilence)))
                << "no note: the input alone";

        // A note that starts while bypassed is heard when the bypass ends.
        track.set("MasterBypassID", 1.0);
        track.midiEvent(0, 0x90, 60, 127);
        for (int block = 0; block < 10; ++block) {
            track.render(256);
            for (int c = 0; c < channels; ++c)
                EXPECT_EQ(track.sound(c), std::vector<float>(256, 0.125f));
        }
        track.set("MasterBypassID", 0.0);
        track.render(256);
        EXPECT_GT(track.peak(0), 0.15f);
        seen("Render 5, 10", std::to_string(channels) +
                                 " ch: bypassed the input, else the sum; held note " +
                                 std::to_string(track.peak(0)));
    }
}

TEST_F(AaxTest, MidiActsOnItsSampleAndAnOverlongBlockIsDroppedWhole)
{
    const LoadedLibrary library;
    const struct {
        int controllers, noteAt;
        bool heard;
    } kRows[] = {{0, 0, true}, {0, 200, true}, {4094, 0, true}, {4095, 0, false}};
    for (const auto& row : kRows) {
        Instance track(library, AAX_eStemFormat_Stereo);
        track.render(512);
        for (int i = 0; i < row.controllers; ++i)
            track.midiEvent(0, 0xb0, 2, 64);
        track.midiEvent(row.noteAt, 0x90, 60, 127);
        track.render(512);
        const auto sound = track.sound(0);
        const auto start = std::find_if(sound.begin(), sound.end(),
                                        [](float x) { return std::abs(x) > kSilence; }) -
                           sound.begin();
        EXPECT_EQ(start < 512, row.heard) << row.controllers;
        EXPECT_GE(start, row.noteAt);
        EXPECT_LT(start, row.heard ? row.noteAt + 32 : 513);
        seen("Render 8", std::to_string(row.controllers + 1) + " packets, note at " +
                             std::to_string(row.noteAt) + ": " +
                             (row.heard ? "heard from " + std::to_string(start) : "silent"));
    }
}

TEST_F(AaxTest, TheGlobalMidiNodeIsNotRead)
{
    const LoadedLibrary library;
    Instance track(library, AAX_eStemFormat_Stereo);
    track.global.waiting.push_back({0, {0x90, 60, 127, 0}});
    for (int block = 0; block < 4; ++block)
        track.render(512);
    EXPECT_LT(track.peak(0), kSilence);
    EXPECT_EQ(track.global.reads, 0);
    seen("Render 8", "global node read " + std::to_string(track.global.reads) + " times");
}

TEST_F(AaxTest, TheFirstChunkIsDroppedAndLaterOnesLoad)
{
    const LoadedLibrary library;
    Instance writer(library, AAX_eStemFormat_Stereo), reader(library, AAX_eStemFormat_Stereo);
    writer.set("pn_34", 0.25);
    const auto block = writer.chunk();
    const auto untouched = reader.chunk();

    reader.set("pn_35", 0.0);
    EXPECT_EQ(reader.changes(), 1);
    EXPECT_EQ(reader.load(block), AAX_SUCCESS);
    EXPECT_EQ(reader.changes(), 0);
    EXPECT_EQ(reader.chunk(), untouched);
    seen("SetChunk", "the first: success, nothing loaded, change count 0");

    EXPECT_EQ(reader.load(block), AAX_SUCCESS);
    EXPECT_EQ(reader.chunk(), block);
    EXPECT_EQ(reader.parameter("pn_34")->normalizedValue(), 0.25);
    seen("SetChunk", "the second: loaded, pn_34 = 0.25, chunk again the same " +
                         std::to_string(block.size()) + " bytes");
}

TEST_F(AaxTest, TheChunkHasAHeadThatTellsWhoseItIs)
{
    const LoadedLibrary library;
    Instance track(library, AAX_eStemFormat_Stereo);
    EXPECT_EQ(track.model->GetNumberOfChunks(), 1);
    for (const int index : {0, 1, -5}) {
        TypeId id = 0;
        EXPECT_EQ(track.model->GetChunkIDFromIndex(index, &id), AAX_SUCCESS);
        EXPECT_EQ(fourText(id), "ZPCH");
    }

    auto block = track.chunk();
    const Chunk head = *Instance::head(block);
    EXPECT_EQ(head.size, static_cast<int>(block.size() - sizeof(Chunk)));
    EXPECT_EQ(fourText(head.manufacturer) + fourText(head.product) + fourText(head.plugIn) +
                  fourText(head.id),
              "QuilZPHRZPHRZPCH");
    const std::string name(head.name, sizeof head.name);
    EXPECT_EQ(name, "The Zephra" + std::string(22, '\0'));
    seen("GetChunk",
         std::to_string(head.size) + " bytes after a head of 56, \"" + head.name + "\"");

    // Without GetChunkSize, twice, into exactly as much memory as it takes.
    for (int i = 0; i < 2; ++i) {
        std::vector<std::uint8_t> again(block.size());
        EXPECT_EQ(track.model->GetChunk(Instance::kId, Instance::head(again), again.size()),
                  AAX_SUCCESS);
        EXPECT_EQ(again, block);
        track.set("pn_34", 0.25); // the second chunk is made anew
        block = track.chunk();
    }
    std::vector<std::uint8_t> small(block.size() - 1, 0xaa);
    EXPECT_EQ(track.model->GetChunk(Instance::kId, Instance::head(small), small.size()), -20007);
    EXPECT_THAT(small, Each(0xaa));
    std::uint32_t size = 0;
    EXPECT_EQ(track.model->GetChunkSize(Instance::kId + 1, &size), -20007);
    EXPECT_EQ(track.model->GetChunk(Instance::kId + 1, Instance::head(block), block.size()),
              -20007);
    seen("GetChunk", "without GetChunkSize: as well; another id: -20007");

    bool equal = false;
    EXPECT_EQ(track.model->CompareActiveChunk(Instance::head(block), &equal), AAX_SUCCESS);
    EXPECT_TRUE(equal);
    Instance::head(block)->id = 1;
    equal = false;
    EXPECT_NE(track.model->CompareActiveChunk(Instance::head(block), &equal), AAX_SUCCESS);
    EXPECT_TRUE(equal);
    seen("CompareActiveChunk", "always equal; another id: an error");
}

TEST_F(AaxTest, AChunkThatIsForeignOrDoesNotFitIsRefused)
{
    const LoadedLibrary library;
    Instance writer(library, AAX_eStemFormat_Stereo), reader(library, AAX_eStemFormat_Stereo);
    writer.set("pn_34", 0.25);
    const auto good = writer.chunk();
    reader.load(good); // the first is dropped
    const auto before = reader.chunk();

    constexpr struct {
        const char* what;
        void (*spoil)(std::vector<std::uint8_t>&);
    } kRows[] = {
        {"manufacturer", [](auto& block) { Instance::head(block)->manufacturer = 1; }},
        {"product", [](auto& block) { Instance::head(block)->product = 1; }},
        {"size beyond the block", [](auto& block) { ++Instance::head(block)->size; }},
        {"size below 0", [](auto& block) { Instance::head(block)->size = -1; }},
        {"largest size", [](auto& block) { Instance::head(block)->size = 0x7fffffff; }},
        {"cut block", [](auto& block) { block.pop_back(); }},
        {"half a head", [](auto& block) { block.resize(sizeof(Chunk) / 2); }},
    };
    for (const auto& row : kRows) {
        auto block = good;
        row.spoil(block);
        EXPECT_EQ(reader.load(block), -20007) << row.what;
        EXPECT_EQ(reader.chunk(), before) << row.what;
        seen("SetChunk, wrong", std::string(row.what) + ": -20007, the patch stays");
    }
    auto block = good;
    EXPECT_EQ(reader.model->SetChunk(Instance::kId, nullptr, block.size()), -20007);
    EXPECT_EQ(reader.model->SetChunk(Instance::kId + 1, Instance::head(block), block.size()),
              -20007);
    EXPECT_EQ(reader.load(good), AAX_SUCCESS);
    EXPECT_EQ(reader.chunk(), good);
}

TEST_F(AaxTest, AProgramChangeLoadsOnTheTimerAndTheHostSeesTheValues)
{
    for (const float cutoff : {0.25f, 0.75f}) { // programs 0 and 1 of the bank
        PluginParameters parameters;
        parameters.setValue(filter_cutoff, cutoff);
        home.put("data/Soundbanks/Bank/" + std::to_string(cutoff) + ".fxp",
                 programFileBytes(*parameters.getPreset(NoParameter), 0));
    }
    const LoadedLibrary library;
    Instance track(library, AAX_eStemFormat_Stereo);
    EXPECT_EQ(track.parameter("pn_34")->normalizedValue(), 0.25);
    track.midiEvent(0, 0xc0, 1, 0);
    track.render(64);
    EXPECT_EQ(track.parameter("pn_34")->normalizedValue(), 0.25) << "no files on the audio thread";
    EXPECT_EQ(track.model->TimerWakeup(), AAX_SUCCESS);
    EXPECT_EQ(track.parameter("pn_34")->normalizedValue(), 0.75);
    seen("TimerWakeup", "program change loads, pn_34 0.25 -> 0.75");
}

TEST_F(AaxTest, TheInstanceIsFoundByItsPrivateDataAlone)
{
    const LoadedLibrary library;
    Instance track(library, AAX_eStemFormat_Stereo);
    EXPECT_TRUE(track.privateData);
    std::array<std::uint8_t, 16> bytes;
    const struct {
        int field;
        std::size_t size;
    } kZeros[] = {{24, 8}, {21, 8}, {22, 4}, {22, 16}};
    for (const auto& row : kZeros) {
        bytes.fill(0xaa);
        EXPECT_EQ(track.model->ResetFieldData(row.field, bytes.data(), row.size), AAX_SUCCESS);
        EXPECT_THAT(std::span(bytes).first(row.size), Each(0));
        EXPECT_THAT(std::span(bytes).subspan(row.size), Each(0xaa));
    }
    EXPECT_EQ(track.model->ResetFieldData(24, nullptr, 8), -20004);

    track.privateData = nullptr; // as zeros would have it
    track.midiEvent(0, 0x90, 60, 127);
    track.render(512);
    EXPECT_THAT(track.sound(0), Each(Track::kOld));
    seen("ResetFieldData", "port 22: this object; all others zeros; null in a block: nothing");
}

TEST_F(AaxTest, CallsInOddOrdersDoNoHarm)
{
    const LoadedLibrary library;
    Instance track(library, AAX_eStemFormat_Stereo);
    for (const int frames : {0, -1, 1, 64, 65, 1024, 3})
        track.render(frames);
    track.midiEvent(2, 0x90, 60, 127);
    track.render(1024);

    const RenderInfo whole = track.info;
    track.info.audioInputs = nullptr;
    track.info.inputMidi = nullptr;
    track.info.transport = nullptr;
    track.render(512);
    EXPECT_GT(track.peak(0), kSilence);
    EXPECT_NE(track.sound(0), std::vector<float>(512, Track::kOld));
    track.info.audioOutputs = nullptr;
    track.render(512);
    EXPECT_THAT(track.sound(0), Each(Track::kOld));
    track.info = whole;

    track.midiEvent(-1, 0x90, 64, 127);
    track.midiEvent(0x7fffffff, 0x90, 67, 127);
    track.midiEvent(0, 0xff, 0xff, 0xff);
    track.render(512);
    for (const double rate : {0.0, 22050.0, 192000.0, std::nan("")}) {
        track.controller.rate = rate;
        track.render(512);
    }

    EXPECT_EQ(track.model->Uninitialize(), AAX_SUCCESS);
    EXPECT_EQ(track.model->parameterCount(), 0);
    EXPECT_EQ(track.set("pn_34", 0.5), -20002);
    track.render(512);
    EXPECT_THAT(track.sound(0), Each(Track::kOld));
    EXPECT_EQ(track.model->Initialize(track.controller), AAX_SUCCESS);
    track.controller.rate = 48000.0;
    track.midiEvent(0, 0x90, 60, 127);
    track.render(512);
    EXPECT_NE(track.sound(0), std::vector<float>(512, Track::kOld));
    seen("odd orders", "blocks of -1 to 1024, missing buffers, stop and start again: no harm");
}

TEST_F(AaxTest, StateIsExchangedAndParametersMoveWhileTheSoundGoesOn)
{
    const LoadedLibrary library;
    Instance track(library, AAX_eStemFormat_Stereo);
    const auto song = track.chunk();
    track.load(song); // the first is dropped
    std::atomic<bool> done = false;
    bool finite = true;
    std::thread audio([&] {
        for (int block = 0; !done; ++block) {
            track.midiEvent(block % 128, block % 2 ? 0x80 : 0x90, 40 + block / 2 % 40, 100);
            track.render(128);
            finite = finite &&
                     std::ranges::all_of(track.sound(0), [](float x) { return std::isfinite(x); });
        }
    });
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(track.load(song), AAX_SUCCESS);
        EXPECT_EQ(track.set("pn_" + std::to_string(i % 75), i / 100.0), AAX_SUCCESS);
        EXPECT_EQ(track.set("MasterBypassID", i % 2), AAX_SUCCESS);
        track.chunk();
        track.model->TimerWakeup();
    }
    done = true;
    audio.join();
    EXPECT_TRUE(finite);
    EXPECT_EQ(track.load(song), AAX_SUCCESS);
    EXPECT_EQ(track.chunk(), song);
}

TEST_F(AaxTest, ManyInstancesLiveSideBySide)
{
    const LoadedLibrary library;
    std::vector<std::unique_ptr<Instance>> tracks;
    for (int i = 0; i < 20; ++i) {
        tracks.push_back(std::make_unique<Instance>(library, AAX_eStemFormat_Stereo));
        if (i % 2 == 1)
            tracks.back()->midiEvent(0, 0x90, 60, 127);
        tracks.back()->render(512);
    }
    for (std::size_t i = 0; i < tracks.size(); ++i)
        EXPECT_EQ(tracks[i]->peak(0) > kSilence, i % 2 == 1);
}

} // namespace
} // namespace zephra::aax
