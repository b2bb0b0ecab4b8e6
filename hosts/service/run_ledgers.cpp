#include "run_ledgers.h"

#include <algorithm>

#include "common/paths.h"
#include "common/text.h"

namespace rampart::service {

namespace {

std::string PrintableName(CString const& name) {
    return host::Printable(host::Utf8(name));
}

}  // namespace

void RunLedgers::Begin(CBackupTask const& task) {
    Run run;
    for (SourceInfo const* const source : task.m_localDirList) {
        if (source != nullptr) {
            run.sources.push_back(source->path);
        }
    }
    std::lock_guard const lock(m_mutex);
    m_runs[PrintableName(task.m_taskName)] = std::move(run);
}

void RunLedgers::End(CString const& name) {
    std::lock_guard const lock(m_mutex);
    if (auto const run = m_runs.find(PrintableName(name)); run != m_runs.end()) {
        run->second.isOver = true;
    }
}

std::shared_ptr<host::Ledger const> RunLedgers::Of(std::string const& name) const {
    std::lock_guard const lock(m_mutex);
    auto const run = m_runs.find(name);
    return run != m_runs.end() ? run->second.ledger : std::make_shared<host::Ledger const>();
}

void RunLedgers::Note(SkippedEntry const& entry) {
    std::lock_guard const lock(m_mutex);
    for (auto& [name, run] : m_runs) {
        if (!run.isOver && std::any_of(run.sources.begin(), run.sources.end(), [&](CString const& source) {
                return host::LiesWithin(entry.path, source);
            })) {
            run.ledger->Add(entry);
        }
    }
}

}  // namespace rampart::service
