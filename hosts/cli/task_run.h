// Runs a task in this process and shows how it goes.
#pragma once

#include <memory>

#include "engine/vaultlib.h"
#include "ledger_print.h"
#include "options.h"

namespace rampart::cli {

// Tells other programs that this one runs the task; hold it until the run and its writing have ended. Throws
// CommandError when another program runs it.
std::unique_ptr<HeldName> MarkRun(CBackupTask const& task);

// Starts the task, unless it is started already, waits for its end while an interrupt cancels it, prints what
// was done, and answers an exit code. Throws CommandError when it cannot start.
int RunTaskHere(CommonOptions const& common, CBackupManage& manager, CBackupTask& task, bool isStarted,
                Ledger const& ledger);

}  // namespace rampart::cli
