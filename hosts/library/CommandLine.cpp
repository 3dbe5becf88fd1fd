// SPDX-License-Identifier: GPL-3.0-or-later
#include "librarian/CommandLine.h"

#include "librarian/Librarian.h"
#include "library/LibraryPlaces.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <functional>
#include <iostream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace zephra::librarian {

namespace {

constexpr int kFailed = 1, kUsage = 2;

/// A wrong command line that the parser cannot see.
struct UsageError {
    std::string what;
};

/// All commands with their arguments; `carryOut` is what the one given does.
class CommandLine {
public:
    CommandLine()
    {
        app.set_help_flag("-h,--help", "print this help and exit");
        rootOption =
            app.add_option("--root", root, "soundbank root: the folder that holds the banks")
                ->option_text("DIR [the user's own library]");
        app.add_flag("--json", json, "print one JSON document");
        app.require_subcommand(1);
        addLooking();
        addPatchCommands();
        addBreed();
        addFolderCommands();
    }

    int run(int argc, const char* const* argv)
    {
        try {
            app.parse(argc, argv);
            if (rootOption->count() > 0 && root.empty()) // a variable of a script that is not set
                throw UsageError{"--root: an empty path"};
            return carryOutOn(root.empty() ? defaultSoundbankRoot() : std::filesystem::path(root));
        } catch (const CLI::CallForHelp&) {
            const auto given = app.get_subcommands();
            std::cout << (given.empty() ? &app : given.front())->help();
            return 0;
        } catch (const CLI::ParseError& error) {
            return usage(error.what());
        } catch (const UsageError& error) {
            return usage(error.what);
        }
    }

private:
    using Action = std::function<Report(Librarian&)>;

    int carryOutOn(const std::filesystem::path& place)
    {
        std::error_code error;
        const std::filesystem::directory_iterator readable(place, error);
        if (error || LibraryFiles(place).root().empty()) {
            std::cerr << "zephra-library: " << place.string() << ": "
                      << (error ? error.message() : "no library can be there") << '\n';
            return kFailed;
        }
        Librarian librarian(place, onlyLooks ? LibraryFiles::Access::ReadOnly
                                             : LibraryFiles::Access::ReadWrite);
        const Report report = carryOut(librarian);
        if (json) // names need not be UTF-8
            std::cout << report.json.dump(2, ' ', false,
                                          nlohmann::ordered_json::error_handler_t::replace)
                      << '\n';
        else
            std::cout << report.text;
        if (!std::cout.flush()) {
            std::cerr << "zephra-library: standard output: it cannot be written\n";
            return kFailed;
        }
        return librarian.failed() ? kFailed : 0;
    }

    static int usage(const std::string& what)
    {
        std::cerr << "zephra-library: " << what << "\n"
                  << "usage: zephra-library [--root DIR] [--json] COMMAND [arguments]\n";
        return kUsage;
    }

    CLI::App* command(const char* name, const char* help, Action action)
    {
        CLI::App* sub = app.add_subcommand(name, help);
        sub->callback([this, action = std::move(action)] { carryOut = action; });
        return sub;
    }
    CLI::App* lookingCommand(const char* name, const char* help, Action action)
    {
        CLI::App* sub = app.add_subcommand(name, help);
        sub->callback([this, action = std::move(action)] {
            carryOut = action;
            onlyLooks = true;
        });
        return sub;
    }

    void takePatches(CLI::App* sub)
    {
        sub->add_option("PATCH", patches, "paths below the root")->required();
    }
    void take(CLI::App* sub, const char* name, std::string& place)
    {
        sub->add_option(name, place)->required();
    }

    void addLooking()
    {
        lookingCommand("tree", "print banks and categories with their numbers of patches",
                       [](Librarian& librarian) { return librarian.tree(); });
        CLI::App* list =
            lookingCommand("list", "print the paths of patches",
                           [this](Librarian& librarian) { return librarian.list(filter); });
        CLI::Option* ofBank = list->add_option("--bank", filter.bank, "of this bank");
        // Not as a vector: the parser would take "[a,b]" for two.
        list->add_option_function<std::string>(
                "--category",
                [this](const std::string& name) { filter.categories.push_back(name); },
                "of this category; repeatable")
            ->trigger_on_parse();
        list->add_option("--author", filter.author, "with this author code; --- for unknown ones");
        list->add_option("--search", filter.search,
                         "whose names hold this text, or start with this one letter");
        list->add_flag("--uncategorized", filter.uncategorized, "directly in their banks");
        CLI::Option* favourites =
            list->add_flag("--favourites", filter.favourites, "favourites")->excludes(ofBank);
        list->add_flag("--trash", filter.trash, "in the trash")
            ->excludes(favourites)
            ->excludes(ofBank);
        CLI::App* show =
            lookingCommand("show", "print what is known about a patch",
                           [this](Librarian& librarian) { return librarian.show(first); });
        take(show, "PATCH", first);
    }

    void addPatchCommands()
    {
        CLI::App* move = command(
            "move", "move patches to another bank or category", [this](Librarian& librarian) {
                return moveBank->count() > 0 ? librarian.moveToBank(patches, bank)
                                             : librarian.moveToCategory(patches, category);
            });
        takePatches(move);
        CLI::Option_group* target = move->add_option_group("target");
        moveBank = target->add_option("--bank", bank, "keeping the category");
        target->add_option("--category", category,
                           "keeping the bank; \"\" for the bank's own level");
        target->require_option(1);

        CLI::App* rename = command("rename", "rename a patch", [this](Librarian& librarian) {
            return librarian.rename(first, second);
        });
        take(rename, "PATCH", first);
        take(rename, "NAME", second);

        CLI::App* duplicate = command(
            "duplicate", "copy a patch under a numbered name",
            [this](Librarian& librarian) { return librarian.duplicate(first, bank, category); });
        take(duplicate, "PATCH", first);
        duplicate->add_option("--bank", bank, "into this bank");
        duplicate->add_option("--category", category, "into this category");

        CLI::App* import =
            command("import", "copy a patch (.fxp), or a folder or ZIP archive as a new bank",
                    [this](Librarian& librarian) {
                        if (!(bank.empty() && category.empty()) && !Librarian::isPatchFile(first))
                            throw UsageError{"import: --bank and --category are for a patch"};
                        return librarian.importFrom(first, bank, category);
                    });
        take(import, "PATH", first);
        import->add_option("--bank", bank, "the patch into this bank");
        import->add_option("--category", category, "the patch into this category");

        takePatches(command("trash", "move patches to the trash",
                            [this](Librarian& librarian) { return librarian.trash(patches); }));
        takePatches(command("restore", "bring files (.bin) back from the trash",
                            [this](Librarian& librarian) { return librarian.restore(patches); }));
        takePatches(command("purge", "delete files (.bin) in the trash for good",
                            [this](Librarian& librarian) { return librarian.purge(patches); }));
        CLI::App* favourite =
            app.add_subcommand("favourite", "mark or unmark favourites: PATCH... on|off");
        takePatches(favourite);
        favourite->callback([this] {
            const std::string state = patches.back();
            if (patches.size() < 2 || (state != "on" && state != "off"))
                throw UsageError{"favourite: the last argument is on or off"};
            patches.pop_back();
            carryOut = [this, on = state == "on"](Librarian& librarian) {
                return librarian.setFavourites(patches, on);
            };
        });
    }

    void addBreed()
    {
        CLI::App* breed = app.add_subcommand("breed", "have two or three patches make a child");
        breed->callback([this] {
            if (!(how.mix >= 0.0f && how.mix <= 1.0f))
                throw UsageError{"--mix: a number from 0 to 1"};
            how.seed &= 0xffffu;
            onlyLooks = !how.store;
            carryOut = [this](Librarian& librarian) { return librarian.breed(patches, how); };
        });
        takePatches(breed);
        breed->get_option("PATCH")->expected(2, 3);
        breed->add_option("--mix", how.mix, "0: all from the first, 1: all parents alike")
            ->capture_default_str();
        breed->add_option("--seed", how.seed,
                          "for a child that can be bred again; the low 16 bits count");
        CLI::Option_group* target = breed->add_option_group("target");
        target->add_flag("--store", how.store,
                         "into the bank Genetics, under the time of its birth");
        target->add_option("--out", how.outFile, "into this file")->option_text("FILE.fxp");
        target->require_option(1);
    }

    void addFolderCommands()
    {
        command("restore-all", "bring everything back from the trash",
                [](Librarian& librarian) { return librarian.restoreAll(); });
        command("clear-trash", "delete everything in the trash for good",
                [](Librarian& librarian) { return librarian.clearTrash(); });
        command("clear-favourites", "unmark all favourites",
                [](Librarian& librarian) { return librarian.clearFavourites(); });

        using OneName = Report (Librarian::*)(const std::string&);
        const auto onName = [this](const char* name, const char* help, const char* argument,
                                   OneName act) {
            take(command(name, help,
                         [this, act](Librarian& librarian) { return (librarian.*act)(first); }),
                 argument, first);
        };
        onName("create-bank", "make a bank", "NAME", &Librarian::createBank);
        onName("create-category", "make a category in the bank User", "NAME",
               &Librarian::createCategory);
        onName("delete-bank", "delete a bank without patches", "BANK", &Librarian::deleteBank);
        onName("delete-category", "delete a category without patches, in all banks", "CATEGORY",
               &Librarian::deleteCategory);

        using TwoNames = Report (Librarian::*)(const std::string&, const std::string&);
        const auto onTwoNames = [this](const char* name, const char* help, const char* argument,
                                       TwoNames act) {
            CLI::App* sub = command(name, help, [this, act](Librarian& librarian) {
                return (librarian.*act)(first, second);
            });
            take(sub, argument, first);
            take(sub, "NAME", second);
        };
        onTwoNames("rename-bank", "rename a bank", "BANK", &Librarian::renameBank);
        onTwoNames("rename-category", "rename a category in all banks", "CATEGORY",
                   &Librarian::renameCategory);
    }

    std::string root;
    CLI::Option* rootOption = nullptr;
    bool json = false;
    bool onlyLooks = false;
    Action carryOut;

    // Arguments of the commands.
    ListFilter filter;
    std::vector<std::string> patches;
    std::string first, second, bank, category;
    CLI::Option* moveBank = nullptr;
    BreedOptions how;

    CLI::App app{"The Zephra's patch library from the command line.", "zephra-library"};
};

} // namespace

int run(int argc, const char* const* argv) { return CommandLine().run(argc, argv); }

} // namespace zephra::librarian
