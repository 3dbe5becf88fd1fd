// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/RenderOptions.h"

#include "render/ControlNames.h"
#include "render/OptionFields.h"
#include "song/Failure.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iostream>

namespace zephra::render {
namespace {

constexpr int kLowestRate = 44100, kHighestRate = 384000; ///< Hz, what the instrument serves
constexpr int kHighestRateTaken = 1'000'000'000;          ///< Hz
constexpr int kLargestBlock = 8192;

/// Any number; what is no tempo counts as 120, as for the instrument.
double readTempo(const std::string& option, const std::string& text)
{
    double beatsPerMinute = 0.0;
    if (!readNumber(text, beatsPerMinute))
        throw usageFailure(option, "\"" + text + "\" is not a number");
    return std::isfinite(beatsPerMinute) && beatsPerMinute > 0.0 ? beatsPerMinute : 120.0;
}

/// NAME=VALUE
ControlSetting readSetting(const std::string& option, const std::string& text)
{
    const std::size_t equals = text.find('=');
    if (equals == text.npos)
        throw usageFailure(option, "\"" + text + "\" is not of the form NAME=VALUE");
    ControlSetting setting{controlNamed(option, text.substr(0, equals)).id, 0.0};
    if (!readNumber(text.substr(equals + 1), setting.value))
        throw usageFailure(option, "\"" + text.substr(equals + 1) + "\" is not a number");
    return setting;
}

/// NAME=VALUE@TIME
ControlChange readChange(const std::string& option, const std::string& text)
{
    const std::size_t at = text.rfind('@');
    if (at == text.npos)
        throw usageFailure(option, "\"" + text + "\" is not of the form NAME=VALUE@TIME");
    const OptionFields time(option, text.substr(at + 1), "NAME=VALUE@TIME", 1, 1);
    return {readSetting(option, text.substr(0, at)), time.time(0, "TIME")};
}

PlayedNote readNote(const std::string& option, const std::string& text)
{
    const OptionFields fields(option, text, "KEY,VELOCITY,ON,OFF[,CHANNEL]", 4, 5);
    const PlayedNote note{fields.integer(0, "KEY", 0, 127), fields.integer(1, "VELOCITY", 1, 127),
                          fields.time(2, "ON"), fields.time(3, "OFF"), fields.channel(4)};
    if (note.off <= note.on)
        throw usageFailure(option, "\"" + text + "\" ends before it starts");
    return note;
}

PlayedMessage played(double seconds, int kind, int channel, int data1, int data2)
{
    return {seconds,
            {static_cast<std::uint8_t>(kind | channel), static_cast<std::uint8_t>(data1),
             static_cast<std::uint8_t>(data2)}};
}

PlayedMessage readController(const std::string& option, const std::string& text)
{
    const OptionFields fields(option, text, "NUMBER,VALUE,TIME[,CHANNEL]", 3, 4);
    return played(fields.time(2, "TIME"), 0xb0, fields.channel(3),
                  fields.integer(0, "NUMBER", 0, 127), fields.integer(1, "VALUE", 0, 127));
}

PlayedMessage readBend(const std::string& option, const std::string& text)
{
    const OptionFields fields(option, text, "VALUE,TIME[,CHANNEL]", 2, 3);
    const double bend = fields.real(0, "VALUE", -1.0, 1.0);
    const int word = std::min(static_cast<int>(std::lround((bend + 1.0) * 8192.0)), 16383);
    return played(fields.time(1, "TIME"), 0xe0, fields.channel(2), word & 0x7f, word >> 7);
}

PlayedMessage readPressure(const std::string& option, const std::string& text)
{
    const OptionFields fields(option, text, "VALUE,TIME[,CHANNEL]", 2, 3);
    return played(fields.time(1, "TIME"), 0xd0, fields.channel(2),
                  fields.integer(0, "VALUE", 0, 127), 0);
}

PlayedMessage readProgram(const std::string& option, const std::string& text)
{
    const OptionFields fields(option, text, "NUMBER,TIME[,CHANNEL]", 2, 3);
    return played(fields.time(1, "TIME"), 0xc0, fields.channel(2),
                  fields.integer(0, "NUMBER", 0, 127), 0);
}

SampleFormat readFormat(const std::string& option, const std::string& text)
{
    if (text == "f32")
        return SampleFormat::Float32;
    if (text == "s24")
        return SampleFormat::Int24;
    if (text == "s16")
        return SampleFormat::Int16;
    throw usageFailure(option, "\"" + text + "\" is none of f32, s24 and s16");
}

/// Every option with its place in RenderOptions. Each occurrence is read as it is met, so that
/// lists keep the order of the command line across options.
class CommandLine {
public:
    CommandLine()
    {
        app.set_help_flag("-h,--help", "print this help and exit");
        app.allow_extras();
        app.add_option("SONG", options.song, "Standard MIDI File, format 0 or 1")
            ->option_text("[SONG.mid]");
        take("--out", "FILE.wav", "file to write; - for standard output",
             [this](auto&, auto& text) { options.out = text; });
        addEvents();
        addRendering();
        addPatches();
    }

    std::optional<RenderOptions> read(int argc, const char* const* argv)
    {
        try {
            app.parse(argc, argv);
        } catch (const CLI::CallForHelp&) {
            std::cout << app.help();
            return std::nullopt;
        } catch (const CLI::ParseError& error) {
            throw Failure(error.what(), kUsageStatus);
        }
        if (const auto extras = app.remaining(); !extras.empty())
            throw usageFailure(extras.front(), extras.front().starts_with('-')
                                                   ? "there is no such option"
                                                   : "only one song can be played");
        check();
        return options;
    }

private:
    template <class Reader>
    void take(const std::string& name, const char* form, const char* help, Reader reader)
    {
        app.add_option_function<std::string>(
               name, [name, reader](const std::string& text) { reader(name, text); }, help)
            ->option_text(form)
            ->trigger_on_parse();
    }

    /// An option that may be repeated: `reader` gives one entry of `list`.
    template <class Entry, class Reader>
    void collect(const std::string& name, const char* form, const char* help,
                 std::vector<Entry>& list, Reader reader)
    {
        take(name, form, help, [&list, reader](const std::string& option, const std::string& text) {
            list.push_back(reader(option, text));
        });
    }

    void addEvents()
    {
        collect("--set", "NAME=VALUE", "give a control a control value before the start",
                options.settings, readSetting);
        collect("--auto", "NAME=VALUE@TIME", "the same from the host's side at a time",
                options.automation, readChange);
        collect("--note", "KEY,VELOCITY,ON,OFF[,CHANNEL]", "play a note; times in seconds",
                options.notes, readNote);
        collect("--cc", "NUMBER,VALUE,TIME[,CHANNEL]", "move a controller", options.controllers,
                readController);
        collect("--bend", "VALUE,TIME[,CHANNEL]", "bend the pitch, -1..1", options.controllers,
                readBend);
        collect("--pressure", "VALUE,TIME[,CHANNEL]", "channel pressure 0..127",
                options.controllers, readPressure);
        collect("--program", "NUMBER,TIME[,CHANNEL]",
                "play a patch of the library's current bank from a time on", options.controllers,
                readProgram);
    }

    void addRendering()
    {
        take("--tempo", "BPM", "tempo before the first tempo event of the song [120]",
             [this](const std::string& option, const std::string& text) {
                 options.tempo = readTempo(option, text);
             });
        take("--rate", "HZ",
             "sample rate; below 44100 and above 384000 the nearest of them [48000]",
             [this](const std::string& option, const std::string& text) {
                 const int rate =
                     OptionFields(option, text, "HZ", 1, 1).integer(0, "HZ", 1, kHighestRateTaken);
                 options.rate = std::clamp(rate, kLowestRate, kHighestRate);
             });
        take("--block", "N", "host block size in samples, 1..8192 [512]",
             [this](const std::string& option, const std::string& text) {
                 options.block =
                     OptionFields(option, text, "N", 1, 1).integer(0, "N", 1, kLargestBlock);
             });
        take("--seconds", "S", "exact length of the file [until 0.5 s of silence]",
             [this](const std::string& option, const std::string& text) {
                 options.seconds = OptionFields(option, text, "S", 1, 1).time(0, "S");
             });
        take("--format", "f32|s24|s16", "sample format [f32]",
             [this](const std::string& option, const std::string& text) {
                 options.format = readFormat(option, text);
             });
        app.add_flag("--no-snap", noSnap, "leave smoothers where they are after loading");
        app.add_flag("--quiet", options.quiet, "no progress bar and no summary");
        app.add_flag("--json", options.json, "the summary as JSON on standard output");
        app.add_flag("--list-controls", options.listControls, "print all controls and exit");
    }

    void addPatches()
    {
        path("--library", "DIR",
             "open a folder of soundbanks; the instrument then starts with its first patch",
             options.library);
        path(
            "--list-patches", "DIR",
            "print bank, category, name and path of all patches in a folder of soundbanks and exit",
            options.listPatches);
        path("--patch", "FILE.fxp", "load a patch before the settings [the Init Patch]",
             options.patch);
        path("--save-patch", "FILE.fxp", "write the state after --patch and --set as a patch",
             options.savePatch);
        path("--dump", "FILE.fxp", "print a patch as a list and exit", options.dump);
        path("--dump-xml", "FILE.fxp", "print a patch as XML and exit", options.dumpXml);
    }

    void path(const std::string& name, const char* form, const char* help, std::string& place)
    {
        take(name, form, help, [&place](const std::string& option, const std::string& text) {
            if (text.empty())
                throw usageFailure(option, "the name of the file is missing");
            place = text;
        });
    }

    void check()
    {
        options.snap = !noSnap;
        if (options.listControls || !options.listPatches.empty() || !options.dump.empty() ||
            !options.dumpXml.empty())
            return;
        if (options.out.empty())
            throw usageFailure("--out", "the file to write is missing");
        if (options.out == "-" && options.json)
            throw usageFailure("--json", "standard output already takes the WAV file");
        if (options.out == "-" && options.savePatch == "-")
            throw usageFailure("--save-patch", "standard output already takes the WAV file");
        namespace fs = std::filesystem;
        std::error_code noSuchPlace;
        const auto place = [&](const std::string& path) {
            return fs::weakly_canonical(fs::absolute(path), noSuchPlace);
        };
        if (!options.savePatch.empty() && place(options.savePatch) == place(options.out))
            throw usageFailure("--save-patch", "the WAV file already goes to this place");
    }

    RenderOptions options;
    bool noSnap = false;
    CLI::App app{"Renders a song and notes with The Zephra into a WAV file.", "zephra-render"};
};

} // namespace

std::optional<RenderOptions> readOptions(int argc, const char* const* argv)
{
    return CommandLine().read(argc, argv);
}

} // namespace zephra::render
