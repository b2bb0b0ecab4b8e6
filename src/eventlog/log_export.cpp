// The event log as numbered elements of an XML node.
#include "eventlog/error_log.h"
#include "eventlog/log_file.h"
#include "interfaces/baselib.h"

namespace {

void WriteRecord(XMLNode& node, int number, ErrorInfo const& record) {
    const auto name = [number](LPCTSTR element) { return rampart::FormatText(_T("%s%d"), element, number); };
    node.SetValue(name(_T("TaskName")), record.m_strTaskName);
    node.SetValue(name(_T("TaskID")), static_cast<int>(record.m_nTaskID));
    node.SetValue(name(_T("BackupDate")), record.m_strTime);
    node.SetValue(name(_T("Description")), record.m_strMessage);
    node.SetValue(name(_T("Type")), static_cast<int>(record.m_nType));
}

}  // namespace

bool CErrorLog::SaveErrorLogListToXMLNode(XMLNode& node) {
    return rampart::Guarded(_T("Error:SaveErrorLogListToXMLNode"), false, [&] {
        if (!node.IsValid()) {
            return false;
        }
        CKorvaneAutoLock lock(&m_lock, _T("SaveErrorLogListToXMLNode"), 1);
        rampart::LogContent log;
        const bool isThere = TrimToLimit([&](CString const& path) { return rampart::ReadLog(path, log); });
        if (isThere && log.form == rampart::LogForm::kCurrent) {
            node.SetValue(_T("FlagValue"), log.header.marker);
            node.SetValue(_T("Count"), log.header.count);
            node.SetValue(_T("ErrorLogVersion"), log.header.version);
            int number = 0;
            for (ErrorInfo const& record : log.records) {
                WriteRecord(node, number++, record);
            }
        }
        return node.SetValue(_T("EndMessage"), 1);
    });
}
