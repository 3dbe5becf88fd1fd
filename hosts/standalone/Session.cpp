// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/Session.h"

#include "library/LibraryPlaces.h"
#include "library/PatchLibrary.h"
#include "library/ProgramFile.h"
#include "song/Failure.h"
#include "song/MidiFile.h"
#include "standalone/StatusLine.h"

#include <array>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <poll.h>
#include <span>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace zephra::standalone {
namespace {

namespace fs = std::filesystem;

constexpr const char* kDeviceSetting = "AudioDevice";
constexpr const char* kMidiSetting = "MidiPort";
constexpr std::size_t kLongestWish = 256; // bytes
constexpr auto kLookInterval = std::chrono::seconds(1);
constexpr int kTickMs = 50;
constexpr double kSongTempo = 120.0; // until the song sets one

VstXSynthOptions instrumentOptions(SettingsStore& settings)
{
    VstXSynthOptions options;
    options.settings = &settings;
    options.soundbankRoot = defaultSoundbankRoot();
    options.factoryBanks = installedFactoryBanks();
    return options;
}

/// A patch by its path below the root of the library, with or without extension.
const PatchEntry* findInLibrary(const PatchLibrary& library, const std::string& name)
{
    for (const std::string& path : {name, name + ".fxp"})
        if (const PatchEntry* entry =
                library.findByPath(library.root() + std::string(libraryPath(path))))
            return entry;
    return nullptr;
}

std::string joined(const std::vector<std::string>& names)
{
    std::string all;
    for (const std::string& name : names)
        all += (all.empty() ? "" : ", ") + name;
    return all;
}

} // namespace

void listDevices()
{
    const std::vector<OutputDevice> devices = outputDevices();
    std::cout << (devices.empty() ? "There is no sound device.\n" : "Sound devices\n");
    for (const OutputDevice& device : devices)
        std::cout << "  " << printable(device.label) << ", " << device.rate << " Hz\n";

    LiveInstrument unheard{VstXSynthOptions{}};
    std::unique_ptr<AudioOutput> jack; // the server knows ports of its own
    if (!devices.empty() && devices.front().api == OutputDevice::kJack)
        jack = openOutput(devices.front(), unheard, 0, 0);
    const std::vector<std::string> ports =
        MidiInputs(unheard.midi(), MidiInputs::kNone, jack ? jack->midi() : nullptr).ports();
    std::cout << (ports.empty() ? "There is no MIDI port.\n" : "MIDI ports\n");
    for (const std::string& port : ports)
        std::cout << "  " << printable(port) << '\n';
}

// --- Start ----------------------------------------------------------------------------------

Session::Session(const Options& commandLine)
    : options(commandLine), instrument(instrumentOptions(settings)), keys(instrument.midi())
{
    if (!options.song.empty())
        instrument.play(readMidiFile(options.song, kSongTempo));
    openDevice();
    startPatch();
    remember(options.device, kDeviceSetting);
    remember(options.midi, kMidiSetting);

    VstXSynth& synth = instrument.synth();
    synth.messages.setHandler(
        [this](std::string_view, std::string_view text) { terminal.say(text); });
    instrument.onNewProgram = [this] { tellWhatPlays(); };
    terminal.enter();
    terminal.say("The Zephra on " + device.label + ", " + std::to_string(audio->rate()) +
                 " Hz, blocks of " + std::to_string(audio->block()));
    if (terminal.hasKeys())
        terminal.say("Keys: the rows Z S X D C and Q 2 W 3 E play, Space is the pedal, the arrows "
                     "change octave and patch, Esc ends.");
    tellWhatPlays();
    startSound();
}

std::string Session::wishFor(const std::optional<std::string>& option, const char* setting)
{
    if (option)
        return *option == Options::kAny ? std::string() : *option;
    const auto bytes = settings.read(setting);
    return bytes && bytes->size() <= kLongestWish ? std::string(bytes->begin(), bytes->end())
                                                  : std::string();
}

void Session::remember(const std::optional<std::string>& option, const char* setting)
{
    if (!option)
        return;
    const std::string wish = wishFor(option, setting);
    settings.write(setting, {reinterpret_cast<const std::uint8_t*>(wish.data()), wish.size()});
}

void Session::openDevice()
{
    const std::vector<OutputDevice> devices = outputDevices();
    if (devices.empty())
        throw Failure("there is no sound device here, neither of JACK, PulseAudio nor ALSA; "
                      "zephra-render SONG.mid --out SONG.wav plays into a file instead",
                      kNoSoundStatus);
    const std::string wish = wishFor(options.device, kDeviceSetting);
    const OutputDevice* found = findDevice(devices, wish);
    if (!found && options.device)
        throw fileFailure(wish, "there is no such sound device; --list-devices tells which are");
    device = found ? *found : devices.front(); // a remembered one may be unplugged
    try {
        audio = openOutput(device, instrument, options.rate, options.block);
    } catch (const std::runtime_error& error) {
        throw fileFailure(device.label, error.what());
    }
}

void Session::startPatch()
{
    VstXSynth& synth = instrument.synth();
    if (options.patch.empty())
        return;
    std::string path = options.patch;
    std::error_code error;
    if (!fs::is_regular_file(path, error) && synth.library())
        if (const PatchEntry* entry = findInLibrary(*synth.library(), path))
            path = nativePath(entry->path).string();
    if (!synth.loadPatchFile(path, PatchFileMode::LoadProgram, true))
        throw fileFailure(options.patch, readProgramFile(path).why);
}

void Session::startSound()
{
    try {
        audio->start();
    } catch (const std::runtime_error& error) {
        throw fileFailure(device.label, error.what());
    }
    midi.emplace(instrument.midi(), wishFor(options.midi, kMidiSetting), audio->midi());
    nextLook = Clock::now();
}

void Session::loseSound()
{
    droppedBefore = dropped();
    midi.reset(); // ahead of the system that it asks
    audio.reset();
}

int Session::dropped() const noexcept { return droppedBefore + (audio ? audio->dropped() : 0); }

void Session::tellWhatPlays()
{
    terminal.setTitle("The Zephra: " + instrument.synth().programName());
}

// --- The loop -------------------------------------------------------------------------------

void Session::run()
{
    while (!ended) {
        const bool typed = waitForNews();
        takeSignals();
        if (typed)
            takeKeys();
        keys.releaseOld(Clock::now());
        instrument.synth().serviceRequests();
        if (Clock::now() >= nextLook)
            lookAround();
        if (instrument.songIsOver() && !terminal.hasKeys())
            ended = true;
        draw();
    }
    loseSound();
    terminal.leave();
    if (dropped() > 0)
        terminal.say("Dropped blocks: " + std::to_string(dropped()));
}

/// Until the next tick, a signal or a key. True if there is something to read from the terminal.
bool Session::waitForNews()
{
    std::array<pollfd, 2> sources = {
        {{signals.descriptor(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
    ::poll(sources.data(), terminal.hasKeys() ? 2 : 1, kTickMs);
    return sources[1].revents != 0;
}

void Session::takeSignals()
{
    while (const int signal = signals.take()) {
        if (signal == SIGTSTP || signal == SIGTTIN || signal == SIGTTOU) {
            terminal.leave();
            std::raise(SIGSTOP);
        } else if (signal == SIGCONT) {
            terminal.enter();
        } else {
            ended = true;
        }
    }
}

void Session::takeKeys()
{
    for (const KeyCommand command : keys.take(terminal.read(), Clock::now())) {
        switch (command) {
        case KeyCommand::PreviousPatch: stepPatch(-1); break;
        case KeyCommand::NextPatch: stepPatch(1); break;
        case KeyCommand::End: ended = true; break;
        }
    }
}

/// Once a second: has a keyboard or the sound device come or gone?
void Session::lookAround()
{
    nextLook = Clock::now() + kLookInterval;
    if (audio && audio->isLost()) {
        terminal.say("The sound device has gone.");
        loseSound();
    }
    if (!audio) {
        try {
            openDevice();
            startSound();
            terminal.say("The sound is back, on " + device.label);
        } catch (const Failure&) { // not yet
            loseSound();
        }
    }
    if (midi && midi->refresh()) {
        keyboards = joined(midi->connected());
        terminal.say(keyboards.empty() ? "No keyboard is connected." : "Connected: " + keyboards);
    }
}

void Session::stepPatch(int by)
{
    VstXSynth& synth = instrument.synth();
    PatchLibrary* library = synth.library();
    if (!library)
        return;
    library->buildView(libraryPath(synth.currentPatchPath));
    if (const PatchEntry* entry = library->stepPatch(by))
        synth.loadPatchFile(nativePath(entry->path).string(), PatchFileMode::LoadProgram, true);
}

void Session::draw()
{
    if (!terminal.hasLine() || ended)
        return;
    Status status;
    status.patch = instrument.synth().programName();
    status.peak = instrument.takePeak();
    status.octave = keys.octave();
    status.pedal = keys.pedal();
    status.dropped = dropped();
    status.hasSound = audio != nullptr;
    status.keyboards = keyboards;
    terminal.drawLine(statusLine(status, terminal.columns()));
}

} // namespace zephra::standalone
