// rampart: the command line host.
#include <CLI/CLI.hpp>
#include <iostream>

#include "commands.h"
#include "common/exit_code.h"
#include "engine/vaultlib.h"
#include "output.h"
#include "task_options.h"
#include "usage_error.h"

namespace rampart::cli {

namespace {

constexpr char kExamples[] = R"(
Examples:
  rampart backup ~/documents                      back up a folder into the configured vault
  rampart backup /etc /srv --vault /mnt/disk/v    two folders into a vault on another disk
  rampart backup ~/src --exclude 'build/' --exclude '*.o'
  rampart ls                                      what the vault holds
  rampart versions ~/documents/letter.odt         the versions kept of one file
  rampart restore documents --into /tmp/back      everything, as it was last
  rampart restore documents --into /tmp/old --at '2026-11-20 18:00'
  rampart diff documents                          what changed on the disk since the last backup
  rampart mount /mnt/look                         the vault as a folder: latest/, at/2026-11-20T18:00/
  rampart task add ~/documents --name documents --daily 02:30
  rampart task next                               when and why each task runs next
  rampart status --watch                          what runs at this moment
  rampart events --follow                         what happened, and what happens
  rampart vault verify --read-data                check every stored byte

Exit codes: 0 done, 1 failed, 2 wrong usage, 3 done but something was left out, 6 cancelled.)";

struct CommandLine {
    CommonOptions common;
    BackupOptions backup;
    RestoreOptions restore;
    ListOptions list;
    ListOptions versions;
    DiffOptions diff;
    MountOptions mount;
    StatusOptions status;
    EventOptions events;
    VerifyOptions verify;
    SettingOptions setting;
    TaskOptions task;
};

void AddCommonOptions(CLI::App& app, CommonOptions& common) {
    app.add_option("--vault", common.vault,
                   "Vault to use: a folder or vault:///folder (default: the configured one)")
        ->envname("RAMPART_VAULT");
    app.add_flag("--json", common.json, "Print the result as JSON");
    app.add_flag("-q,--quiet", common.quiet, "Print errors and warnings only");
    auto* const yes = app.add_flag("-y,--yes", common.yes, "Answer questions with yes");
    app.add_flag("--no", common.no, "Answer questions with no")->excludes(yes);
}

void AddBackup(CLI::App& app, CommandLine& line, int& exitCode) {
    CLI::App* const command = app.add_subcommand("backup", "Back up files and folders");
    command->add_option("paths", line.backup.paths, "Files and folders to back up")->required();
    command->add_option("--to", line.backup.to, "Folder in the vault (default: machine name/task name)");
    command->add_option("--name", line.backup.name, "Name of the task (default: the task of these sources)");
    command
        ->add_option(
            "--exclude", line.backup.exclude,
            "Leave out what matches: a name or path with * and ?; one that ends in / names folders only")
        ->allow_extra_args(false);
    command->add_option("--include", line.backup.include, "Take only what matches, by the same patterns")
        ->allow_extra_args(false);
    command
        ->add_option("--versions", line.backup.versions,
                     "Versions to keep of each file, the present one included")
        ->check(CLI::Range(1, 1000000));
    AddLimit(*command, line.backup.limit);
    command->add_flag("--special", line.backup.special,
                      "Keep named pipes and devices, too (for good: config set special-files on)");
    command->footer("While it runs on a terminal: p pauses it and lets it go on, q cancels it.");
    command->callback([&] { exitCode = RunBackup(line.common, line.backup); });
}

void AddRestore(CLI::App& app, CommandLine& line, int& exitCode) {
    CLI::App* const command = app.add_subcommand("restore", "Bring files back");
    command->add_option("what", line.restore.what, "Name of a task, or a path in the vault")->required();
    auto* const into =
        command->add_option("--into", line.restore.into, "Folder to restore into; made if it is missing");
    command->add_flag("--in-place", line.restore.inPlace, "Restore to where it came from")->excludes(into);
    auto* const version = command
                              ->add_option("--version", line.restore.version,
                                           "Which version of each file: 1 is the newest, 2 the one before it")
                              ->check(CLI::Range(1, 1000000));
    command
        ->add_option("--at", line.restore.at,
                     "The state at a moment of local time, 'YYYY-MM-DD', 'YYYY-MM-DD HH:MM' or with seconds")
        ->excludes(version);
    command->add_flag("--deleted", line.restore.deleted, "Also what is not there any more");
    command
        ->add_option("--overwrite", line.restore.overwrite,
                     "What becomes of files that differ from the stored ones: never (the default), older or "
                     "always are replaced; always where nothing stands behind it")
        ->check(CLI::IsMember({"never", "older", "always"}));
    command
        ->add_option("--include", line.restore.include,
                     "Only what matches: a name or path with * and ?; one that ends in / names folders")
        ->allow_extra_args(false);
    command->add_option("--exclude", line.restore.exclude, "Leave out what matches, by the same patterns")
        ->allow_extra_args(false);
    command->add_flag("--no-owner", line.restore.noOwner,
                      "Leave owner and group as they come (the default for whoever is no administrator)");
    command->add_flag("--verify", line.restore.verify, "Read back and compare what was written");
    command->add_flag("-n,--dry-run", line.restore.dryRun, "Only say what would be done");
    command->callback([&] { exitCode = RunRestore(line.common, line.restore); });
}

void AddListings(CLI::App& app, CommandLine& line, int& exitCode) {
    CLI::App* const list = app.add_subcommand("ls", "List tasks, or a folder of the vault");
    list->add_option("path", line.list.path, "Name of a task, or a path in the vault (default: the tasks)");
    list->add_flag("-r,--recursive", line.list.recursive, "With everything below");
    list->add_flag("--deleted", line.list.deleted, "Also what is not there any more, with the date");
    list->add_option("--at", line.list.at, "As it was at a moment of local time");
    list->callback([&] { exitCode = RunList(line.common, line.list); });

    CLI::App* const versions = app.add_subcommand("versions", "List the versions kept of a file");
    versions->add_option("file", line.versions.path, "A local file that is backed up, or a path in the vault")
        ->required();
    versions->callback([&] { exitCode = RunVersions(line.common, line.versions); });

    CLI::App* const diff =
        app.add_subcommand("diff", "List what differs between two moments, or a moment and the disk");
    diff->add_option("what", line.diff.what, "Name of a task, or a path in the vault")->required();
    diff->add_option("--at", line.diff.at,
                     "A moment of local time. Twice: from the first to the second; once: from it to the disk "
                     "as it is now; not at all: from what was stored last to the disk")
        ->allow_extra_args(false);
    diff->footer(
        "+ added, - gone, M content changed, A only attributes (rights, owner, time, ...), T of another "
        "kind.");
    diff->callback([&] { exitCode = RunDiff(line.common, line.diff); });

    CLI::App* const mount = app.add_subcommand("mount", "Show the vault as a folder, for reading");
    mount->add_option("folder", line.mount.folder, "An empty folder")->required();
    mount->add_flag("--foreground", line.mount.foreground, "Stay with the terminal, until Ctrl-C");
    mount->footer(
        "latest/TASK is a task as its last run left it, at/MOMENT/TASK as it was then; at/ lists the runs of "
        "which "
        "this\nmachine knows, and any moment can be typed, as for --at. End it with: fusermount3 -u FOLDER");
    mount->callback([&] { exitCode = RunMount(line.common, line.mount); });
}

void AddWatching(CLI::App& app, CommandLine& line, int& exitCode) {
    CLI::App* const status = app.add_subcommand("status", "Show what runs at this moment and what waits");
    status->add_flag("-w,--watch", line.status.watch, "Go on showing it, until q or Ctrl-C");
    status->callback([&] { exitCode = RunStatus(line.common, line.status); });

    CLI::App* const events = app.add_subcommand("events", "List what happened, the newest last");
    events->add_option("task", line.events.task, "Name of a task (default: all)");
    events->add_option("--last", line.events.last, "So many of them (default: 20)")
        ->check(CLI::Range(1, 1000000));
    events->add_flag("-f,--follow", line.events.follow, "Then go on with what happens, until Ctrl-C");
    events->callback([&] { exitCode = RunEvents(line.common, line.events); });
}

using RunSetting = int (*)(CommonOptions const&, SettingOptions const&);

void AddSettings(CLI::App& group, std::string const& whose, std::string const& lister, CommandLine& line,
                 int& exitCode, RunSetting runGet, RunSetting runSet) {
    CLI::App* const get = group.add_subcommand("get", "Show the settings of " + whose);
    get->add_option("key", line.setting.key, "Which one (default: all)");
    get->callback([&line, &exitCode, runGet] { exitCode = runGet(line.common, line.setting); });
    CLI::App* const set = group.add_subcommand("set", "Change a setting of " + whose);
    set->add_option("key", line.setting.key, "Which one, as \"" + lister + "\" lists them")->required();
    set->add_option("value", line.setting.value, "Its value, or default")->required();
    set->callback([&line, &exitCode, runSet] { exitCode = runSet(line.common, line.setting); });
}

void AddVault(CLI::App& app, CommandLine& line, int& exitCode) {
    CLI::App* const vault = app.add_subcommand("vault", "Make, check and measure a vault");
    vault->require_subcommand(1);
    vault->add_subcommand("init", "Make a new vault")->callback([&] {
        exitCode = RunVaultInit(line.common);
    });
    CLI::App* const verify = vault->add_subcommand("verify", "Check the catalog against the stored packs");
    verify->add_flag("--read-data", line.verify.readData, "Read and check every stored byte too");
    verify->callback([&] { exitCode = RunVaultVerify(line.common, line.verify); });
    vault->add_subcommand("stats", "Show sizes and counts")->callback([&] {
        exitCode = RunVaultStats(line.common);
    });
    vault
        ->add_subcommand("repair",
                         "Make a missing, damaged or older catalog anew from its copies and the packs")
        ->callback([&] { exitCode = RunVaultRepair(line.common); });
    AddSettings(*vault, "the vault's account", "vault get", line, exitCode, &RunVaultGet, &RunVaultSet);
}

void AddConfig(CLI::App& app, CommandLine& line, int& exitCode) {
    CLI::App* const config = app.add_subcommand("config", "What holds for all tasks of this machine");
    config->require_subcommand(1);
    AddSettings(*config, "this program", "config get", line, exitCode, &RunConfigGet, &RunConfigSet);
}

int Main(int argc, char** argv) {
    CLI::App app{"Rampart keeps versions of your files in a vault, and brings them back."};
    app.name("rampart");
    app.allow_windows_style_options(false);  // "/photos" is a path in the vault, on every system
    app.footer(kExamples);
    app.set_version_flag("--version", std::string("rampart ") + RAMPART_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    CommandLine line;
    int exitCode = kExitDone;
    AddCommonOptions(app, line.common);
    AddBackup(app, line, exitCode);
    AddRestore(app, line, exitCode);
    AddListings(app, line, exitCode);
    AddWatching(app, line, exitCode);
    AddTaskCommands(app, line.common, line.task, exitCode);
    AddVault(app, line, exitCode);
    AddConfig(app, line, exitCode);
    std::vector<std::string> arguments = host::ArgumentsForParser(argc, argv);
    CompleteOverwrite(arguments);
    std::vector<std::string> const typed = arguments;
    try {
        app.parse(arguments);
        return exitCode;
    } catch (CLI::ParseError const& error) {
        return TellUsage(app, error, typed, line.common);
    } catch (CommandError const& error) {
        PrintError(line.common, error.what());
        return error.Code();
    } catch (std::exception const& error) {
        PrintError(line.common, std::string("unexpected failure: ") + error.what());
        return kExitFailed;
    }
}

}  // namespace

}  // namespace rampart::cli

int main(int argc, char** argv) {
    rampart::CatchInterrupts();
    rampart::UseUtf8Output();
    return rampart::cli::Main(argc, argv);
}
