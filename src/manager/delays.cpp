// The two delays of the scheduler: of a real-time change behind a planned retry, and of a missed run that is
// made up.
#include "interfaces/baselib.h"
#include "manager/backup_manage.h"
#include "paths/global_function.h"

namespace {

constexpr TCHAR const* kRealTimeDelayFlag = _T("DelaySecs");
constexpr TCHAR const* kMissedTaskDelayFlag = _T("DelayMinsMissedTask");
constexpr TCHAR const* kMissedTaskRestartFlag = _T("MissedTaskReStart");

constexpr unsigned long kDefaultRealTimeSeconds = 60;
constexpr unsigned long kDefaultMissedMinutes = 1;
constexpr unsigned long kSecondsOfDay = 86400;
constexpr unsigned long kMinutesOfDay = 1440;
constexpr __int64 kSixty = 60;

unsigned long FlagOr(TCHAR const* name, unsigned long missing) {
    unsigned long value = 0;
    return GlobalFunction::LoadFlag(name, value) ? value : missing;
}

}  // namespace

int CBackupManage::Initialize() {
    if (unsigned long const seconds = ReadRealTimeDelayInfo(); seconds != 0) {
        SetRealTimeDelaySeconds(seconds);
    }
    m_skipMissedTask = FlagOr(kMissedTaskRestartFlag, 1) != 1 ? 1 : 0;
    if (unsigned long const minutes = ReadDelayTimeForMissedTaskInfo(); minutes != 0) {
        SetDelayTimeForMissedTask(minutes);
        if (minutes < kMinutesOfDay) {
            m_missedTaskDelay = static_cast<__int64>(minutes) * kSixty;  // the call takes 61 minutes for 1
        }
    }
    return 1;
}

unsigned long CBackupManage::GetRealTimeDelaySeconds() {
    return static_cast<unsigned long>(m_realTimeDelay.Get());
}

void CBackupManage::SetRealTimeDelaySeconds(unsigned long seconds) {
    if (seconds == GetRealTimeDelaySeconds()) {
        return;
    }
    WriteRealTimeDelayInfo(seconds);
    if (seconds < kSecondsOfDay) {
        m_realTimeDelay = static_cast<__int64>(seconds);
    }
}

unsigned long CBackupManage::GetDelayTimeForMissedTask() {
    return static_cast<unsigned long>(m_missedTaskDelay / kSixty % kSixty);
}

void CBackupManage::SetDelayTimeForMissedTask(unsigned long minutes) {
    if (minutes == GetDelayTimeForMissedTask()) {
        return;
    }
    WriteDelayTimeForMissedTaskInfo(minutes);
    if (minutes < kMinutesOfDay) {
        m_missedTaskDelay = static_cast<__int64>(minutes) * kSixty;
    }
}

// The stored number is a switch only; the one that counts is the configuration's, which knows it by two keys.
unsigned long CBackupManage::ReadRealTimeDelayInfo() {
    if (FlagOr(kRealTimeDelayFlag, 0) == 0) {
        return kDefaultRealTimeSeconds;
    }
    CString const option = DictUtil::GetConfigString(_T("Options"), _T("RealTimeDelay"), _T("30"), _T(""));
    return static_cast<unsigned long>(
        DictUtil::GetConfigInt(_T("RealTimeDelay"), _T("DelaySecs"), option, _T("")));
}

void CBackupManage::WriteRealTimeDelayInfo(unsigned long seconds) {
    GlobalFunction::SaveFlag(kRealTimeDelayFlag, seconds);
}

unsigned long CBackupManage::ReadDelayTimeForMissedTaskInfo() {
    unsigned long const minutes = FlagOr(kMissedTaskDelayFlag, kDefaultMissedMinutes);
    return minutes >= 1 && minutes <= kMinutesOfDay ? minutes : kDefaultMissedMinutes;
}

void CBackupManage::WriteDelayTimeForMissedTaskInfo(unsigned long minutes) {
    GlobalFunction::SaveFlag(kMissedTaskDelayFlag, minutes);
}
