// What other hosts ask of the service.
#include "common/exit_code.h"
#include "common/task_change.h"
#include "common/task_report.h"
#include "common/text.h"
#include "service.h"
#include "service_log.h"

namespace rampart::service {

using host::CommandError;
using host::RequestKind;
using host::ServiceAnswer;

namespace {

bool IsRunningHere(CBackupTask* task, ForeignRuns const& foreign) {
    return ManageMultipleRunningTask::GetInstance()->FindWorkingTask(task) != 0 && !foreign.Has(task);
}

}  // namespace

std::string Service::Answer(std::string const& bytes) {
    ServiceAnswer answer;
    try {
        nlohmann::json body;
        RequestKind const kind = host::UnpackRequest(bytes, body);
        std::lock_guard const lock(m_lock);
        answer = Do(kind, body);
    } catch (CommandError const& error) {
        answer = {error.Code(), error.what(), {}};
        Log(std::string("refused: ") + error.what());
    } catch (std::exception const& error) {
        answer = {host::kExitFailed, std::string("the request could not be read: ") + error.what(), {}};
        Log(answer.text);
    }
    WakeServiceWait();
    return host::PackAnswer(answer);
}

ServiceAnswer Service::Do(RequestKind kind, nlohmann::json const& body) {
    switch (kind) {
        case RequestKind::kHello:
            return Hello(body);
        case RequestKind::kTasks:
            LookAtOthers();
            return {host::kExitDone, "", Tasks()};
        case RequestKind::kLedger:
            return {host::kExitDone, "", m_manager.Ledgers().Of(body.at("task"))->ToJson()};
        case RequestKind::kChange: {
            try {
                std::string const text = host::ApplyChange(m_manager, body.get<host::TaskChange>(), true);
                Log(text);
                return {host::kExitDone, text, {}};
            } catch (CommandError const& error) {
                if (error.Code() == host::kExitFailed) {
                    m_seenRows.reset();  // what is stored holds, not half of the change
                    m_isReloadWanted = true;
                }
                throw;
            }
        }
        case RequestKind::kRun:
            return StartTask(body.at("task"));
        case RequestKind::kStop:
            return StopTask(body.at("task"));
        case RequestKind::kPause:
            return PauseTask(body.at("task"), body.at("isPaused"));
        case RequestKind::kEnd:
            Log("asked to stop");
            StopThisService();
            return {};
        case RequestKind::kReload:
            m_isLookWanted = true;
            RunningEngine::TakeSettings(m_manager);
            return {};
    }
    throw CommandError(host::kExitFailed, "this service does not know such a request; is it an older one?");
}

nlohmann::json Service::Tasks() {
    nlohmann::json tasks = m_descriptions.Describe(m_manager, true);
    for (nlohmann::json& task : tasks) {
        task["notProtected"] = m_manager.Ledgers().Of(task.value("task", ""))->Count();
    }
    return tasks;
}

ServiceAnswer Service::Hello(nlohmann::json const& body) {
    ServiceAnswer answer;
    answer.data["vault"] = host::Utf8(VaultAdmin::Location());
    if (body.contains("task")) {
        CBackupTask* const task = m_manager.GetTaskByName(CString::FromUtf8(body["task"].get<std::string>()));
        answer.data["runs"] = task != nullptr && IsRunningHere(task, m_foreign);
    }
    return answer;
}

ServiceAnswer Service::StartTask(std::string const& name) {
    CBackupTask& task = host::RequireTask(m_manager, name, true);
    LookAtOthers();
    if (m_foreign.Has(&task)) {
        throw CommandError(host::kExitFailed, "another program runs that task now");
    }
    if (IsRunningHere(&task, m_foreign)) {
        return {host::kExitDone, "The task runs already.", {}};
    }
    if (task.m_scheduleEnabled == 0) {
        throw CommandError(host::kExitFailed, "the task is disabled; enable it first");
    }
    if (task.StartBackupByUser(0)) {
        return {host::kExitDone, "The service has started the task.", {}};
    }
    if (task.m_state == TaskStateWaiting) {
        return {
            host::kExitDone, "The task waits for its turn: " + host::Utf8(task.GetManualStartErrorMsg()), {}};
    }
    throw CommandError(host::kExitFailed, host::StartRefusal(task));
}

ServiceAnswer Service::PauseTask(std::string const& name, bool isPaused) {
    CBackupTask& task = host::RequireTask(m_manager, name, true);
    if (!IsRunningHere(&task, m_foreign)) {
        throw CommandError(host::kExitFailed, "the task does not run in this service");
    }
    host::SetRunPaused(task, isPaused);
    Log("task '" + host::Printable(name) + (isPaused ? "' paused as asked" : "' goes on as asked"));
    return {};
}

ServiceAnswer Service::StopTask(std::string const& name) {
    CBackupTask& task = host::RequireTask(m_manager, name, true);
    m_manager.RemoveTaskFromWaitlist(&task);
    if (IsRunningHere(&task, m_foreign) && host::CancelRun(task)) {
        Log("cancelling task '" + host::Printable(name) + "' as asked");
    }
    return {};
}

}  // namespace rampart::service
