// The request texts of the task database: "KEY=value&" pairs, values percent-encoded. A task with many source
// paths goes in several requests, each of which repeats the whole row.
#pragma once

#include <vector>

#include "framework/framework.h"
#include "task/task_types.h"

class CBackupTask;

namespace rampart {

// The pairs of a task's row, all but the action and the paths. `oldName` counts for the action "Edit" only.
CString TaskRow(CBackupTask const& task, CString const& action, CString const& oldName,
                CString const& upgraded);

// Collects source paths behind a row and gives out a request whenever `limit` of them are there. The first
// request carries the action, those that follow are edits.
class PathRequests {
public:
    PathRequests(CString const& row, CString const& action, int limit);

    // True when the request is full: take it before the next path.
    bool Add(SourceInfo const& source, bool isRemoval);
    // The request with what was added since the last one, perhaps nothing.
    CString Take();

private:
    CString const m_followingBase;
    int const m_limit;
    CString m_text;
    int m_count = 0;
};

}  // namespace rampart
