// How a stage of a run reports: the event list, and the mark that fails the run.
#pragma once

#include "eventlog/error_log.h"
#include "framework/framework.h"
#include "task/unexpected.h"

class CBackupTask;

namespace rampart {

void RecordEvent(CBackupTask* task, CString const& text, EventTypes level);

// Only in the event list: nothing is left out for it, so it is no warning of the run.
void RecordNotice(CBackupTask* task, CString const& text);

// An error that counts against the run.
void FailRun(CBackupTask* task, CString const& text);

// On the host's ledger: the path is not protected, and the code says why.
void NoteLeftOut(CString const& path, __int64 code);

}  // namespace rampart
