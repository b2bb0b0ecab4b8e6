// The dates of a task: whether it is due, its next run, and how a stored date is brought up to the present.
#include <sstream>

#include "engine/vaultlib_app.h"
#include "link/manage_multiple_running_task.h"
#include "manager/backup_manage.h"
#include "paths/global_function.h"
#include "task/backup_task.h"
#include "task/engine_text.h"
#include "task/schedule_calendar.h"
#include "task/stored_time.h"

namespace {

constexpr int kDefaultUpdateMinutes = 60;

rampart::TaskDates DatesOf(CBackupTask const& task) {
    return {rampart::ScheduleMode(task.m_type), task.m_beginDate, task.m_endDate, task.m_dating,
            task.m_backupDate};
}

// Whether the task may start by itself at all.
bool MayFire(CBackupTask& task) {
    CBackupManage const* const manager = theVaultLibApp.m_pBackupManage;
    return manager != nullptr && task.m_pcID == manager->m_myID && task.m_scheduleEnabled != 0 &&
           task.m_state != TaskStateDisabled &&
           !ManageMultipleRunningTask::GetInstance()->FindWorkingTask(&task) && task.m_isDeleting == 0;
}

bool TakeNetworkRetry(CBackupTask& task) {
    // A date far ahead is that of a clock that was wrong.
    CTime const now = rampart::StoredNow();
    CTime const date = task.m_networkRetryDate;
    if (task.m_networkRetryCount < 1 || (date > now && date <= now + CTimeSpan(rampart::kDaySeconds))) {
        return false;
    }
    rampart::DebugLine(_T("RetryBackupNetworkPathTime: ") + TimeUtil::TimeToStr(task.m_networkRetryDate));
    --task.m_networkRetryCount;
    return true;
}

// Changes wait: they are worked off once in a time span.
bool TakeMonitorTick(CBackupTask& task) {
    int const span = DictUtil::GetConfigInt(_T("Options"), _T("MonitorTimeSpan"), _T("60"), _T(""));
    __int64 const now = rampart::RawNow().GetTime();
    bool const isClockSetBack = now < task.m_lastMonitorTick;
    if (!isClockSetBack && now < task.m_lastMonitorTick + span) {
        return false;
    }
    task.m_lastMonitorTick = now;
    return true;
}

// A real-time task fires by its date only to say that it is alive.
bool IsDateUpdateDue(CBackupTask& task) {
    if (task.ExceptionHook()) {
        task.StopHook();
        if (PathUtilities::IsExisting(ApiUtil::PathToFullPath(task.GetTopFolder()))) {
            task.StartHook();
        }
    }
    if (task.m_isResume != 0 || !rampart::LiesWithin(task.m_backupDate, task.m_beginDate, task.m_endDate)) {
        return false;
    }
    CString const option =
        DictUtil::GetConfigString(_T("Options"), _T("OnlyUpdateBackupDate"), _T(""), _T(""));
    __int64 const minutes = option.IsEmpty() ? kDefaultUpdateMinutes : rampart::ReadNumber(option);
    if (rampart::StoredMinute() < task.m_backupDate.Get() + CTimeSpan(minutes * rampart::kSecondsOfMinute)) {
        return false;
    }
    task.m_onlyUpdateBackupDate = 1;
    return true;
}

bool IsSameTimeOfDay(CTime const& a, CTime const& b) {
    return a.GetHour() == b.GetHour() && a.GetMinute() == b.GetMinute() && a.GetSecond() == b.GetSecond();
}

constexpr TCHAR const* kMeantFormat = _T("%I64d %d %d %d");

// What is kept of a task's dates lies in the user's settings, by its id and name.
constexpr TCHAR const* kMeantTime = _T("MeantTime");
constexpr TCHAR const* kLastRun = _T("LastRun");

CString Kept(CBackupTask const& task, CString const& what) {
    CString text;
    GlobalFunction::LoadStringFromRegstry(what + task.IdAndNameMark(), text);
    return text;
}

void Keep(CBackupTask const& task, CString const& what, CString const& text) {
    if (text != Kept(task, what)) {
        GlobalFunction::SaveStringToRegstry(what + task.IdAndNameMark(), text);
    }
}

// A date travels as its calendar fields, which do not say whether they are those of summer time.
CTime AsDatabaseReads(CTime const& stored) {
    return CTime(stored.GetYear(), stored.GetMonth(), stored.GetDay(), stored.GetHour(), stored.GetMinute(),
                 stored.GetSecond());
}

bool IsDatedRunDue(CBackupTask& task) {
    if (rampart::IsOnceDone(DatesOf(task))) {
        return false;
    }
    CTime const minute = rampart::StoredMinute();
    if (!rampart::LiesWithin(minute, task.m_beginDate, task.m_endDate)) {
        rampart::DebugLine(task.m_taskName + _T("--out of backup starting date and end date: ") +
                           TimeUtil::TimeToStr(task.m_beginDate));
        return false;
    }
    int const mode = rampart::ScheduleMode(task.m_type);
    if (mode != TaskTypeDaily && mode != TaskTypeWeekly && mode != TaskTypeOnce) {
        return false;
    }
    if (minute < task.m_dating) {
        return false;
    }
    if (task.m_state == TaskStateCanceled || task.m_state == TaskStateFailed) {
        task.m_state = TaskStateReady;
        task.m_networkRetryArmed = 1;
        return true;
    }
    rampart::DebugLine(_T("NowDating1: ") + TimeUtil::TimeToStr(task.m_dating));
    theVaultLibApp.m_pBackupManage->DoScheduleNextTimeWithTask(&task);
    rampart::DebugLine(_T("NowDating2: ") + TimeUtil::TimeToStr(task.m_dating));
    if (minute < task.m_dating) {
        return false;
    }
    task.m_networkRetryArmed = 1;
    return true;
}

}  // namespace

int CBackupTask::NowDating() {
    if (!MayFire(*this)) {
        return 0;
    }
    if (m_isResume != 0 && m_resumeDate <= rampart::StoredNow()) {
        return 1;
    }
    if (TakeNetworkRetry(*this)) {
        return 1;
    }
    if (m_actionsPending != 0) {
        return TakeMonitorTick(*this) ? 1 : 0;
    }
    if (rampart::ScheduleMode(m_type) == TaskTypeRealTime) {
        return IsDateUpdateDue(*this) ? 1 : 0;
    }
    return IsDatedRunDue(*this) ? 1 : 0;
}

void CBackupTask::SetNextDating() {
    if (m_scheduleEnabled == 0) {
        return;
    }
    auto trace = [](TCHAR const* label, CTime const& date) {
        rampart::DebugLine(label + TimeUtil::TimeToStr(date));
    };
    rampart::DebugLine(_T("start set next dating"));
    CTime const now = rampart::RawNow();
    trace(_T("currentLocalTime: "), now);
    CTime const dating = MeantTime();
    trace(_T("datingLocalTime: "), dating);
    CTime const today = now - CTimeSpan(now.GetSecond());
    // A run that came early has made that of the later time, too.
    CTime const made =
        IsDatingShifted() ? rampart::AtTimeOfDay(rampart::ToRaw(m_dating), dating) + CTimeSpan(1) : CTime();
    auto clock = [&made] { return std::max(rampart::RawNow(), made); };
    CTime const next =
        rampart::NextRunAfter(rampart::ScheduleMode(m_type), m_repeatDays, today, dating, clock, trace);
    MoveDating(next, dating);
    rampart::DebugLine(_T("finish set next dating"));
}

bool CBackupTask::IsDatingShifted() const {
    return !IsSameTimeOfDay(rampart::ToRaw(m_dating), MeantTime());
}

CTime CBackupTask::MeantTime() const {
    return m_dating == m_meantDate ? m_meantTime : rampart::ToRaw(m_dating);
}

// In a night in which the clock changes an hour does not exist or exists twice, and neither the stored form
// nor the database can tell one of the two from the other. The run comes somewhat early or late then; the
// runs after it come at their time again, also when another process has to see to that.
void CBackupTask::MoveDating(CTime const& next, CTime const& meant) {
    m_dating = rampart::ToStored(next);
    m_meantDate = m_dating;
    m_meantTime = meant;
    KeepMeantTime();
}

void CBackupTask::KeepMeantTime() const {
    CTime const meant = MeantTime();
    CTime const read = AsDatabaseReads(m_dating);
    CString kept;
    if (IsDatingShifted() || !IsSameTimeOfDay(rampart::ToRaw(read), meant)) {
        kept.Format(kMeantFormat, read.GetTime(), meant.GetHour(), meant.GetMinute(), meant.GetSecond());
    }
    Keep(*this, kMeantTime, kept);
}

CTime CBackupTask::LastRun() const {
    __int64 const kept = ApiUtil::StrToInt64(Kept(*this, kLastRun));
    return kept > 0 ? CTime(kept) : m_backupDate.Get();
}

void CBackupTask::KeepLastRun(CTime const& date) const {
    CString text;
    if (date != m_backupDate) {
        text.Format(_T("%I64d"), date.GetTime());
    }
    Keep(*this, kLastRun, text);
}

void CBackupTask::ForgetKeptDates() const {
    Keep(*this, kMeantTime, _T(""));
    Keep(*this, kLastRun, _T(""));
}

// Another record's date, with what it means by that; one that says nothing of it changes nothing of an equal
// date.
void CBackupTask::TakeDating(CBackupTask const& other) {
    m_dating = other.m_dating;
    if (other.m_dating == other.m_meantDate) {
        m_meantDate = other.m_meantDate;
        m_meantTime = other.m_meantTime;
    }
}

void CBackupTask::RestoreMeantTime() {
    CString const kept = Kept(*this, kMeantTime);
    __int64 date = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    // Of another date it was the time once.
    std::istringstream text(kept.ToUtf8());
    if (text >> date >> hour >> minute >> second && date == m_dating.Get().GetTime()) {
        m_meantDate = m_dating;
        m_meantTime = CTime(2001, 1, 1, hour, minute, second);
    }
}

bool CBackupTask::BringBackDates() {
    CTime const now = rampart::RawNow();
    bool isMoved = false;
    // No retry is planned that far ahead.
    if (m_isResume != 0 && rampart::ToRaw(m_resumeDate) > now + CTimeSpan(rampart::kWeekSeconds)) {
        m_resumeDate = rampart::ToStored(now);
        isMoved = true;
    }
    int const mode = rampart::ScheduleMode(m_type);
    if (mode != TaskTypeDaily && mode != TaskTypeWeekly) {
        return isMoved;  // the one date of a once task is what somebody chose
    }
    __int64 const period = mode == TaskTypeWeekly ? rampart::kWeekSeconds : rampart::kDaySeconds;
    CTime const earliest = std::max(now, rampart::ToRaw(m_beginDate));
    if (rampart::ToRaw(m_dating) <= earliest + CTimeSpan(period + rampart::kDaySeconds)) {
        return isMoved;
    }
    CTime const meant = MeantTime();
    CTime next = rampart::AtTimeOfDay(earliest, meant);
    if (next < earliest) {
        next = rampart::DaysAfter(next, 1);
    }
    if (mode == TaskTypeWeekly) {
        next = rampart::DaysAfter(next, GlobalFunction::GetSpanDaysOfWeek(m_repeatDays, next.GetDayOfWeek()));
    }
    MoveDating(next, meant);
    return true;
}

void CBackupTask::AdjustDating(int keepOnceDone) {
    m_dating = rampart::BroughtForward(DatesOf(*this), rampart::StoredMinute(), keepOnceDone);
}

void CBackupTask::SetBeginDate(CTime const& date) {
    m_beginDate = date;
    if (rampart::ScheduleMode(m_type) != TaskTypeRealTime) {
        AdjustDating(1);
    }
}

void CBackupTask::SetDating(CTime const& date, int adjust) {
    m_dating = date;
    if (adjust != 0) {
        AdjustDating(0);
    }
}
