// What the last run of each task could not protect.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "common/ledger.h"

namespace rampart::service {

// Safe from any thread. What is skipped belongs to the runs, of those that have begun and not ended, in whose
// sources it lies.
class RunLedgers {
public:
    void Begin(CBackupTask const& task);
    void End(CString const& name);
    // Of the run that goes on, or of the last one, of the task of that printable name; never null.
    std::shared_ptr<host::Ledger const> Of(std::string const& name) const;

private:
    struct Run {
        std::vector<CString> sources;
        std::shared_ptr<host::Ledger> ledger = std::make_shared<host::Ledger>();
        bool isOver = false;
    };
    void Note(SkippedEntry const& entry);

    mutable std::mutex m_mutex;
    std::map<std::string, Run> m_runs;  // by the task's name as hosts are told it
    host::SkippedEntryListener m_listener{[this](SkippedEntry const& entry) { Note(entry); }};
};

}  // namespace rampart::service
