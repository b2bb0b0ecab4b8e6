// rampart status: what runs at this moment, and what waits.
#include <algorithm>
#include <iostream>

#include "commands.h"
#include "common/exit_code.h"
#include "common/task_report.h"
#include "output.h"
#include "person.h"
#include "service_tasks.h"
#include "session.h"

namespace rampart::cli {

namespace {

constexpr unsigned int kWatchMs = 1000;
constexpr char kKeysHelp[] = "keys: p pauses what runs and lets it go on, q ends this display";

bool IsAtWork(nlohmann::json const& task) {
    std::string const state = task.value("state", "");
    return state == "running" || state == "waiting";
}

std::string LineOf(nlohmann::json const& task) {
    std::string line = task.value("task", "") + "  " + task.value("state", "");
    if (!task.contains("progress")) {
        return line + (IsAtWork(task) ? "" : "; " + task.value("nextText", ""));
    }
    return line + "  " + ProgressText(task["progress"]);
}

std::vector<std::string> LinesOf(nlohmann::json const& tasks, ServicePresence const& service) {
    std::vector<std::string> lines;
    if (!service.isHere) {
        lines.push_back(service.Complaint());
    }
    if (tasks.empty()) {
        lines.push_back("There is no task yet.");
    }
    // What is at work comes first.
    for (bool const atWork : {true, false}) {
        for (nlohmann::json const& task : tasks) {
            if (IsAtWork(task) == atWork) {
                lines.push_back(LineOf(task));
            }
        }
    }
    return lines;
}

// Pauses what runs in the service, or lets it go on if all of it is paused.
void TogglePause(nlohmann::json const& tasks) {
    std::vector<std::string> running;
    bool isPaused = true;
    for (nlohmann::json const& task : tasks) {
        if (task.contains("progress")) {
            running.push_back(task["task"]);
            isPaused = isPaused && task["progress"].value("isPaused", false);
        }
    }
    for (std::string const& task : running) {
        AskService(RequestKind::kPause, {{"task", task}, {"isPaused", !isPaused}});
    }
}

// Writes the lines over those that were written before.
void Rewrite(std::vector<std::string> const& lines, size_t& written) {
    size_t const width = static_cast<size_t>(std::max(20, TerminalWidth() - 1));
    std::string text = written > 0 ? "\x1b[" + std::to_string(written) + "A" : "";
    for (std::string const& line : lines) {
        text += "\r" + Shortened(line, width) + "\x1b[K\n";
    }
    std::cout << text << "\x1b[J" << std::flush;
    written = lines.size();
}

int Watch(CommonOptions const& common, CBackupManage& manager) {
    Keys keys;
    bool const rewrites = IsOutputTerminal() && !common.json;
    size_t written = 0;
    std::vector<std::string> before;
    for (;;) {
        ServicePresence const service = LookForService();
        nlohmann::json const tasks = TasksOf(manager, service.isHere);
        if (common.json) {
            PrintJsonLine(tasks);
        } else {
            std::vector<std::string> lines = LinesOf(tasks, service);
            if (rewrites) {
                lines.push_back(kKeysHelp);
                Rewrite(lines, written);
            } else if (lines != before) {
                for (std::string const& line : lines) {
                    std::cout << line << '\n';
                }
                std::cout << std::flush;
                before.swap(lines);
            }
        }
        Wish const wish = keys.Next(kWatchMs);
        if (wish == Wish::kPause) {
            TogglePause(tasks);
        }
        if (wish == Wish::kEnd || IsInterrupted()) {
            return kExitDone;
        }
    }
}

}  // namespace

int RunStatus(CommonOptions const& common, StatusOptions const& options) {
    EngineSession session(common, false);
    if (options.watch) {
        return Watch(common, session.Manager());
    }
    ServicePresence const service = LookForService();
    nlohmann::json const tasks = TasksOf(session.Manager(), service.isHere);
    if (common.json) {
        PrintJson(tasks);
        return kExitDone;
    }
    for (std::string const& line : LinesOf(tasks, service)) {
        PrintLine(common, line);
    }
    return kExitDone;
}

}  // namespace rampart::cli
