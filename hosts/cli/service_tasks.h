// Tasks as a running service sees them.
#pragma once

#include "common/ledger.h"
#include "common/service_link.h"

namespace rampart::cli {

using namespace host;

// The answer of the service, whose refusal ends the command.
ServiceAnswer Ask(RequestKind kind, nlohmann::json const& body);
// The tasks as the service sees them, or as they are stored.
nlohmann::json TasksOf(CBackupManage& manager, bool hasService);
// What the last run of such a task left out.
Ledger LedgerOf(nlohmann::json const& task);

}  // namespace rampart::cli
