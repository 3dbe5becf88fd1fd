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

#include <array>
#include <atomic>
#include <cmath>
#include <span>
#include <thread>

namespace zephra::aax {
namespace {

using test::peak;
using testing::Each;

/// Below this a voice that plays no note is not heard.
constexpr float kSilence = 1e-6f;

float valueIn(const std::vector<std::uint8_t>& block, int id)
{
    PluginParameters parameters;
    readChunk(std::span(block).subspan(sizeof(Chunk)), parameters);
    return parameters.getValue(id);
}

// --- Parameters ---------------------------------------------------------------------------------

TEST_F(AaxTest, ThePublishedParametersAreTheBypassAndTheHostParameters)
{
    const LoadedLibrary library;
    const Instance track(library);
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
    EXPECT_TRUE(bypass.isAutomatable());

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
    EXPECT_EQ(track.value(57), 0.5) << "step 7 of 14";
}

TEST_F(AaxTest, TheFirstInstanceOfAUserFindsTheFactoryPatches)
{
    std::filesystem::remove(soundbanks());
    const LoadedLibrary library;
    const Instance track(library);
    EXPECT_TRUE(std::filesystem::exists(soundbanks() / "Showcase" / "Bass Carpet QX.fxp"));
    EXPECT_NE(track.value(34), 0.5) << "the first patch plays";
}

TEST_F(AaxTest, AValueFromTheHostReachesTheInstrument)
{
    const LoadedLibrary library;
    Instance track(library);
    EXPECT_EQ(track.set("pn_34", 0.25), AAX_SUCCESS);
    EXPECT_EQ(track.set("pn_57", 1.0), AAX_SUCCESS);
    EXPECT_EQ(track.set("MasterBypassID", 1.0), AAX_SUCCESS);
    EXPECT_EQ(track.changes(), 3);
    const auto block = track.chunk();
    EXPECT_EQ(valueIn(block, filter_cutoff), 0.25f);
    EXPECT_EQ(valueIn(block, fx_del_time), 14.0f);

    for (const char* id : {"pn_75", "pn_", "pn_034", ""})
        EXPECT_EQ(track.set(id, 0.5), -20002) << id;
    EXPECT_EQ(track.model->UpdateParameterNormalizedValue(nullptr, 0.5, 0), -20002);
    EXPECT_EQ(track.set("pn_34", std::nan("")), -20002);
    EXPECT_EQ(track.changes(), 3);
    EXPECT_EQ(track.chunk(), block);

    track.set("pn_34", 7.0);
    EXPECT_EQ(track.value(34), 1.0);
    EXPECT_EQ(valueIn(track.chunk(), filter_cutoff), 1.0f);
}

// --- Sound --------------------------------------------------------------------------------------

// The same two notes, with a delay that follows the tempo, 40 blocks of 512: [sample][channel].
constexpr int kFrames = 512;
constexpr int kBlocks = 40;

std::vector<float> notesOfVstXSynth(double tempo)
{
    test::RecordingHost host;
    host.now = {tempo, HostTime::kTempoValid};
    VstXSynthOptions options;
    options.host = &host;
    VstXSynth synth(options);
    synth.setBlockSize(kFrames);
    synth.setSampleRate(48000.0);
    synth.setParameter(56, 1.0f); // effects
    synth.setParameter(57, 1.0f); // delay time
    test::EventList notes{{0, 0x90, 45, 100}, {300, 0x90, 52, 90}};
    synth.processEvents(notes);
    std::vector<float> frames;
    for (int block = 0; block < kBlocks; ++block) {
        const auto sound = test::Plugin::render(synth, kFrames);
        for (std::size_t i = 0; i < kFrames; ++i)
            frames.insert(frames.end(), {sound.left[i], sound.right[i]});
    }
    return frames;
}

std::vector<float> notesOfLibrary(StemFormat stems, double tempo)
{
    const LoadedLibrary library;
    Instance track(library, stems);
    track.transport.beatsPerMinute = tempo;
    track.set("pn_56", 1.0);
    track.set("pn_57", 1.0);
    track.midiEvent(0, 0x90, 45, 100);
    track.midiEvent(300, 0x90, 52, 90);
    std::vector<float> frames;
    for (int block = 0; block < kBlocks; ++block) {
        track.render(kFrames);
        for (std::size_t i = 0; i < kFrames; ++i)
            frames.insert(frames.end(), {track.outputs[0][i], track.outputs[1][i]});
    }
    return frames;
}

TEST_F(AaxTest, ATrackPlaysWhatTheInstrumentPlaysToTheBit)
{
    const auto played = [](StemFormat stems, double tempo) {
        return test::inFreshProcess([=] { return notesOfLibrary(stems, tempo); });
    };
    const auto own = test::inFreshProcess([] { return notesOfVstXSynth(93.0); });
    ASSERT_GT(peak(own), 0.05f);
    EXPECT_EQ(played(AAX_eStemFormat_Stereo, 93.0), own);
    EXPECT_NE(played(AAX_eStemFormat_Stereo, 187.0), own) << "the delay follows the tempo";

    const auto mono = played(AAX_eStemFormat_Mono, 93.0);
    float widest = 0.0f;
    for (std::size_t i = 0; i < own.size(); i += 2) {
        ASSERT_EQ(mono[i], (own[i] + own[i + 1]) * 0.5f) << "at " << i;
        widest = std::max(widest, std::abs(own[i] - own[i + 1]));
    }
    EXPECT_GT(widest, 0.01f) << "the sides must differ for this to mean anything";
}

TEST_F(AaxTest, SoundOnTheInputIsAddedAndAloneWhenBypassed)
{
    const LoadedLibrary library;
    for (const StemFormat stems : {AAX_eStemFormat_Mono, AAX_eStemFormat_Stereo}) {
        Instance track(library, stems);
        const int last = stems == AAX_eStemFormat_Mono ? 0 : 1;
        std::ranges::fill(track.inputs[0], 0.125f);
        std::ranges::fill(track.inputs[1], 0.125f);
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

TEST_F(AaxTest, MidiActsOnItsSampleAndAnOverlongBlockIsDroppedWhole)
{
    const LoadedLibrary library;
    constexpr struct {
        int packets, noteAt, frames; ///< of the block with the packets; an empty one puts them off
        bool heard;
        StemFormat stems;
    } kRows[] = {{1, 0, 512, true, AAX_eStemFormat_Stereo},
                 {1, 200, 512, true, AAX_eStemFormat_Stereo},
                 {1, 0, 0, true, AAX_eStemFormat_Stereo},
                 {1, 0, 0, true, AAX_eStemFormat_Mono},
                 {4095, 0, 512, true, AAX_eStemFormat_Stereo},
                 {4096, 0, 512, false, AAX_eStemFormat_Stereo}};
    for (const auto& row : kRows) {
        Instance track(library, row.stems);
        track.render(512);
        for (int i = 1; i < row.packets; ++i)
            track.midiEvent(0, 0xb0, 2, 64); // breath
        track.midiEvent(row.noteAt, 0x90, 60, 127);
        track.global.waiting.push_back({0, {0x90, 72, 127, 0}});
        track.render(row.frames);
        if (row.frames == 0)
            track.render(512);
        const auto sound = track.sound(0);
        const auto isHeard = [](float x) { return std::abs(x) > kSilence; };
        const auto start = std::ranges::find_if(sound, isHeard) - sound.begin();
        EXPECT_GE(start, row.heard ? row.noteAt : 512);
        EXPECT_LT(start, row.heard ? row.noteAt + 32 : 513);
        EXPECT_EQ(track.global.reads, 0);
    }
}

// --- State --------------------------------------------------------------------------------------

TEST_F(AaxTest, TheFirstChunkIsDroppedAndOfTheLaterOnesThoseThatAreForeignOrDoNotFit)
{
    const LoadedLibrary library;
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
        {"largest size", [](auto& block) { Instance::head(block)->size = 0x7fffffff; }},
        {"half a head", [](auto& block) { block.resize(sizeof(Chunk) / 2); }},
    };
    for (const auto& row : kRows) {
        auto block = good;
        row.spoil(block);
        EXPECT_EQ(reader.load(block), -20007) << row.what;
        EXPECT_EQ(reader.chunk(), before) << row.what;
    }
    auto block = good;
    Chunk* const head = Instance::head(block);
    EXPECT_EQ(reader.model->SetChunk(Instance::kId + 1, head, block.size()), -20007);
    EXPECT_EQ(reader.model->SetChunk(Instance::kId, nullptr, block.size()), -20007);
    EXPECT_EQ(reader.chunk(), before);

    EXPECT_EQ(reader.load(good), AAX_SUCCESS);
    EXPECT_EQ(reader.chunk(), good);
    EXPECT_EQ(reader.value(34), 0.25) << "the host sees the new values";
}

TEST_F(AaxTest, TheChunkHasAHeadThatTellsWhoseItIs)
{
    const LoadedLibrary library;
    Instance track(library);
    EXPECT_EQ(track.model->GetNumberOfChunks(), 1);
    for (const int index : {0, 1, -5}) {
        TypeId id = 0;
        EXPECT_EQ(track.model->GetChunkIDFromIndex(index, &id), AAX_SUCCESS);
        EXPECT_EQ(id, Instance::kId);
    }

    auto block = track.chunk();
    Chunk& head = *Instance::head(block);
    EXPECT_EQ(head.size, static_cast<int>(block.size() - sizeof(Chunk)));
    EXPECT_EQ(fourText(head.manufacturer) + fourText(head.product) + fourText(head.plugIn) +
                  fourText(head.id),
              "QuilZPHRZPHRZPCH");
    EXPECT_EQ(std::string(head.name, sizeof head.name), "The Zephra" + std::string(22, '\0'));

    // Without GetChunkSize, into exactly as much memory as it takes, and made anew each time.
    const auto get = [&](TypeId id, std::size_t size) {
        return track.model->GetChunk(id, &head, size);
    };
    for (const double cutoff : {0.25, 0.75}) {
        track.set("pn_34", cutoff);
        EXPECT_EQ(get(Instance::kId, block.size()), AAX_SUCCESS);
        EXPECT_EQ(valueIn(block, filter_cutoff), cutoff);
    }
    std::ranges::fill(block, 0xaa);
    EXPECT_EQ(get(Instance::kId, block.size() - 1), -20007);
    EXPECT_EQ(get(Instance::kId + 1, block.size()), -20007);
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

TEST_F(AaxTest, AProgramChangeLoadsOnTheTimerAndTheHostSeesTheValues)
{
    for (const float cutoff : {0.25f, 0.75f}) { // programs 0 and 1 of the bank
        PluginParameters parameters;
        parameters.setValue(filter_cutoff, cutoff);
        home.put("Soundbanks/Bank/" + std::to_string(cutoff) + ".fxp",
                 programFileBytes(*parameters.getPreset(NoParameter), 0));
    }
    const LoadedLibrary library;
    Instance track(library);
    track.midiEvent(0, 0xc0, 1, 0);
    track.render(64);
    EXPECT_EQ(track.value(34), 0.25) << "no files on the audio thread";
    EXPECT_EQ(track.model->TimerWakeup(), AAX_SUCCESS);
    EXPECT_EQ(track.value(34), 0.75);
}

// --- Hosts at their worst -----------------------------------------------------------------------

TEST_F(AaxTest, TheInstanceIsFoundByItsPrivateDataAlone)
{
    const LoadedLibrary library;
    Instance track(library);
    EXPECT_EQ(static_cast<void*>(track.privateData), static_cast<void*>(track.model.get()));
    constexpr struct {
        int field;
        std::size_t size;
    } kZeros[] = {{24, 8}, {21, 8}, {22, 4}, {22, 16}};
    for (const auto& row : kZeros) {
        std::array<std::uint8_t, 17> bytes;
        bytes.fill(0xaa);
        EXPECT_EQ(track.model->ResetFieldData(row.field, bytes.data(), row.size), AAX_SUCCESS);
        EXPECT_THAT(std::span(bytes).first(row.size), Each(0));
        EXPECT_THAT(std::span(bytes).subspan(row.size), Each(0xaa));
    }
    track.privateData = nullptr;
    track.render(512);
    EXPECT_THAT(track.sound(0), Each(Track::kOld));
}

TEST_F(AaxTest, CallsInOddOrdersDoNoHarm)
{
    const LoadedLibrary library;
    Instance track(library);
    for (const int frames : {0, -1, 1, 64, 65, 1024, 3})
        track.render(frames);
    for (const int sample : {2, -1, 0x7fffffff})
        track.midiEvent(sample, 0x90, 60, 127);
    track.midiEvent(0, 0xff, 0xff, 0xff);
    track.render(1024);
    EXPECT_GT(peak(track.sound(0)), 0.01f);

    const RenderInfo whole = track.info;
    track.info.audioInputs = nullptr;
    track.info.inputMidi = nullptr;
    track.info.transport = nullptr;
    track.render(512);
    EXPECT_NE(track.sound(0), std::vector<float>(512, Track::kOld));
    track.outputPointers[1] = nullptr;
    track.render(512);
    EXPECT_THAT(track.sound(1), Each(Track::kOld));
    track.info.audioOutputs = nullptr;
    track.render(512);
    track.info = whole;
    track.outputPointers[1] = track.outputs[1].data();
    for (const double rate : {0.0, 192000.0, std::nan(""), 48000.0}) {
        track.rate = rate;
        track.render(512);
    }
    EXPECT_EQ(track.model->GenerateCoefficients(), AAX_SUCCESS);

    EXPECT_EQ(track.model->Uninitialize(), AAX_SUCCESS);
    EXPECT_EQ(track.set("pn_34", 0.5), -20002);
    track.render(512);
    EXPECT_THAT(track.sound(0), Each(Track::kOld));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(track.model->Initialize(track), AAX_SUCCESS);
        EXPECT_EQ(track.model->parameterCount(), 76);
    }
    track.midiEvent(0, 0x90, 60, 127);
    track.render(512);
    EXPECT_GT(peak(track.sound(0)), kSilence);
}

TEST_F(AaxTest, StateIsExchangedAndParametersMoveWhileTheSoundGoesOn)
{
    const LoadedLibrary library;
    Instance track(library);
    const auto song = track.chunk();
    track.load(song); // the first is dropped
    std::atomic<bool> done = false;
    bool finite = true;
    std::thread audio([&] {
        for (int block = 0; !done; ++block) {
            track.midiEvent(block % 128, block % 2 ? 0x80 : 0x90, 40 + block / 2 % 40, 100);
            track.render(128);
            for (const float x : track.sound(0))
                finite = finite && std::isfinite(x);
        }
    });
    for (int i = 0; i < 100; ++i) {
        std::thread timer([&] { track.model->TimerWakeup(); });
        EXPECT_EQ(track.load(song), AAX_SUCCESS);
        EXPECT_EQ(track.set("pn_" + std::to_string(i % 75), i / 100.0), AAX_SUCCESS);
        EXPECT_EQ(track.set("MasterBypassID", i % 2), AAX_SUCCESS);
        track.chunk();
        timer.join();
    }
    EXPECT_EQ(track.load(song), AAX_SUCCESS);
    done = true;
    audio.join();
    EXPECT_TRUE(finite);
    EXPECT_EQ(track.chunk(), song);
}

} // namespace
} // namespace zephra::aax
