#include "eventlog/error_log.h"

#include <map>

#include "engine/vaultlib_app.h"
#include "eventlog/log_file.h"
#include "interfaces/baselib.h"
#include "manager/backup_manage.h"
#include "task/backup_task.h"

namespace {

constexpr UINT kAppendFlags = CFile::modeReadWrite | CFile::modeCreate | CFile::modeNoTruncate;

// Names of tasks by id, asked of the manager while the log is not locked: whoever holds the manager's locks
// may be waiting to record an event.
using TaskNames = std::map<int, CString>;

void ApplyName(ErrorInfo& record, TaskNames const& names) {
    const auto name = names.find(record.m_nTaskID);
    if (name != names.end() && !name->second.IsEmpty()) {
        record.m_strTaskName = name->second;
    }
}

void MoveToList(std::vector<ErrorInfo>& records, CPtrList& out) {
    for (ErrorInfo& record : records) {
        out.AddHead(std::make_unique<ErrorInfo>(std::move(record)).release());  // the list owns it
    }
}

std::vector<ErrorInfo> FromList(CPtrList const& list) {
    std::vector<ErrorInfo> records;
    for (void* entry : list) {
        records.push_back(*static_cast<ErrorInfo*>(entry));
    }
    return records;
}

void KeepLast(std::vector<ErrorInfo>& records, __int64 keep) {
    const auto size = static_cast<__int64>(records.size());
    if (keep < size) {
        records.erase(records.begin(), records.begin() + (size - std::max<__int64>(keep, 0)));
    }
}

CString PresentTimeText() {
    CTime now = rampart::NowRaw();
    TimeUtil::LocalTimeToUtcTime(now);
    return now.Format(_T("%m/%d/%Y %H:%M:%S"));
}

__int64 RecordLimit() {
    return DictUtil::GetConfigInt(_T("Options"), _T("LogFileRecordLimit"), _T("20"), CString());
}

void LogCannotOpen(rampart::TextView format, CString const& path) {
    GetManageDebugLog().AddDebugInfo(rampart::FormatText(format, path), 0);
}

}  // namespace

int CErrorLog::RecordError(CBackupTask* task, CString message, EventTypes type) {
    return rampart::Guarded(_T("Error:RecordError"), 0, [&] {
        CKorvaneAutoLock lock(&m_lock, _T("RecordError"), 1);
        const CString path = rampart::EventLogPath();
        if (path.IsEmpty()) {
            return 0;
        }
        ErrorInfo record;
        record.m_strTaskName = task ? task->m_taskName : DictUtil::GetValue(_T("GlobalError"), CString());
        record.m_nTaskID = task ? task->m_taskID : 0;
        record.m_strTime = PresentTimeText();
        record.m_strMessage = message;
        record.m_nType = type;

        rampart::EventLogLock fileLock(path);
        rampart::LogContent log;
        rampart::ReadLogHeader(path, log);
        if (log.form == rampart::LogForm::kOld) {
            ModifyOldErrorLog();
            log = rampart::LogContent();
            rampart::ReadLogHeader(path, log);
        }
        KXFile file;
        if (!file.Open(path, kAppendFlags)) {
            LogCannotOpen(_T("ErrorLog: cannot open file: %s."), path);
            return 0;
        }
        if (log.form != rampart::LogForm::kCurrent) {
            log.header = rampart::LogHeader();
        }
        rampart::AppendRecord(file, log.header, record);
        file.Close();
        return 1;
    });
}

int CErrorLog::GetErrorList(CPtrList& out) {
    return GetEventList(std::numeric_limits<__int64>::max(), out);
}

CString CErrorLog::GetLogFilePath() {
    return rampart::EventLogPath();
}

int CErrorLog::GetEventList(__int64 last, CPtrList& out) {
    return rampart::Guarded(_T("Error:GetEventList"), 0, [&] {
        std::vector<ErrorInfo> records;
        if (!ReadLast(last, records)) {
            return 0;
        }
        const std::map<int, CString> names = PresentNames(records);
        for (ErrorInfo& record : records) {
            ApplyName(record, names);
        }
        MoveToList(records, out);
        return 1;
    });
}

bool CErrorLog::ReadLast(__int64 last, std::vector<ErrorInfo>& records) {
    CKorvaneAutoLock lock(&m_lock, _T("GetEventList"), 1);
    const CString path = rampart::EventLogPath();
    if (path.IsEmpty()) {
        return false;
    }
    rampart::EventLogLock fileLock(path);
    rampart::LogContent log;
    if (!rampart::ReadLog(path, log)) {
        return false;
    }
    records = std::move(log.records);
    KeepLast(records, last);
    return true;
}

void CErrorLog::ClearErrorList(CPtrList& list) {
    for (void* entry : list) {
        delete static_cast<ErrorInfo*>(entry);  // made by MoveToList
    }
    list.RemoveAll();
}

void CErrorLog::RemoveAllLogs() {
    DeleteErrorLogFile();
}

int CErrorLog::StoreErrorList(CArchive& archive) {
    return rampart::Guarded(_T("Error:StoreErrorList"), 0, [&] {
        std::vector<BYTE> bytes;
        if (!TrimToLimit([&](CString const& path) { return rampart::ReadLogBytes(path, bytes); })) {
            return 0;
        }
        archive.Write(bytes.data(), static_cast<UINT>(bytes.size()));
        return 1;
    });
}

void CErrorLog::KeepNewest(__int64 most) {
    rampart::Guarded(_T("Error:KeepNewest"), [&] {
        CKorvaneAutoLock lock(&m_lock, _T("KeepNewest"), 1);
        const CString path = rampart::EventLogPath();
        if (path.IsEmpty()) {
            return;
        }
        most = std::max(most, RecordLimit());
        rampart::EventLogLock fileLock(path);
        rampart::LogContent log;
        if (!rampart::ReadLogHeader(path, log) || log.header.count <= most) {
            return;
        }
        log = rampart::LogContent();
        if (rampart::ReadLog(path, log)) {
            KeepLast(log.records, most);
            rampart::LogHeader header;
            header.count = static_cast<__int64>(log.records.size());
            rampart::WriteLog(path, header, log.records);
        }
    });
}

int CErrorLog::LoadErrorList(CPtrList& out, CArchive& archive) {
    return rampart::Guarded(_T("Error:LoadErrorList"), 0, [&] {
        rampart::LogHeader header;
        archive >> header.marker >> header.count >> header.version;
        std::vector<ErrorInfo> records;
        const bool complete = rampart::ReadRecords(archive, header.count, rampart::LogForm::kCurrent, records,
                                                   _T("Error:LoadErrorList"));
        const TaskNames names = PresentNames(records);
        for (ErrorInfo& record : records) {
            ApplyName(record, names);
        }
        MoveToList(records, out);
        return complete ? 1 : 0;
    });
}

CString CErrorLog::GetTaskNameFromID(int id) {
    return rampart::Guarded(_T("Error:GetTaskNameFromID"), CString(), [&] {
        CBackupManage* manager = theVaultLibApp.m_pBackupManage;
        CBackupTask* task = manager ? manager->GetTaskByID(id, nullptr) : nullptr;
        return task ? task->m_taskName : CString();
    });
}

std::map<int, CString> CErrorLog::PresentNames(std::vector<ErrorInfo> const& records) {
    TaskNames names;
    for (ErrorInfo const& record : records) {
        if (record.m_nTaskID != 0 && !names.contains(record.m_nTaskID)) {
            names[record.m_nTaskID] = GetTaskNameFromID(record.m_nTaskID);
        }
    }
    return names;
}

// Brings the file to its current form and to the limit, and calls `use` with its path before anybody else can
// change it. False if there is no file, otherwise what `use` answers.
bool CErrorLog::TrimToLimit(std::function<bool(CString const&)> const& use) {
    const CString path = rampart::EventLogPath();
    if (path.IsEmpty()) {
        return false;
    }
    m_nRecordLimit = RecordLimit();
    rampart::LogContent seen;
    if (rampart::ReadLogHeader(path, seen) && seen.header.count > m_nRecordLimit) {
        std::vector<ErrorInfo> records;
        ReadLast(m_nRecordLimit, records);
        m_names = PresentNames(records);
    }
    CKorvaneAutoLock lock(&m_lock, _T("StoreErrorList"), 1);
    rampart::EventLogLock fileLock(path);
    rampart::LogContent log;
    if (!rampart::ReadLogHeader(path, log)) {
        return false;
    }
    if (log.form == rampart::LogForm::kOld) {
        ModifyOldErrorLog();
        log = rampart::LogContent();
        rampart::ReadLogHeader(path, log);
    }
    if (log.header.count > m_nRecordLimit) {
        FreeLogFile(m_nRecordLimit);
    }
    return use(path);
}

void CErrorLog::FreeLogFile(__int64 keep) {
    const CString path = rampart::EventLogPath();
    rampart::EventLogLock fileLock(path);
    rampart::LogContent log;
    if (path.IsEmpty() || !rampart::ReadLog(path, log)) {
        return;
    }
    KeepLast(log.records, keep);
    for (ErrorInfo& record : log.records) {
        ApplyName(record, m_names);
    }
    CPtrList list;
    MoveToList(log.records, list);
    RewriteEventLog(list, list.GetCount());
    ClearErrorList(list);
}

void CErrorLog::DeleteErrorLogFile() {
    rampart::Guarded(_T("Error:DeleteErrorLogFile"), [] {
        const CString path = rampart::EventLogPath();
        if (!path.IsEmpty()) {
            rampart::EventLogLock fileLock(path);
            KXFolder::ForceDelFile(path);
        }
    });
}

int CErrorLog::LoadOldErrorList(CPtrList& out, __int64& count) {
    return rampart::Guarded(_T("Error:LoadOldErrorList"), 0, [&] {
        rampart::LogContent log;
        const CString path = rampart::EventLogPath();
        if (path.IsEmpty() || !rampart::ReadLog(path, log) || log.form != rampart::LogForm::kOld) {
            return 0;
        }
        MoveToList(log.records, out);
        count = out.GetCount();
        return 1;
    });
}

void CErrorLog::ModifyOldErrorLog() {
    CPtrList list;
    __int64 count = 0;
    if (LoadOldErrorList(list, count)) {
        RewriteOldErrorLogFile(list, count, EVENT_ERROR);
    }
    ClearErrorList(list);
}

void CErrorLog::RewriteEventLog(CPtrList& list, __int64 count) {
    rampart::Guarded(_T("Error:RewriteEventLog"), [&] {
        const CString path = rampart::EventLogPath();
        rampart::LogHeader header;
        header.count = count;
        if (!rampart::WriteLog(path, header, FromList(list))) {
            LogCannotOpen(_T("ErrorLog:cannot open file: %s."), path);
        }
    });
}

void CErrorLog::RewriteOldErrorLogFile(CPtrList& list, __int64 count, EventTypes type) {
    for (void* entry : list) {
        static_cast<ErrorInfo*>(entry)->m_nType = type;
    }
    RewriteEventLog(list, count);
}
