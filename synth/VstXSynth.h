// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controls/PluginParameters.h"
#include "engine/SynthEngine.h"
#include "library/GeneticsEngine.h"
#include "library/LibraryFiles.h"
#include "synth/AudioEffectX.h"
#include "synth/AudioGate.h"
#include "synth/ControlPath.h"
#include "synth/Messages.h"
#include "synth/MidiIntake.h"
#include "synth/MidiMap.h"
#include "synth/PluginEditor.h"
#include "synth/ProgramRequest.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace zephra {

class FileSelector;
class PatchLibrary;
struct PatchEntry;
class SettingsStore;

/// What a patch file is wanted for. The older kind of files is not offered to the user and has no
/// reader or writer: its modes do nothing.
enum class PatchFileMode : int { LoadProgram = 2, LoadOld = 3, SaveProgram = 4, SaveOld = 5 };

/// What a plug-in object may lean on; each may be missing. All outlive it.
struct VstXSynthOptions {
    SettingsStore* settings = nullptr;    ///< none: nothing is read or kept
    HostPeer* host = nullptr;             ///< none: 120 beats per minute, nobody to tell
    EditorFactory editorFactory;          ///< none: no editor
    FileSelector* fileSelector = nullptr; ///< none: no files to choose

    std::filesystem::path soundbankRoot{}; ///< none: no patch library, nothing on disk is touched
    std::filesystem::path factoryBanks{};  ///< copied in if the soundbank root does not exist
    LibraryFiles::Access libraryAccess = LibraryFiles::Access::ReadWrite;
};

/// The plug-in object: a software instrument without inputs and with two outputs. Turns one host
/// call into sub-blocks of at most 64 samples, and every setting into a control by id. Host
/// bindings, the editor and the patch code reach the engine only through it.
///
/// Two kinds of thread come here: the host's audio thread with processEvents, process and
/// processReplacing, and user-interface threads with all else.
class VstXSynth : public AudioEffectX {
public:
    // --- What every one of them is, for hosts that look without opening one. [any] ---
    static constexpr const char* kProduct = "The Zephra";
    static constexpr const char* kVendor = "Quillon Audio";
    /// No delay: a host records what zephra-render writes, sample for sample. The middle of the
    /// decimator's taps lies 7 samples behind the start of a note, too little to be heard.
    static constexpr EffectIdentity kIdentity = {fourCharacters("ZPHR"),
                                                 1,
                                                 kNumHostParameters,
                                                 0,
                                                 2,
                                                 EffectIdentity::kIsInstrument |
                                                     EffectIdentity::kCanReplacing |
                                                     EffectIdentity::kProgramsAreChunks,
                                                 0};
    static int ability(const char* name) noexcept; ///< as canDo
    static std::string parameterName(int index);   ///< "-/-" if there is none
    static const char* versionString() noexcept;

    explicit VstXSynth(const VstXSynthOptions& options = {});
    ~VstXSynth() override; ///< keeps a learned MIDI map

    // --- Sound ---
    /// As processReplacing, but a block that cannot be rendered leaves the outputs as they are.
    void process(float** inputs, float** outputs, int sampleFrames) noexcept override;
    /// Overwrites both outputs. A block during a pause is silent; its notes wait for the next one.
    /// A negative length counts as 0, which still is a block. Outputs may be missing, one or both.
    void processReplacing(float** inputs, float** outputs, int sampleFrames) noexcept override;
    int processEvents(const HostEvents* events) noexcept override;
    /// Hz, 44100..384000; others go to the nearest end, not a number to 44100. Silences
    /// everything. On the audio thread, while a writer holds the pause, it is done with the next
    /// block, and allocates there.
    void setSampleRate(double rate) override;
    /// 1..kLargestBlock; likewise. Bends return to the centre.
    void setBlockSize(int size) override;
    void close() override;

    // --- Parameters by host index, normalised ---
    void setParameter(int index, float value) override;
    void setParameterAutomated(int index, float value) override;
    float getParameter(int index) const override;
    void getParameterName(int index, char* text) const override;
    void getParameterDisplay(int index, char* text) const override;
    void getParameterLabel(int index, char* text) const override;

    /// Host index that the editor is moving, else -1: the host's echo of that gesture is dropped.
    Shared<int> parameterBeingEdited{-1};

    // --- Controls by id, control values; ids outside 0..153 read 0 and do nothing ---
    /// [any], but polyphony [!audio], since it waits for the block. With notifyEditor an open
    /// editor shows the value.
    void setControlValue(int id, float value, bool notifyEditor);
    void setControlSilently(int id, float value); ///< as above
    /// [!audio] To the sound without a place in the preset; the way of pitch_wheel.
    void setControlInternal(int id, float value);
    float getControlValue(int id) const noexcept; ///< [any]
    /// [any] What a control shows at a value, at most 511 characters; "-/-" by an unknown index.
    std::string controlText(int id, float value) const;
    std::string formatControl(int id) const; ///< at its present value
    std::string formatParameter(int index, float normalised) const;
    std::string controlName(int id) const; ///< the host's name, "-/-" if there is none
    /// [ui] Tells the host the present value of a control that it can automate.
    void notifyHostAutomate(int id);

    // --- Whole patches. [!audio] ---
    /// Every control from the preset to the engine.
    void applyAllControls();
    /// After the preset has been replaced: silence, all controls, and everybody is told.
    void applyCurrentPatch();
    /// Smoothed values jump to their targets.
    void snapSmoothers();
    /// Silences voices and effects.
    void resetVoicesAndEffects();

    // --- Holding the audio off. [!audio]; see AudioGate ---
    void pauseAudio() noexcept { gate.pauseAudio(); }
    void resumeAudio() noexcept { gate.resumeAudio(); }
    void waitForAudioIdle() noexcept { gate.waitForAudioIdle(); }

    // --- MIDI map and activity ---
    void startMidiLearn(int id) noexcept { map.startMidiLearn(id); }       ///< [ui] see MidiMap
    void forgetMidi(int id) noexcept { map.forgetMidi(id); }               ///< [ui]
    int ccOfControl(int id) const noexcept { return map.ccOfControl(id); } ///< [any] 255: none
    MidiActivity& midiActivity() noexcept { return midi.activity; }        ///< [any]

    // --- Patches. [ui]; in VstXSynthPatches.cpp ---
    /// The current patch as bytes, which belong to this object until the next call.
    int getChunk(void** data, bool isPreset) override;
    /// A patch from the host, and from loadPatchFile: in place of the current one, all of it or
    /// what is undamaged. Nothing happens without bytes. Returns byteSize.
    int setChunk(const void* data, int byteSize, bool isPreset) override;
    /// Loads a ".fxp" under its file name; other modes do nothing and succeed. A file that cannot
    /// be read fails silently, one of another instrument with a message; the patch stays then.
    /// `fromLibrary`: the patch stands for that file from now on; else it is like one of the host.
    bool loadPatchFile(const std::string& path, PatchFileMode mode, bool fromLibrary);
    /// Writes the current patch as ".fxp" and names it after the file, for which it stands from
    /// then on; on an error all stays as it was.
    std::error_code savePatchFile(const std::string& path);
    /// Every control to its default, locked ones too, and no info text.
    void initPatch();
    /// Has the user choose a file and loads or saves it.
    void selectPatchFile(PatchFileMode mode);
    /// Breeds the current patch out of state.parents; it stands for no file then. Nothing happens
    /// unless state.canBreed(). The seed makes a child that can be bred again.
    void breed(GeneticsState& state, std::uint32_t seed = geneticsSeedOfClock());
    /// Of the file that the patch stands for, else programName().
    std::string currentPatchName() const;

    std::string currentPatchPath; ///< [ui] the file that the patch stands for, empty if none
    std::string lastFolder;       ///< [ui] of the last file chosen, empty if none yet
    bool hostLoaded = false;      ///< [ui] the last chunk came from the host, not from a file
    Messages messages;            ///< [ui]

    // --- Programs. [ui]; in VstXSynthLibrary.cpp ---
    /// Number in the patch list of the library; 0 for a host that sees one program only.
    int getProgram() const override;
    void setProgram(int program) override;
    /// Does what MIDI has asked for since the last call, which may mean reading files: the editor
    /// when idle, a timer of the binding, or an offline host between processEvents and
    /// processReplacing. Program changes count the patches of the current bank as the library
    /// sorts them; numbers without a patch or a bank do nothing.
    void serviceRequests();
    bool hasRequests() const noexcept { return programRequest.pending(); } ///< [any] for those
    PatchLibrary* library() const noexcept { return ownLibrary.get(); }    ///< may be nullptr
    /// Stores the current patch in the library as a new one, where the browser points to. False if
    /// the name is taken, with a message, or the patch cannot be written; nothing has changed then.
    bool storeNewPatch(std::string_view name);
    /// Likewise the child that Genetics has bred last, in the bank "Genetics".
    bool storeChild();

    void setProgramName(const char* name) override; ///< keeps 31 bytes
    void getProgramName(char* text) const override; ///< at most 23 bytes; at least 24 characters
    std::string programName() const;                ///< in full
    /// As getProgramName, of any program that the host sees; false if there is none of this number.
    bool getProgramNameIndexed(int program, char* text) const;

    // --- What the plug-in is. [any] ---
    bool getOutputProperties(int index, PinProperties& properties) const override;
    bool getEffectName(char* text) const override;
    bool getVendorString(char* text) const override;
    bool getProductString(char* text) const override;
    int canDo(const char* name) const override;
    /// Only the host's mouse wheel, for an open editor.
    std::intptr_t vendorSpecific(std::int32_t first, std::intptr_t second, void* data,
                                 float value) override;

    PluginParameters& parameters() noexcept { return parameterStore; }
    PluginEditor* editor() const noexcept { return ownEditor.get(); } ///< may be nullptr
    const SynthEngine& engine() const noexcept { return soundEngine; }

    std::uint32_t engineWord = 0; ///< [ui] kept for the patch that stores it; nothing reads it

private:
    void adaptToHost();
    bool render(float** outputs, int sampleFrames) noexcept;
    void renderSubBlocks(float** outputs, int sampleFrames, double tempo) noexcept;
    double hostTempo() const noexcept;
    void carryOutSettings();
    void tellOfNewPatch();
    void tellOfNewName();
    void openLibrary(const VstXSynthOptions& options);
    void loadEntry(const PatchEntry& entry);
    const PatchEntry* currentEntry() const;
    bool storeAs(const PathText& newFile);
    void selectBank(int number);
    const PatchEntry* entryOfBank(int program) const;

    SettingsStore* const settings;
    FileSelector* const fileSelector;

    PluginParameters parameterStore;
    MidiMap map;
    SynthEngine soundEngine;
    AudioGate gate;
    ControlPath controls;
    ProgramRequest programRequest;
    MidiIntake midi;
    GeneticsEngine genetics;

    // Settings on their way to the engine, 0: none.
    std::atomic<double> sampleRateWanted{0.0};
    std::atomic<int> blockSizeWanted{0};

    bool isBuilt = false;            ///< the constructor is through
    bool hostIsOwn = false;          ///< the maker's own host
    bool hostKeepsSmoothers = false; ///< a new patch glides in instead of jumping
    bool programListHidden = true;   ///< the host sees one program, number 0
    bool loadedFromLibrary = false;  ///< setChunk runs on behalf of loadPatchFile
    std::array<float, SynthEngine::kSubBlock> unheard{}; ///< by a host that leaves an output out
    std::vector<std::uint8_t> chunkOfHost;               ///< lent by getChunk
    std::string currentBank;                             ///< of program changes
    int programIndex = 0;                                ///< last one selected

    std::unique_ptr<PatchLibrary> ownLibrary;
    std::unique_ptr<PluginEditor> ownEditor; ///< last: goes first
};

} // namespace zephra
