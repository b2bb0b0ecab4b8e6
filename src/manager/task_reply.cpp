#include "manager/task_reply.h"

#include "interfaces/transferlib.h"
#include "task/engine_text.h"

namespace rampart {

namespace {

constexpr int kFirstYear = 1971;

// In the order of the table below.
enum Column : size_t {
    kTaskID,
    kPcID,
    kTaskName,
    kDescription,
    kPcName,
    kType,
    kBackupDate,
    kServerPath,
    kLogFilePath,
    kFilterExts,
    kFilterPaths,
    kMaxVersion,
    kNextDate,
    kBeginDate,
    kEndDate,
    kResumeDate,
    kModifyTime,
    kRemoteSize,
    kIsResume,
    kFilterType,
    kStatus,
    kRepeatDays,
    kColumnCount
};

constexpr TCHAR const* kKeys[kColumnCount] = {
    _T("RETURN_TaskID"),      _T("RETURN_PcID"),          _T("RETURN_TaskName"),    _T("RETURN_Descr"),
    _T("RETURN_PcName"),      _T("RETURN_Type"),          _T("RETURN_BackupDate"),  _T("RETURN_ServerPath"),
    _T("RETURN_LogFilePath"), _T("RETURN_FilterExts"),    _T("RETURN_FilterPaths"), _T("ETURN_MaxVersion"),
    _T("RETURN_NextDate"),    _T("RETURN_BeginDate"),     _T("RETURN_EndDate"),     _T("RETURN_ResumeDate"),
    _T("RETURN_ModifyTime"),  _T("RETURN_RemoteSize"),    _T("RETURN_IsResume"),    _T("RETURN_FilterType"),
    _T("RETURN_Status"),      _T("RETURN_AdvancedOption")};

// Numbers with one separator between them.
class DateReader {
public:
    explicit DateReader(CString const& text) : m_text(text) {}

    // Leading blanks are passed over.
    bool Number(int& value) {
        while (m_text[m_index] == _T(' ')) {
            ++m_index;
        }
        int const start = m_index;
        m_index += m_text[m_index] == _T('-') || m_text[m_index] == _T('+') ? 1 : 0;
        int const firstDigit = m_index;
        while (m_text[m_index] >= _T('0') && m_text[m_index] <= _T('9')) {
            ++m_index;
        }
        if (m_index == firstDigit) {
            return false;
        }
        value = ReadNumber(m_text.Mid(start, m_index - start));
        return true;
    }

    bool Separator(TCHAR character) {
        bool const isThere = m_text[m_index] == character;
        m_index += isThere ? 1 : 0;
        return isThere;
    }

private:
    CString const m_text;
    int m_index = 0;
};

std::vector<CString> ColumnOf(CString const& reply, TCHAR const* key) {
    CStringList values(20);
    ApiUtil::GetVarValueList(reply, key, values);
    return std::vector<CString>(values.begin(), values.end());
}

std::optional<CTime> DateOf(CString const& text) {
    return text.IsEmpty() ? std::nullopt : std::optional<CTime>(ReadReplyDate(text));
}

}  // namespace

CTime ReadReplyDate(CString const& text) {
    enum Field { kMonth, kDay, kYear, kHour, kMinute, kSecond, kFieldCount };
    int fields[kFieldCount] = {};
    DateReader reader(text);
    bool const isRead = reader.Number(fields[kMonth]) && reader.Separator(_T('/')) &&
                        reader.Number(fields[kDay]) && reader.Separator(_T('/')) &&
                        reader.Number(fields[kYear]) && reader.Number(fields[kHour]) &&
                        reader.Separator(_T(':')) && reader.Number(fields[kMinute]) &&
                        reader.Separator(_T(':')) && reader.Number(fields[kSecond]);
    static_cast<void>(isRead);  // a short text leaves the rest 0
    return CTime(std::max(fields[kYear], kFirstYear), fields[kMonth], fields[kDay], fields[kHour],
                 fields[kMinute], fields[kSecond]);
}

TaskReply::TaskReply(CString const& reply) {
    m_columns.reserve(kColumnCount);
    for (TCHAR const* const key : kKeys) {
        m_columns.push_back(ColumnOf(reply, key));
    }
    m_count = m_columns[0].size();
    for (size_t column = 0; column < kStatus; ++column) {
        m_count = std::min(m_count, m_columns[column].size());
    }
}

TaskReplyRow TaskReply::Row(size_t index) const {
    auto text = [&](Column column) { return m_columns[column][index]; };
    auto optional = [&](Column column) {
        return index < m_columns[column].size() ? std::optional<CString>(text(column)) : std::nullopt;
    };
    TaskReplyRow row;
    row.taskID = text(kTaskID);
    row.pcID = text(kPcID);
    row.name = text(kTaskName);
    row.description = text(kDescription);
    row.pcName = text(kPcName);
    row.type = text(kType);
    row.backupDate = DateOf(text(kBackupDate));
    row.serverPath = text(kServerPath);
    row.logFilePath = text(kLogFilePath);
    row.filterExts = text(kFilterExts);
    row.filterPaths = text(kFilterPaths);
    row.maxVersion = text(kMaxVersion);
    row.nextDate = DateOf(text(kNextDate));
    row.beginDate = DateOf(text(kBeginDate));
    row.endDate = DateOf(text(kEndDate));
    row.resumeDate = DateOf(text(kResumeDate));
    row.modifyTime = DateOf(text(kModifyTime));
    row.remoteSize = text(kRemoteSize);
    row.isResume = text(kIsResume);
    row.filterType = text(kFilterType);
    row.status = optional(kStatus);
    row.repeatDays = optional(kRepeatDays);
    return row;
}

std::vector<SourceInfo> SourcesOfReply(CString const& reply) {
    std::vector<CString> const paths = ColumnOf(reply, _T("RETURN_Path"));
    std::vector<CString> const serials = ColumnOf(reply, _T("RETURN_Serial"));
    std::vector<CString> const folders = ColumnOf(reply, _T("RETURN_IsFolder"));
    std::vector<SourceInfo> sources(std::min({paths.size(), serials.size(), folders.size()}));
    for (size_t index = 0; index < sources.size(); ++index) {
        sources[index].path = paths[index];
        sources[index].serial = static_cast<uint32_t>(ReadNumber(serials[index]));
        sources[index].isFolder = folders[index] == _T("1") ? 1 : 0;
    }
    return sources;
}

}  // namespace rampart
