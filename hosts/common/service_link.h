// Requests from one host to the background service, and the mark by which every host tells the others which
// task it runs.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "engine/vaultlib.h"

namespace rampart::host {

// What a request asks for. A request is an object with a "kind"; bytes that are not UTF-8 may stand in its
// texts.
enum class RequestKind {
    kHello,   // which vault the service works on
    kTasks,   // the tasks, as task_report.h tells them
    kChange,  // a TaskChange
    kRun,     // start the named task
    kStop,    // cancel the run of the named task
    kReload,  // something changed: look at the database and at the marks now
    kLedger,  // what the last run of the named task could not protect, see Ledger
    kEnd,     // the service is to cancel what runs, and to end
    kPause,   // pause the run of the named task, or let it go on: "isPaused"
};

struct ServiceAnswer {
    int code = 0;      // an exit code
    std::string text;  // for the user
    nlohmann::json data;
};

CString ServiceReceiverName();

std::string PackRequest(RequestKind kind, nlohmann::json const& body);
// Throws nlohmann::json::exception for bytes that are no request.
RequestKind UnpackRequest(std::string const& bytes, nlohmann::json& body);
std::string PackAnswer(ServiceAnswer const& answer);

// None when no service runs. Throws CommandError when one runs and does not answer.
std::optional<ServiceAnswer> AskService(RequestKind kind, nlohmann::json const& body = {});

// The service as seen from a program that has opened a vault.
struct ServicePresence {
    bool isHere = false;     // one works on the same vault
    std::string otherVault;  // the vault that it works on instead, if it does
    // Why tasks of this vault do not run by themselves; empty when they do.
    std::string Complaint() const;
};
ServicePresence LookForService();
// Tells a service, if there is one, to look at what changed. Never fails.
void TellServiceToReload();

// Held by a program as long as it runs the task, from before the start until the end is written. The
// background service starts no task whose mark another program holds.
CString RunMarkName(CBackupTask const& task);

}  // namespace rampart::host
