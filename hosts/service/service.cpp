#include "service.h"

#include <algorithm>

#include "common/exit_code.h"
#include "common/schedule.h"
#include "common/task_change.h"
#include "common/text.h"
#include "service_log.h"

namespace rampart::service {

using namespace std::chrono_literals;

namespace {

constexpr auto kBusyPeriod = 2s;     // something waits for a place, a network or another program
constexpr auto kIdlePeriod = 60s;    // nothing is due; also how old another machine's change may be
constexpr auto kClockJump = 120s;    // more than this beside the steady clock: the machine slept
constexpr auto kStopPatience = 20s;  // for runs that were cancelled; one that hangs is left behind
constexpr unsigned int kStopPollMs = 20;
constexpr int kMinute = 60;
constexpr int kNoSuchTask = 11;  // it was deleted elsewhere

std::string NameOf(CBackupTask const& task) {
    return "task '" + host::Printable(host::Utf8(task.m_taskName)) + "'";
}

// Questions of the engine: logged, and answered with no.
int LogQuestion(TCHAR const* text, unsigned int, unsigned long, int) {
    Log(host::Printable(host::Utf8(text)));
    return 0;
}

}  // namespace

Service::Service(std::string const& vault)
    : m_session(vault, true, &LogQuestion, [] { return std::make_unique<ServiceManager>(); }),
      m_manager(static_cast<ServiceManager&>(m_session.Manager())),
      m_foreign(m_manager) {}

int Service::Run() {
    Log("BackupService " RAMPART_VERSION " started: " +
        host::FormatCount(static_cast<__int64>(m_manager.m_taskList.size()), "task", "tasks") + ", vault " +
        host::Printable(host::Utf8(VaultAdmin::Location())));
    if (std::optional<Rows> const rows = ReadRows()) {
        m_seenRows = rows->text;
    }
    m_isReloadWanted = true;  // what changed between the two readings
    m_lastSteady = Steady::now();
    m_lastClock = NowRaw();
    m_nextDatabaseLook = Steady::now() + kIdlePeriod;
    {
        std::lock_guard const lock(m_lock);
        m_foreign.Look();
        LookForMissedRuns();
    }
    auto receiver = RequestReceiver::Open(host::ServiceReceiverName(),
                                          [this](std::string const& bytes) { return Answer(bytes); });
    if (receiver == nullptr) {
        Log("other programs cannot reach this service: " + host::Utf8(GetLastErrorMsg()));
    }
    for (;;) {
        std::chrono::milliseconds pause{0};
        {
            std::lock_guard const lock(m_lock);
            pause = Pass();
        }
        switch (WaitForServiceSignal(static_cast<unsigned int>(pause.count()))) {
            case ServiceSignal::kStop:
                receiver.reset();
                Stop();
                if (m_isHanging) {
                    EndProcessAtOnce(host::kExitDone);  // what follows would wait for it
                }
                return host::kExitDone;
            case ServiceSignal::kReload: {
                std::lock_guard const lock(m_lock);
                Log("asked to read the tasks again");
                m_isReloadWanted = true;
                break;
            }
            default:
                break;
        }
    }
}

std::chrono::milliseconds Service::Pass() {
    WriteEndedRuns();
    LookAtClock();
    LookAtOthers();
    LookAtDatabase();
    if (m_isReloadWanted && m_foreign.OwnCount() == 0) {
        Reload();
    }
    LookAtDates();
    LookAtRealTimeTasks();
    m_manager.ForgetFailuresOfWaiting();
    m_manager.DoScheduleTask();
    if (m_manager.HaveActionToProcess()) {
        m_manager.ProcessAlltheAction();
    }
    m_descriptions.Describe(m_manager, true);
    TellNext();
    return UntilNextDue();
}

void Service::LookAtOthers() {
    if (m_foreign.Look()) {
        m_isReloadWanted = true;
    }
}

// The engine leaves out the row of a run that ended soon after another one. A service that ends before the
// next run would start again with the dates from before.
void Service::WriteEndedRuns() {
    std::vector<CString> const ended = m_manager.TakeEndedRuns();
    if (!ended.empty()) {
        host::TrimEventLog();
    }
    for (CString const& name : ended) {
        CBackupTask* const task = m_manager.GetTaskByName(name);
        if (task == nullptr || Registry().FindWorkingTask(task)) {
            continue;
        }
        if (int const code = m_manager.AddOrEditTaskToDatabase(task, _T("Edit"), _T("0"), name, _T("1"))) {
            Log(NameOf(*task) +
                ": its dates could not be written: " + host::Utf8(ApiUtil::GetQuilString(code)));
            if (code != kNoSuchTask) {
                m_manager.NoteEndedRun(name);  // written with the next pass
            }
        }
    }
}

// Both act by the user's choice: one makes missed runs up, the other skips them.
void Service::LookForMissedRuns() {
    m_manager.SyncScheduleTask();
    m_manager.DoScheduleNextTime();
}

// A machine that slept, or whose clock was set, may have missed runs.
void Service::LookAtClock() {
    auto const steady = Steady::now();
    CTime const clock = NowRaw();
    auto const expected = std::chrono::duration_cast<std::chrono::seconds>(steady - m_lastSteady);
    auto const passed = std::chrono::seconds((clock - m_lastClock).GetTimeSpan());
    m_lastSteady = steady;
    m_lastClock = clock;
    if (passed - expected > kClockJump || expected - passed > kClockJump) {
        Log("the clock moved by " + host::FormatDuration((passed - expected).count()) +
            " beside the time that passed: looking for missed runs");
        m_isReloadWanted = true;
        m_nextRealTimePass = steady;
        LookForMissedRuns();
    }
}

// A run under a wrong clock leaves dates that are a long time ahead.
void Service::LookAtDates() {
    for (CString const& name : m_manager.BringBackDates()) {
        Log("task '" + host::Printable(host::Utf8(name)) +
            "': its dates lay beyond its schedule; was the clock wrong?");
        m_manager.NoteEndedRun(name);  // its row is written like one whose run has ended
    }
}

// Another machine, or a program here that did not come through this one, may have changed the tasks.
void Service::LookAtDatabase() {
    if (!m_isLookWanted && Steady::now() < m_nextDatabaseLook) {
        return;
    }
    m_isLookWanted = false;
    m_nextDatabaseLook = Steady::now() + kIdlePeriod;
    std::optional<Rows> const rows = ReadRows();
    if (rows && rows->text != m_seenRows) {
        m_isReloadWanted = true;
    }
}

std::optional<Service::Rows> Service::ReadRows() {
    CString reply;
    bool const isAway = ApiUtilExp::GetTaskListFromWebDatabase(_T(""), _T("false"), reply) != 0;
    if (isAway != m_isDatabaseAway) {
        m_isDatabaseAway = isAway;
        Log(isAway ? "the vault cannot be read now; trying again every minute"
                   : "the vault can be read again");
    }
    if (isAway) {
        return std::nullopt;
    }
    Rows rows;
    auto valuesOf = [&reply](TCHAR const* key) {
        CStringList values(20);
        ApiUtil::GetVarValueList(reply, key, values);
        return std::vector<CString>(values.begin(), values.end());
    };
    rows.names = valuesOf(_T("RETURN_TaskName"));
    for (TCHAR const* const key :
         {_T("RETURN_TaskName"), _T("RETURN_TaskID"), _T("RETURN_PcID"), _T("RETURN_ModifyTime")}) {
        for (CString const& value : valuesOf(key)) {
            rows.text += host::Utf8(value) + '\n';
        }
    }
    return rows;
}

// Only while nothing runs here: reading the list anew would end the runs, which hold the one place there is
// anyway. Tasks that wait keep their place.
void Service::Reload() {
    std::optional<Rows> const rows = ReadRows();
    if (!rows) {
        return;
    }
    std::vector<CString> const waiting = TakeWaiting();
    int const foreignRuns = m_foreign.Count();
    m_foreign.Forget();
    m_manager.SetNeedReloadTaskListValue(0);
    int code = 0;
    if (rows->names.empty()) {
        // An empty reply is an empty list; the engine takes it for none.
        m_manager.CheckNotExistedTasks();
    } else if (m_manager.RefreshTaskListFromDatabase(code)) {
        m_toldProblem.clear();
    } else {
        Tell(m_toldProblem, code != 0
                                ? "the tasks could not be read: " + host::Utf8(ApiUtil::GetQuilString(code))
                                : std::string("a task, and those after it, could not be read: its row says "
                                              "things that make no sense"));
    }
    for (CString const& name : waiting) {
        CBackupTask* const task = m_manager.GetTaskByName(name);
        if (task != nullptr && task->m_scheduleEnabled != 0) {
            m_manager.AddTaskToWaitlist(task, 0);
        }
    }
    // What is missing, as a task whose sources could not be read, is looked for again with the next look at
    // the database.
    bool const isComplete =
        code == 0 && std::all_of(rows->names.begin(), rows->names.end(), [this](CString const& name) {
            return m_manager.GetTaskByName(name) != nullptr;
        });
    m_seenRows = isComplete ? std::optional(rows->text) : std::nullopt;
    m_foreign.Look();
    m_isReloadWanted = m_foreign.Count() < foreignRuns;  // one ended meanwhile
    if (m_manager.GetNeedReloadTaskListValue()) {
        Log("read changed tasks: " +
            host::FormatCount(static_cast<__int64>(m_manager.m_taskList.size()), "task", "tasks") + " now");
    }
}

// The names of the tasks that wait, which no longer do so then.
std::vector<CString> Service::TakeWaiting() {
    CKorvaneAutoLock const lock(&m_manager.m_taskLock, _T("TakeWaiting"), 1);
    std::vector<CString> names;
    while (!m_manager.m_waitList.IsEmpty()) {
        auto* const task = static_cast<CBackupTask*>(m_manager.m_waitList.GetHead());
        names.push_back(task->m_taskName);
        m_manager.RemoveTaskFromWaitlistNoLock(task);
    }
    return names;
}

bool Service::IsSomethingWaiting() {
    CKorvaneAutoLock const lock(&m_manager.m_taskLock, _T("IsSomethingWaiting"), 1);
    return !m_manager.m_waitList.IsEmpty();
}

// Whatever a notification missed, a look at the sources finds.
void Service::LookAtRealTimeTasks() {
    if (Steady::now() < m_nextRealTimePass || m_foreign.OwnCount() > 0) {
        return;
    }
    m_nextRealTimePass = Steady::now() + std::chrono::minutes(host::RealTimePassMinutes());
    m_manager.SyncRealTimeTask();
}

std::chrono::milliseconds Service::UntilNextDue() {
    bool isBusy = IsSomethingWaiting() || (m_isReloadWanted && !m_isDatabaseAway) || m_foreign.Count() > 0;
    CTime const now = NowRaw();
    CTime earliest = now + CTimeSpan(std::chrono::seconds(kIdlePeriod).count());
    CReadSync const read(m_manager.m_taskListSync);
    for (CBackupTask* const task : m_manager.m_taskList) {
        if (task->m_pcID != m_manager.m_myID || task->m_scheduleEnabled == 0 ||
            Registry().FindWorkingTask(task)) {
            continue;
        }
        isBusy = isBusy || task->m_actionsPending != 0 || task->m_networkRetryCount > 0;
        if (task->m_isResume != 0) {
            earliest = std::min(earliest, std::max(host::ToRaw(task->m_resumeDate), now + CTimeSpan(1)));
        }
        // A date counts from the first whole minute on that it reaches; and a second later, since a run that
        // ends in the very second of its date would be made again.
        CTime const dating = host::ToRaw(task->m_dating);
        CTime const due = dating + CTimeSpan((kMinute - dating.GetSecond()) % kMinute + 1);
        if (due > now) {
            earliest = std::min(earliest, due);
        }
    }
    auto const pause = std::chrono::seconds((earliest - now).GetTimeSpan());
    return isBusy ? std::min<std::chrono::milliseconds>(pause, kBusyPeriod) : pause;
}

// A line when the next date changes, so that the log says that nothing is amiss while nothing happens.
void Service::TellNext() {
    CTime const now = NowRaw();
    host::Surroundings const surroundings{m_manager.m_myID, m_manager.m_skipMissedTask != 0, true, {}};
    CTime earliest;
    std::string text = "nothing is planned";
    {
        CReadSync const read(m_manager.m_taskListSync);
        for (CBackupTask* const task : m_manager.m_taskList) {
            if (Registry().FindWorkingTask(task)) {
                return;
            }
            host::NextRun const next = host::NextRunOf(*task, surroundings, now);
            bool const isDated = ScheduleMode(task->m_type) != TaskTypeRealTime || task->m_isResume != 0;
            if (next.time && isDated && (earliest == CTime() || *next.time < earliest)) {
                earliest = *next.time;
                text =
                    "next is " + NameOf(*task) + ", " + host::Utf8(earliest.Format(_T("%a %Y-%m-%d %H:%M")));
            }
        }
    }
    Tell(m_toldNext, text);
}

void Service::Tell(std::string& told, std::string const& line) {
    if (told != line) {
        told = line;
        Log(line);
    }
}

void Service::Stop() {
    std::lock_guard const lock(m_lock);
    std::vector<CBackupTask*> running;
    for (CBackupTask* const task : Registry().GetWorkingTasksVector()) {
        if (!m_foreign.Has(task)) {
            running.push_back(task);
        }
    }
    Log(running.empty() ? "stopping" : "stopping: cancelling what runs, and waiting for it");
    auto const begin = Steady::now();
    auto const isLate = [&] { return Steady::now() - begin >= kStopPatience; };
    auto const hasThreads = [](CBackupTask* task) { return task->HasThreads(); };
    for (; std::any_of(running.begin(), running.end(), hasThreads) && !isLate();
         SleepMilliseconds(kStopPollMs)) {
        for (CBackupTask* const task : running) {
            if (Registry().IsWorking(task)) {
                host::CancelRun(*task);
            }
        }
    }
    WriteEndedRuns();
    KeepForNextStart(running);
    m_foreign.Forget();
    MiscUtil::SetAppStopping(1);
    m_isHanging = std::any_of(m_manager.m_taskList.begin(), m_manager.m_taskList.end(), hasThreads);
    Log(m_isHanging ? "stopped; a run that does not end is left behind. Does a folder not answer?"
                    : "stopped");
}

// What the stop cut short goes on when the service starts the next time. The dates of a run that came to its
// end are written, too: the engine may have left that out, and has perhaps not yet told of the end.
void Service::KeepForNextStart(std::vector<CBackupTask*> const& tasks) {
    for (CBackupTask* const task : tasks) {
        bool const wasCut = task->m_state == TaskStateCanceled || Registry().IsWorking(task);
        if (wasCut) {
            task->m_isResume = 1;
            task->m_resumeDate = host::ToStored(NowRaw());
        }
        int const code = host::WriteTask(m_manager, *task);
        if (code != 0) {
            Log(NameOf(*task) + (wasCut ? " was cut short; that" : ": its dates") +
                " could not be written: " + host::Utf8(ApiUtil::GetQuilString(code)));
        } else if (wasCut) {
            Log(NameOf(*task) + " was cut short; it goes on at the next start");
        }
    }
}

}  // namespace rampart::service
