// BackupService: the background host.
#include <CLI/CLI.hpp>
#include <iostream>

#include "common/exit_code.h"
#include "common/service_link.h"
#include "common/text.h"
#include "service.h"

namespace rampart::service {

namespace {

constexpr char kFooter[] = R"(
Runs the tasks that 'rampart task add' made, each at its time, until it is told to stop (--stop from elsewhere,
SIGTERM or Ctrl-C). A stop cancels what runs; the next start goes on with it. SIGHUP makes it look at the task
list at once. What it does it writes to standard output, a line each.

Exit codes: 0 stopped as asked, 1 failed (also when another BackupService runs), 2 wrong usage.)";

constexpr unsigned int kEndPollMs = 50;

// Stops the BackupService that runs, and waits for its end.
int StopOther() {
    if (!GlobalFunction::IsBackupServiceRunning()) {
        std::cout << "no BackupService runs" << std::endl;
        return host::kExitDone;
    }
    for (bool isAsked = false; GlobalFunction::IsBackupServiceRunning();) {
        if (!isAsked) {
            try {
                isAsked = host::AskService(host::RequestKind::kEnd).has_value();
            } catch (host::CommandError const&) {
                // It starts, or is on its way to its end: both may take long.
            }
        }
        if (WaitForServiceSignal(kEndPollMs) == ServiceSignal::kStop) {
            throw host::CommandError(host::kExitCancelled, "BackupService was told to stop and still runs");
        }
    }
    return host::kExitDone;
}

int Main(int argc, char** argv) {
    CLI::App app{"The background service of Rampart."};
    app.name("BackupService");
    app.footer(kFooter);
    app.set_version_flag("--version", std::string("BackupService ") + RAMPART_VERSION);
    std::string vault;
    bool isDetached = false;
    bool isStop = false;
    app.add_option("--vault", vault,
                   "Vault to use: a folder or vault:///folder (default: the configured one)")
        ->envname("RAMPART_VAULT");
    app.add_flag("--stop", isStop, "Stop the BackupService that runs, and wait until it has ended");
    app.add_flag("-d", isDetached, "Taken and ignored: the program that starts it need not wait");
    try {
        app.parse(host::ArgumentsForParser(argc, argv));
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? host::kExitDone : host::kExitUsage;
    }
    try {
        if (isStop) {
            return StopOther();
        }
        static void* const mutex = GlobalFunction::CreateBackServiceMutex();  // open as long as the process
        if (mutex == nullptr) {
            throw host::CommandError(host::kExitFailed, "another BackupService runs already");
        }
        ForgetEarlierStop();
        Service service(vault);
        return service.Run();
    } catch (host::CommandError const& error) {
        std::cerr << "BackupService: " << error.what() << std::endl;
        return error.Code();
    } catch (std::exception const& error) {
        std::cerr << "BackupService: unexpected failure: " << error.what() << std::endl;
        return host::kExitFailed;
    }
}

}  // namespace

}  // namespace rampart::service

int main(int argc, char** argv) {
    rampart::CatchServiceSignals();
    rampart::UseUtf8Output();
    return rampart::service::Main(argc, argv);
}
