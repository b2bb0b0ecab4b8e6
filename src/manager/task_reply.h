// The reply texts of the task database, read into rows: repeated keys, whose values line up by position.
#pragma once

#include <optional>
#include <vector>

#include "framework/framework.h"
#include "task/task_types.h"

namespace rampart {

// One row as it came. Dates are read, everything else is text.
struct TaskReplyRow {
    CString taskID, pcID, name, description, pcName, type, serverPath, logFilePath, filterExts, filterPaths,
        maxVersion;
    CString remoteSize, isResume, filterType;
    std::optional<CTime> backupDate, nextDate, beginDate, endDate, resumeDate,
        modifyTime;                             // none: an empty text
    std::optional<CString> status, repeatDays;  // none: a column that ended earlier
};

class TaskReply {
public:
    explicit TaskReply(CString const& reply);

    // Rows as far as every column but status and repeat days reaches.
    size_t Count() const { return m_count; }
    // A date with a field out of range throws CAtlException.
    TaskReplyRow Row(size_t index) const;

private:
    std::vector<std::vector<CString>> m_columns;
    size_t m_count = 0;
};

// The source paths of a reply to the question for one task's paths.
std::vector<SourceInfo> SourcesOfReply(CString const& reply);

// "month/day/year hour:minute:second"; a short text leaves the rest 0, and a year is at least 1971. A field
// out of range throws CAtlException.
CTime ReadReplyDate(CString const& text);

}  // namespace rampart
