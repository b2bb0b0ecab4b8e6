// The background host: holds the task list and repeats the engine's passes until it is told to stop.
#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "common/service_link.h"
#include "common/session.h"
#include "common/task_report.h"
#include "foreign_runs.h"
#include "service_manager.h"

namespace rampart::service {

class Service {
public:
    // Opens the vault and reads the task list. Throws CommandError.
    explicit Service(std::string const& vault);
    // Works until the system says stop; then cancels what runs, waits for it and answers an exit code.
    int Run();

private:
    using Steady = std::chrono::steady_clock;

    // One look at everything; how long nothing will be due after it. m_lock is held in these.
    std::chrono::milliseconds Pass();
    void WriteEndedRuns();
    void LookAtOthers();
    void LookForMissedRuns();
    void LookAtDates();
    void LookAtClock();
    void LookAtDatabase();
    // Names, machines and times of change of all rows.
    struct Rows {
        std::string text;  // changes when a row does
        std::vector<CString> names;
    };
    // None when the database cannot be read, which the log tells once.
    std::optional<Rows> ReadRows();
    void Reload();
    std::vector<CString> TakeWaiting();
    bool IsSomethingWaiting();
    // Logs a line that differs from the one that `told` says was logged last.
    static void Tell(std::string& told, std::string const& line);
    void LookAtRealTimeTasks();
    std::chrono::milliseconds UntilNextDue();
    void TellNext();
    void Stop();
    void KeepForNextStart(std::vector<CBackupTask*> const& tasks);

    // ---- Requests of other hosts; on the receiver's thread ----
    std::string Answer(std::string const& bytes);
    host::ServiceAnswer Do(host::RequestKind kind, nlohmann::json const& body);
    nlohmann::json Tasks();
    host::ServiceAnswer Hello(nlohmann::json const& body);
    host::ServiceAnswer StartTask(std::string const& name);
    host::ServiceAnswer StopTask(std::string const& name);
    host::ServiceAnswer PauseTask(std::string const& name, bool isPaused);

    host::EngineSession m_session;
    ServiceManager& m_manager;
    std::mutex m_lock;  // one at a time: a pass, or a request. Guards everything below
    ForeignRuns m_foreign;
    host::TaskDescriptions m_descriptions;
    std::optional<std::string> m_seenRows;  // what the database said when the list was read last
    bool m_isReloadWanted = false;
    bool m_isLookWanted = false;
    bool m_isDatabaseAway = false;
    bool m_isHanging = false;  // when it has stopped: a run did not end
    Steady::time_point m_nextDatabaseLook;
    Steady::time_point m_nextRealTimePass;
    Steady::time_point m_lastSteady;
    CTime m_lastClock;
    std::string m_toldNext;
    std::string m_toldProblem;
};

}  // namespace rampart::service
