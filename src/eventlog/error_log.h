// CErrorLog: reader and writer of the event log, the lasting list of what happened to backups.
//
// One file for a customer on a machine, shared by all processes. A small object made where it is needed; none
// of its operations throws.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "framework/framework.h"
#include "interfaces/baselib.h"

class CBackupTask;

enum EventTypes : int32_t {
    EVENT_INFO = 0,
    EVENT_WARNING = 1,  // goes to the task's warning mail part too
    EVENT_ERROR = 2,    // goes to the task's error mail part too
};

// One event. The list that holds it owns it.
struct VAULTLIB_API ErrorInfo {
    CString m_strTaskName;  // corrected to the task's present name on reading
    CString m_strTime;      // "%m/%d/%Y %H:%M:%S", stored form
    int32_t m_nTaskID = 0;  // 0 for an event without a task
    CString m_strMessage;
    EventTypes m_nType = EVENT_INFO;
};

class VAULTLIB_API CErrorLog {
public:
    CErrorLog() = default;
    virtual ~CErrorLog() = default;

    // Appends one record; `task` may be null. 0 if the event could not be written.
    virtual int RecordError(CBackupTask* task, CString message, EventTypes type);
    // All records, the last written first, as ErrorInfo* that ClearErrorList frees. 1 also for an empty file.
    virtual int GetErrorList(CPtrList& out);
    virtual void ClearErrorList(CPtrList& list);
    virtual void RemoveAllLogs();
    // Trims the file to the limit and copies it as it is. 0 if there is none.
    virtual int StoreErrorList(CArchive& archive);
    // Reads what StoreErrorList wrote.
    virtual int LoadErrorList(CPtrList& out, CArchive& archive);
    virtual CString GetTaskNameFromID(int id);  // empty if there is no such task

    // Empty if there is no folder for it.
    static CString GetLogFilePath();
    // The last `last` records.
    int GetEventList(__int64 last, CPtrList& out);
    // Takes the oldest records out of the file where it has more than `most`, the others stay in their order.
    // As many as the limit of the configuration stay in any case.
    void KeepNewest(__int64 most);
    // Trims the file and writes it as numbered child elements. False for an invalid node.
    bool SaveErrorLogListToXMLNode(XMLNode& node);

protected:
    void DeleteErrorLogFile();
    // Keeps the last `keep` records.
    void FreeLogFile(__int64 keep);
    int LoadOldErrorList(CPtrList& out, __int64& count);
    void ModifyOldErrorLog();
    void RewriteEventLog(CPtrList& list, __int64 count);
    void RewriteOldErrorLogFile(CPtrList& list, __int64 count, EventTypes type);

    CCriticalSection m_lock;
    __int64 m_nRecordLimit = 0;

private:
    bool ReadLast(__int64 last, std::vector<ErrorInfo>& records);
    bool TrimToLimit(std::function<bool(CString const&)> const& use);
    std::map<int, CString> PresentNames(std::vector<ErrorInfo> const& records);

    std::map<int, CString> m_names;  // what a trimmed file shows for each task id
};
