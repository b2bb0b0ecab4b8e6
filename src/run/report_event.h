// How a stage of a run reports: the event list, and the mark that fails the run.
#pragma once

#include "eventlog/error_log.h"
#include "framework/framework.h"

class CBackupTask;

namespace rampart {

// As a file-level or run result: something was thrown.
inline constexpr int kUnexpected = 2;

void RecordEvent(CBackupTask* task, CString const& text, EventTypes level);

// An error that counts against the run.
void FailRun(CBackupTask* task, CString const& text);

// The two debug lines of a stage that ended by an exception; called from its handler.
void LogUnexpected(CString const& line);

}  // namespace rampart
