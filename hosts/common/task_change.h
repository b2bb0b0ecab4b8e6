// Changes of the task list as a user asks for them. A host without a service applies them itself; otherwise
// they travel to the service, which applies them the same way.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "common/schedule.h"
#include "engine/vaultlib.h"

namespace rampart::host {

enum class ChangeKind { kAdd, kEdit, kEnable, kDisable, kDelete };

// What is not given stays as it is, or takes its default in a new task.
struct TaskChange {
    ChangeKind kind = ChangeKind::kAdd;
    std::string name;
    std::string newName;
    std::vector<std::string> paths;    // sources to add; absolute native paths
    std::vector<std::string> dropped;  // sources to take off
    std::optional<Schedule> schedule;
    std::optional<Window> window;
    long long versions = 0;
    std::vector<std::string> include;  // patterns that take the place of all the task's patterns
    std::vector<std::string> exclude;
    bool clearsFilters = false;
    std::string to;              // folder in the vault of a new task
    bool isDisabled = false;     // a new task
    bool deletesBackup = false;  // delete what the task has stored, too
};

void to_json(nlohmann::json& json, TaskChange const& change);
void from_json(nlohmann::json const& json, TaskChange& change);

// Carries the change out: list, database, watchers. A run of the task ends first. What was done, as a
// sentence; throws CommandError and changes nothing when it cannot be done. `startsDueTasks`: this process
// goes on living and runs what is due.
std::string ApplyChange(CBackupManage& manager, TaskChange const& change, bool startsDueTasks);

// ---- Parts of it that other commands use ----

// Throws CommandError for a name that cannot be a folder in the vault.
void CheckTaskName(std::string const& name);
// The task of that name. Throws CommandError if there is none, or `isMineWanted` and another machine has it.
CBackupTask& RequireTask(CBackupManage& manager, std::string const& name, bool isMineWanted);
// Begins a task in creation (m_pNewTask) with its name, its folder in the vault and its sources. Throws
// CommandError.
CBackupTask& BeginTask(CBackupManage& manager, CString const& name, std::string const& to,
                       std::vector<CString> const& sources);
// Replaces the task's patterns; nothing if both are empty.
void SetFilters(CBackupTask& task, std::vector<std::string> const& include,
                std::vector<std::string> const& exclude);
// Cancels the task's run; true if that was not asked before. To be asked again while the run lasts: one that
// has just begun clears a cancel that came before it.
bool CancelRun(CBackupTask& task);
// Holds a run, or lets it go on.
void SetRunPaused(CBackupTask& task, bool isPaused);
// Writes the task's row with a new time of change, so that other programs and machines see it. `oldName`:
// what the row may still be called. A service code.
int WriteTask(CBackupManage& manager, CBackupTask& task, CString const& oldName = CString());

}  // namespace rampart::host
