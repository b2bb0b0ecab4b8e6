// rampart task: a running service carries the command out, otherwise this process does.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <optional>

#include "commands.h"
#include "common/exit_code.h"
#include "common/service_link.h"
#include "common/task_report.h"
#include "output.h"
#include "person.h"
#include "progress_display.h"
#include "service_tasks.h"
#include "session.h"
#include "task_options.h"
#include "task_run.h"

namespace rampart::cli {

namespace {

constexpr unsigned int kServicePollMs = 100;

nlohmann::json FindTask(nlohmann::json const& tasks, CBackupManage& manager, std::string const& name) {
    // By machine and name, too; a service may know a task that was not there when this process looked.
    CBackupTask const* const known = manager.GetTaskByName(CString::FromUtf8(name));
    CString const wanted = known != nullptr ? known->m_taskName : CString::FromUtf8(name);
    for (nlohmann::json const& task : tasks) {
        if (CString::FromUtf8(task.value("task", ""))
                .CompareNoCase(CString::FromUtf8(Printable(Utf8(wanted)))) == 0) {
            return task;
        }
    }
    throw CommandError(kExitUsage, "there is no task '" + Printable(name) + "'");
}

std::string NextLine(nlohmann::json const& task, ServicePresence const& service) {
    bool const needsService = !service.isHere && !task.value("next", nlohmann::json()).is_null();
    return task.value("nextText", "") + (needsService ? " (" + service.Complaint() + ")" : "");
}

std::string Joined(nlohmann::json const& list) {
    std::string text;
    for (nlohmann::json const& item : list) {
        text += (text.empty() ? "" : ", ") + item.get<std::string>();
    }
    return text;
}

void PrintField(CommonOptions const& common, char const* title, std::string const& value) {
    char start[32];
    std::snprintf(start, sizeof start, "  %-10s ", title);
    if (!value.empty()) {
        PrintLine(common, start + value);
    }
}

void PrintTask(CommonOptions const& common, nlohmann::json const& task, ServicePresence const& service) {
    PrintLine(common, task.value("task", "") + "  (" + task.value("state", "") + ")");
    PrintField(common, "machine", task.value("machine", ""));
    PrintField(common, "runs", task.value("schedule", ""));
    PrintField(common, "window", task.value("window", ""));
    PrintField(common, "next", NextLine(task, service));
    PrintField(common, "last run", task.value("lastRun", ""));
    PrintField(common, "sources", Joined(task.value("sources", nlohmann::json::array())));
    for (char const* const kind : {"include", "exclude"}) {
        PrintField(common, kind, Joined(task.value(kind, nlohmann::json::array())));
    }
    if (task.contains("versions")) {
        PrintField(common, "versions", std::to_string(task["versions"].get<long long>()));
    }
    PrintField(common, "stored in", task.value("folder", ""));
    PrintField(common, "errors", task.value("errors", ""));
    if (service.isHere) {
        PrintLedger(common, LedgerOf(task));
    }
}

// Waits for the end of a run in the service; an interrupt cancels it.
int WaitForService(CommonOptions const& common, CBackupManage& manager, std::string const& name) {
    std::optional<ProgressDisplay> display(common);
    std::optional<Keys> keys(std::in_place);
    bool isCancelled = false;
    for (;;) {
        // Asked again while it lasts, as in CancelRun.
        isCancelled = isCancelled || IsInterrupted();
        if (isCancelled) {
            Ask(RequestKind::kStop, {{"task", name}});
        }
        nlohmann::json const tasks = Ask(RequestKind::kTasks, {}).data;
        nlohmann::json const task = FindTask(tasks, manager, name);
        std::string const state = task.value("state", "");
        if (state == "running" || state == "waiting") {
            nlohmann::json const progress = task.value("progress", nlohmann::json::object());
            display->Show(state == "waiting" ? "waits for its turn" : ProgressText(progress));
            switch (keys->Next(kServicePollMs)) {
                case Wish::kPause:
                    Ask(RequestKind::kPause,
                        {{"task", name}, {"isPaused", !progress.value("isPaused", false)}});
                    break;
                case Wish::kEnd:
                    isCancelled = true;
                    break;
                case Wish::kNone:
                    break;
            }
            continue;
        }
        keys.reset();
        display.reset();
        Ledger const ledger = LedgerOf(task);
        bool const isClean =
            task.value("errors", "").empty() && task.value("warnings", "").empty() && ledger.IsEmpty();
        // A run that somebody disabled, or took off the list of those that wait, came to no end.
        bool const hasEnded = state == "done" || state == "failed";
        int const code = isCancelled || !hasEnded                             ? kExitCancelled
                         : state == "failed" || task.value("hadError", false) ? kExitFailed
                         : isClean                                            ? kExitDone
                                                                              : kExitWarnings;
        if (common.json) {
            nlohmann::json result = task;
            result["result"] = code;
            result["notProtected"] = ledger.ToJson();
            PrintJson(result);
            return code;
        }
        PrintLedger(common, ledger);
        for (char const* const kind : {"errors", "warnings"}) {
            if (std::string const lines = task.value(kind, ""); !lines.empty()) {
                std::cerr << lines << std::endl;
            }
        }
        PrintLine(common, "Task '" + Printable(name) + "' " + (isCancelled ? "cancelled" : state) + ": " +
                              FormatCount(task.value("files", 0LL), "file", "files") + " looked at, " +
                              FormatCount(task.value("new", 0LL), "new", "new") + ", " +
                              FormatCount(task.value("changed", 0LL), "changed", "changed"));
        return code;
    }
}

void PrintResult(CommonOptions const& common, std::string const& text) {
    if (common.json) {
        PrintJson({{"text", text}});
    } else {
        PrintLine(common, text);
    }
}

// What cannot be made again is asked for. Where nobody can be asked, only with --yes.
void ConfirmDeletion(CommonOptions const& common, std::string const& name) {
    if (common.yes) {
        return;
    }
    if (!common.no && !(IsInputTerminal() && IsErrorTerminal())) {
        throw CommandError(kExitUsage, "deleting what task '" + Printable(name) +
                                           "' stored cannot be undone; confirm it with --yes");
    }
    CString const question = CString::FromUtf8("Delete the task '" + Printable(name) +
                                               "' and all that it stored, with all versions?");
    if (common.no || AnswerQuestion(question, kBoxYesNo, 0, 0) != kAnswerYes) {
        throw CommandError(kExitCancelled, "nothing was deleted");
    }
}

}  // namespace

int RunTaskChange(CommonOptions const& common, ChangeKind kind, TaskOptions const& options) {
    TaskChange const change = ChangeOf(kind, options);
    if (kind == ChangeKind::kDelete && change.deletesBackup) {
        ConfirmDeletion(common, change.name);
    }
    EngineSession session(common, kind == ChangeKind::kAdd);
    std::string text;
    ServicePresence const service = LookForService();
    if (service.isHere) {
        text = Ask(RequestKind::kChange, change).text;
    } else {
        text = ApplyChange(session.Manager(), change, false);
        if (kind == ChangeKind::kAdd && !change.isDisabled) {
            text += " " + service.Complaint() + ", so that nothing runs the task by itself.";
        }
    }
    PrintResult(common, text);
    return kExitDone;
}

int RunTaskList(CommonOptions const& common, TaskOptions const&) {
    EngineSession session(common, false);
    ServicePresence const service = LookForService();
    nlohmann::json const tasks = TasksOf(session.Manager(), service.isHere);
    if (common.json) {
        PrintJson(tasks);
        return kExitDone;
    }
    if (tasks.empty()) {
        PrintLine(common,
                  "There is no task yet. Add one with: rampart task add FOLDER --name NAME --daily 02:30");
    }
    for (nlohmann::json const& task : tasks) {
        PrintLine(common, task.value("task", "") + "  (" + task.value("state", "") + ")");
        PrintLine(common, "  " + task.value("schedule", "") + "; last run " + task.value("lastRun", "-"));
        PrintLine(common, "  " + NextLine(task, service));
    }
    return kExitDone;
}

int RunTaskShow(CommonOptions const& common, TaskOptions const& options) {
    EngineSession session(common, false);
    ServicePresence const service = LookForService();
    nlohmann::json const task =
        FindTask(TasksOf(session.Manager(), service.isHere), session.Manager(), options.name);
    if (common.json) {
        PrintJson(task);
    } else {
        PrintTask(common, task, service);
    }
    return kExitDone;
}

int RunTaskNext(CommonOptions const& common, TaskOptions const& options) {
    EngineSession session(common, false);
    ServicePresence const service = LookForService();
    nlohmann::json tasks = TasksOf(session.Manager(), service.isHere);
    if (!options.name.empty()) {
        tasks = nlohmann::json::array({FindTask(tasks, session.Manager(), options.name)});
    }
    nlohmann::json list = nlohmann::json::array();
    for (nlohmann::json const& task : tasks) {
        list.push_back({{"task", task["task"]},
                        {"next", task.value("next", nlohmann::json())},
                        {"text", NextLine(task, service)}});
        PrintLine(common, task.value("task", "") + " " + NextLine(task, service));
    }
    if (common.json) {
        PrintJson(list);
    } else if (list.empty()) {
        PrintLine(common, "There is no task yet.");
    }
    return kExitDone;
}

int RunTaskNow(CommonOptions const& common, TaskOptions const& options) {
    Ledger ledger;
    SkippedEntryListener const listener([&](SkippedEntry const& entry) { ledger.Add(entry); });
    EngineSession session(common, false);
    CBackupManage& manager = session.Manager();
    if (LookForService().isHere) {
        if (options.limit > 0) {
            throw CommandError(kExitUsage,
                               "BackupService runs the task: --limit is for runs of this program; "
                               "for those of the service there is CopySpeedCap in rampart.ini");
        }
        ServiceAnswer const answer = Ask(RequestKind::kRun, {{"task", options.name}});
        if (options.doesNotWait) {
            PrintResult(common, answer.text);
            return kExitDone;
        }
        return WaitForService(common, manager, options.name);
    }
    CBackupTask& task = RequireTask(manager, options.name, true);
    std::unique_ptr<HeldName> const mark = MarkRun(task);
    if (options.limit > 0) {
        LimitCopyDuty(options.limit);
    }
    return RunTaskHere(common, manager, task, false, ledger);
}

}  // namespace rampart::cli
