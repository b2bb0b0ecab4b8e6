#include "service_tasks.h"

#include "common/exit_code.h"
#include "common/task_report.h"

namespace rampart::cli {

ServiceAnswer Ask(RequestKind kind, nlohmann::json const& body) {
    std::optional<ServiceAnswer> answer = AskService(kind, body);
    if (!answer) {
        throw CommandError(kExitFailed, "BackupService has just ended; try again");
    }
    if (answer->code != kExitDone) {
        throw CommandError(static_cast<ExitCode>(answer->code), answer->text);
    }
    return std::move(*answer);
}

nlohmann::json TasksOf(CBackupManage& manager, bool hasService) {
    if (hasService) {
        if (std::optional<ServiceAnswer> answer = AskService(RequestKind::kTasks)) {
            return std::move(answer->data);
        }
    }
    return TaskDescriptions().Describe(manager, false);
}

Ledger LedgerOf(nlohmann::json const& task) {
    return task.value("notProtected", 0) == 0
               ? Ledger()
               : Ledger(Ask(RequestKind::kLedger, {{"task", task.value("task", "")}}).data);
}

}  // namespace rampart::cli
