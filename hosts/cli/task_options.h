// rampart task: what the user typed.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "common/task_change.h"
#include "options.h"

namespace rampart::cli {

struct TaskOptions {
    std::string name;
    std::string newName;
    std::vector<std::string> paths;
    std::vector<std::string> dropped;
    std::string daily;
    std::vector<std::string> weekly;
    std::string once;
    bool realTime = false;
    std::string window;
    long long versions = 0;
    std::vector<std::string> include;
    std::vector<std::string> exclude;
    bool clearsFilters = false;
    std::string to;
    bool isDisabled = false;
    bool deletesBackup = false;
    bool doesNotWait = false;
    int limit = 0;  // percent of the time that copying may take; 0: as configured
};

// Adds "task" and its commands to the program.
void AddTaskCommands(CLI::App& app, CommonOptions& common, TaskOptions& options, int& exitCode);
// Adds --limit to a command that runs a task.
void AddLimit(CLI::App& command, int& limit);
// Throws CommandError for values of a wrong form.
TaskChange ChangeOf(ChangeKind kind, TaskOptions const& options);

}  // namespace rampart::cli
