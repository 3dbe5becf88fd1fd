// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/TempFolder.h"
#include "torture/Check.h"

#include <CLI/CLI.hpp>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>

// plugin-torture: does to a built plug-in what hosts do at their worst, each check in a process of
// its own, so that a crash is one line of the list. Folders of the user are replaced by empty ones.

namespace zephra::torture {

namespace {

namespace fs = std::filesystem;

enum class Outcome : int { Crashed, Passed, Skipped, Failed };

/// What a check leaves in memory that its process shares with this one.
struct Report {
    Outcome outcome;
    long blocks, others;
    char unit[32];
    char text[2048]; ///< why it failed or was skipped
};

struct Options {
    std::string format;
    fs::path library, banks;
    std::string only;
    bool longForm = false, list = false;
};

/// In a child, which is stopped if it hangs.
void run(const Check& check, Format& format, bool longForm, Report& report)
{
    report = {};
    const auto say = [&report](Outcome outcome, const std::string& text) {
        report.outcome = outcome;
        text.copy(report.text, sizeof report.text - 1);
    };
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(longForm || kSanitized ? 1200 : 120);
        Bench bench{format, longForm};
        try {
            check.run(bench);
            report.outcome = Outcome::Passed;
        } catch (const Skip& reason) {
            say(Outcome::Skipped, reason.what());
        } catch (const std::exception& failure) {
            say(Outcome::Failed, failure.what());
        }
        report.blocks = bench.blocks;
        report.others = bench.others;
        std::snprintf(report.unit, sizeof report.unit, "%s", bench.unit);
        std::exit(0); // sanitizers look for leaks then
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (status != 0)
        say(Outcome::Crashed, WIFSIGNALED(status) ? ::strsignal(WTERMSIG(status)) : "at its end");
}

std::string counts(const Report& report)
{
    std::string text;
    if (report.blocks)
        text = std::to_string(report.blocks) + " blocks";
    if (report.others)
        text += (text.empty() ? "" : ", ") + std::to_string(report.others) + ' ' + report.unit;
    return text;
}

/// The user's folders for all checks: settings that nobody has made, and a library of these banks.
void useFolders(const test::TempFolder& temp, const fs::path& banks)
{
    for (const auto& [variable, folder] : {std::pair{"HOME", "home"},
                                           {"ZEPHRA_DATA_ROOT", "data"},
                                           {"ZEPHRA_SETTINGS_DIR", "settings"}}) {
        fs::create_directory(temp / folder);
        ::setenv(variable, (temp / folder).c_str(), 1);
    }
    if (banks.empty())
        fs::create_directory(temp / "data" / "Soundbanks");
    else
        fs::copy(banks, temp / "data" / "Soundbanks", fs::copy_options::recursive);
}

int runAll(const Options& options)
{
    const auto format = makeFormat(options.format, fs::absolute(options.library));
    if (!format) {
        std::fprintf(stderr, "plugin-torture: %s: there is no such format\n",
                     options.format.c_str());
        return 2;
    }
    const test::TempFolder temp;
    useFolders(temp, options.banks);
    void* const shared =
        ::mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Report& report = *static_cast<Report*>(shared);

    int tally[4] = {};
    constexpr const char* kWords[] = {"CRASHED", "ok", "skipped", "FAILED"};
    const auto start = std::chrono::steady_clock::now();
    for (const auto group : {libraryChecks(), soundChecks(), eventChecks(), parameterChecks(),
                             stateChecks(), lifeChecks()}) {
        for (const Check& check : group) {
            if (!std::string_view(check.name).starts_with(options.only))
                continue;
            if (options.list) {
                std::printf("%-20s  %s\n", check.name, check.claim);
                continue;
            }
            const auto before = std::chrono::steady_clock::now();
            std::fflush(stdout);
            run(check, *format, options.longForm, report);
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - before;
            const auto outcome = static_cast<std::size_t>(report.outcome);
            ++tally[outcome];
            std::printf("%-20s  %-7s %6.1f s  %s  (%s)\n", check.name, kWords[outcome],
                        took.count(), check.claim, counts(report).c_str());
            if (report.text[0])
                std::printf("%22s%s\n", "", report.text);
        }
    }
    if (options.list)
        return 0;
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    std::printf("%s: %d checks passed, %d failed, %d crashed, %d skipped in %.0f s\n",
                format->name().c_str(), tally[1], tally[3], tally[0], tally[2], took.count());
    return tally[0] + tally[3] == 0 ? 0 : 1;
}

} // namespace

} // namespace zephra::torture

int main(int argc, char** argv)
{
    zephra::torture::Options options;
    CLI::App app("Does to a plug-in what hosts do at their worst.", "plugin-torture");
    app.add_option("FORMAT", options.format, "format of the plug-in: vst2")->required();
    app.add_option("LIBRARY", options.library, "the built plug-in library")->required();
    app.add_option("--banks", options.banks, "a soundbank root to copy for the user's library");
    app.add_option("--only", options.only, "checks whose names begin so");
    app.add_flag("--long", options.longForm, "takes minutes instead of seconds");
    app.add_flag("--list", options.list, "prints what would be checked");
    CLI11_PARSE(app, argc, argv);
    return zephra::torture::runAll(options);
}
