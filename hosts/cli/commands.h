// The commands. Each returns an exit code, and throws CommandError for a failure that ends it.
#pragma once

#include <optional>

#include "common/task_change.h"
#include "options.h"

namespace rampart::cli {

struct TaskOptions;

int RunBackup(CommonOptions const& common, BackupOptions const& options);
int RunRestore(CommonOptions const& common, RestoreOptions const& options);
// Why a state holds nothing. `at` is the moment as it was typed, `firstStored` nanoseconds, INT64_MIN if
// unknown.
std::string NothingInState(std::string const& what, std::string const& at,
                           std::optional<long long> const& moment, long long firstStored);
int RunList(CommonOptions const& common, ListOptions const& options);
int RunVersions(CommonOptions const& common, ListOptions const& options);
int RunDiff(CommonOptions const& common, DiffOptions const& options);
int RunMount(CommonOptions const& common, MountOptions const& options);
int RunStatus(CommonOptions const& common, StatusOptions const& options);
int RunEvents(CommonOptions const& common, EventOptions const& options);
int RunTaskChange(CommonOptions const& common, ChangeKind kind, TaskOptions const& options);
int RunTaskList(CommonOptions const& common, TaskOptions const& options);
int RunTaskShow(CommonOptions const& common, TaskOptions const& options);
int RunTaskNext(CommonOptions const& common, TaskOptions const& options);
int RunTaskNow(CommonOptions const& common, TaskOptions const& options);
int RunVaultInit(CommonOptions const& common);
int RunVaultVerify(CommonOptions const& common, VerifyOptions const& options);
int RunVaultStats(CommonOptions const& common);
int RunVaultRepair(CommonOptions const& common);
int RunVaultGet(CommonOptions const& common, SettingOptions const& options);
int RunVaultSet(CommonOptions const& common, SettingOptions const& options);
int RunConfigGet(CommonOptions const& common, SettingOptions const& options);
int RunConfigSet(CommonOptions const& common, SettingOptions const& options);

}  // namespace rampart::cli
