#include "task_options.h"

#include "commands.h"
#include "common/exit_code.h"
#include "common/text.h"

namespace rampart::cli {

namespace {

constexpr char kAddFooter[] = R"(
Examples:
  rampart task add ~/documents --name documents --daily 02:30
  rampart task add /srv /etc --name server --weekly mon-fri 22:00 --versions 30
  rampart task add ~/thesis --name thesis --realtime --exclude '*.log'
  rampart task add ~/old --name old --once 2026-12-01T08:00

Times are local. BackupService runs the tasks; 'rampart task next' says when and why.)";

void AddName(CLI::App& command, TaskOptions& options, bool isRequired) {
    auto* const name = command.add_option("name", options.name, "Name of the task");
    if (isRequired) {
        name->required();
    }
}

void AddSchedule(CLI::App& command, TaskOptions& options) {
    auto* const group = command.add_option_group("schedule", "When it runs");
    group->add_option("--daily", options.daily, "Every day at a time: 02:30");
    group->add_option("--weekly", options.weekly, "On some days at a time: mon,thu 22:00 or mon-fri 18:00")
        ->expected(1, 2);
    group->add_option("--once", options.once, "At one moment: 2026-12-01T08:00");
    group->add_flag("--realtime", options.realTime, "Continuously");
    group->require_option(0, 1);
    command.add_option("--window", options.window,
                       "Dates between which it may run: 2026-12-01..2027-01-31, one may be left out");
}

void AddSettings(CLI::App& command, TaskOptions& options) {
    auto* const exclude =
        command
            .add_option("--exclude", options.exclude,
                        "Leave out what matches: a name or path with * and ?; one that ends in / names "
                        "folders only")
            ->allow_extra_args(false);
    command.add_option("--include", options.include, "Take only what matches, by the same patterns")
        ->allow_extra_args(false)
        ->excludes(exclude);
    command
        .add_option("--versions", options.versions, "Versions to keep of each file, the present one included")
        ->check(CLI::Range(1, 1000000));
}

CLI::App& Command(CLI::App& task, char const* name, char const* what, std::function<void()> const& run) {
    CLI::App& command = *task.add_subcommand(name, what);
    command.callback(run);
    return command;
}

Schedule WeeklyOf(TaskOptions const& options, std::vector<std::string>& paths) {
    std::string const& first = options.weekly.front();
    if (options.weekly.size() == 1) {
        return Schedule::Weekly(first);
    }
    // "mon 22:00" as one word leaves the second word to the paths.
    if (Schedule::IsWeekly(first)) {
        paths.push_back(options.weekly.back());
        return Schedule::Weekly(first);
    }
    return Schedule::Weekly(first + " " + options.weekly.back());
}

std::vector<std::string> AbsolutePaths(std::vector<std::string> const& paths) {
    std::vector<std::string> absolute;
    for (std::string const& path : paths) {
        CString const enginePath = path.empty() ? CString() : ToEnginePath(path);
        if (enginePath.IsEmpty()) {
            throw CommandError(kExitUsage, "'" + Printable(path) + "' is no path");
        }
        absolute.push_back(ToNativePath(enginePath));
    }
    return absolute;
}

}  // namespace

void AddLimit(CLI::App& command, int& limit) {
    command
        .add_option("--limit", limit,
                    "Percent of the time that copying to the cache may take; the rest is left to others")
        ->check(CLI::Range(1, 100));
}

void AddTaskCommands(CLI::App& app, CommonOptions& common, TaskOptions& options, int& exitCode) {
    CLI::App& task = *app.add_subcommand("task", "Make, change and run the tasks of this machine");
    task.require_subcommand(1);
    auto change = [&](ChangeKind kind) {
        return [&common, &options, &exitCode, kind] { exitCode = RunTaskChange(common, kind, options); };
    };
    CLI::App& add = Command(task, "add", "Add a task", change(ChangeKind::kAdd));
    add.footer(kAddFooter);
    add.add_option("paths", options.paths, "Files and folders to back up");
    add.add_option("--name", options.name, "Name of the task")->required();
    AddSchedule(add, options);
    AddSettings(add, options);
    add.add_option("--to", options.to, "Folder in the vault (default: machine name/task name)");
    add.add_flag("--disabled", options.isDisabled, "Add it, but do not run it until it is enabled");

    CLI::App& edit =
        Command(task, "edit", "Change a task; what is not named stays", change(ChangeKind::kEdit));
    AddName(edit, options, true);
    AddSchedule(edit, options);
    AddSettings(edit, options);
    edit.add_flag("--no-filters", options.clearsFilters, "Take all patterns off");
    edit.add_option("--add", options.paths, "Back this up too")->allow_extra_args(false);
    edit.add_option("--drop", options.dropped, "Back this up no longer; what is stored stays")
        ->allow_extra_args(false);
    edit.add_option("--rename", options.newName, "New name, of its folder in the vault too");

    CLI::App& list =
        Command(task, "list", "List the tasks", [&] { exitCode = RunTaskList(common, options); });
    list.alias("ls");
    CLI::App& show =
        Command(task, "show", "Show all of a task", [&] { exitCode = RunTaskShow(common, options); });
    AddName(show, options, true);
    CLI::App& next = Command(task, "next", "Say when and why a task, or each task, runs next",
                             [&] { exitCode = RunTaskNext(common, options); });
    AddName(next, options, false);

    CLI::App& run = Command(task, "run", "Run a task now", [&] { exitCode = RunTaskNow(common, options); });
    AddName(run, options, true);
    run.add_flag("--no-wait", options.doesNotWait,
                 "Come back when the service has started it; without a service it runs here, to its end");
    AddLimit(run, options.limit);
    AddName(Command(task, "enable", "Let a task run by itself again", change(ChangeKind::kEnable)), options,
            true);
    AddName(Command(task, "disable", "Keep a task, but do not run it", change(ChangeKind::kDisable)), options,
            true);
    CLI::App& remove =
        Command(task, "delete", "Delete a task; what it stored stays", change(ChangeKind::kDelete));
    AddName(remove, options, true);
    remove.add_flag("--with-backup", options.deletesBackup, "Delete what it stored, all versions, too");
}

TaskChange ChangeOf(ChangeKind kind, TaskOptions const& options) {
    TaskChange change;
    change.kind = kind;
    change.name = options.name;
    change.newName = options.newName;
    std::vector<std::string> paths = options.paths;
    if (!options.daily.empty()) {
        change.schedule = Schedule::Daily(options.daily);
    } else if (!options.weekly.empty()) {
        change.schedule = WeeklyOf(options, paths);
    } else if (!options.once.empty()) {
        change.schedule = Schedule::Once(options.once);
    } else if (options.realTime) {
        change.schedule = Schedule::RealTime();
    }
    if (!options.window.empty()) {
        change.window = Window::Parse(options.window);
    }
    if (kind == ChangeKind::kAdd && paths.empty()) {
        throw CommandError(kExitUsage, "name at least one file or folder to back up");
    }
    if (kind == ChangeKind::kAdd && !change.schedule) {
        throw CommandError(kExitUsage, "say when the task runs: --daily, --weekly, --once or --realtime");
    }
    change.paths = AbsolutePaths(paths);
    change.dropped = AbsolutePaths(options.dropped);
    change.versions = options.versions;
    change.include = options.include;
    change.exclude = options.exclude;
    change.clearsFilters = options.clearsFilters;
    change.to = options.to;
    change.isDisabled = options.isDisabled;
    change.deletesBackup = options.deletesBackup;
    return change;
}

}  // namespace rampart::cli
