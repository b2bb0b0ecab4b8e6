#include "manager/task_request.h"

#include "interfaces/transferlib.h"
#include "manager/backup_manage.h"
#include "task/backup_task.h"

namespace rampart {

namespace {

constexpr TCHAR const* kAdd = _T("Add");
constexpr TCHAR const* kEdit = _T("Edit");

class RowText {
public:
    RowText& Plain(TCHAR const* key, CString const& value) {
        m_text += key;
        m_text += value;
        m_text += _T('&');
        return *this;
    }
    RowText& Encoded(TCHAR const* key, CString const& value) { return Plain(key, ApiUtil::EncodeURL(value)); }
    // The low 32 bits as a signed number.
    template <class Number>
    RowText& Signed(TCHAR const* key, Number number) {
        return Encoded(key, FormatText(_T("%d"), number));
    }
    RowText& Date(TCHAR const* key, CTime const& date) {
        return Encoded(key, date.Format(_T("%Y-%m-%d %H:%M:%S")));
    }
    RowText& List(TCHAR const* key, CStringList const& list) {
        CString text;
        CBackupManage::StrListToStr(list, text);
        return Encoded(key, text);
    }
    CString const& Text() const { return m_text; }

private:
    CString m_text;
};

CString WithAction(CString const& row, TCHAR const* action) {
    return row + _T("Action=") + ApiUtil::EncodeURL(action) + _T("&");
}

}  // namespace

CString TaskRow(CBackupTask const& task, CString const& action, CString const& oldName,
                CString const& upgraded) {
    bool const isEdit = action.CompareNoCase(kEdit) == 0;
    return RowText()
        .Signed(_T("TaskID="), task.m_taskID)
        .Signed(_T("ComputerID="), task.m_pcID)
        .Encoded(_T("TaskName="), task.m_taskName)
        .Encoded(_T("Descr="), task.m_description)
        .Encoded(_T("PcName="), task.m_pcName)
        .Signed(_T("Type="), static_cast<int32_t>(task.m_type))
        .Date(_T("BackupDate="), task.m_backupDate)
        .Encoded(_T("ServerPath="), task.m_serverFilePath)
        .Encoded(_T("LogFilePath="), CBackupManage::GetFileNameFromPath(task.m_logFilePath))
        .List(_T("FilterExts="), task.m_filterExList)
        .List(_T("FilterPaths="), task.m_filtedPathList)
        .Signed(_T("MaxVersion="), task.m_maxVersion)
        .Date(_T("NextDate="), task.m_dating)
        .Date(_T("BeginDate="), task.m_beginDate)
        .Date(_T("EndDate="), task.m_endDate)
        .Date(_T("ResumeDate="), task.m_resumeDate)
        .Date(_T("ModifyTime="), task.m_modifyTime)
        .Encoded(_T("RemoteSize="), ApiUtil::Int64ToStr(task.m_remoteSize))
        .Encoded(_T("IsResume="), task.m_isResume != 0 ? _T("1") : _T("0"))
        .Encoded(_T("Upgraded="), upgraded)
        .Plain(_T("FilterType="), task.m_filterType)
        .Encoded(_T("OldTaskName="), isEdit ? oldName : task.m_taskName)
        .Signed(_T("status="), task.m_state.Get())
        .Signed(_T("AdvancedOption="), task.m_repeatDays)
        .Text();
}

PathRequests::PathRequests(CString const& row, CString const& action, int limit)
    : m_followingBase(WithAction(row, kEdit)),
      m_limit(limit),
      m_text(action.CompareNoCase(kAdd) == 0 ? WithAction(row, kAdd) : m_followingBase) {}

bool PathRequests::Add(SourceInfo const& source, bool isRemoval) {
    m_text += FormatText(_T("Path%d=%s&Serial%d=%lu&IsFolder%d=%s&Action%d=%s&"), m_count,
                         ApiUtil::EncodeURL(source.path), m_count, source.serial, m_count,
                         source.isFolder != 0 ? _T("1") : _T("0"), m_count, isRemoval ? _T("1") : _T("0"));
    ++m_count;
    return m_count >= m_limit;
}

CString PathRequests::Take() {
    CString const request = m_text + FormatText(_T("localPathNum=%I64d&"), static_cast<__int64>(m_count));
    m_text = m_followingBase;
    m_count = 0;
    return request;
}

}  // namespace rampart
