#include "ledger.h"

#include <algorithm>

#include "text.h"

namespace rampart::host {

Ledger::Ledger(nlohmann::json const& list) {
    for (nlohmann::json const& entry : list) {
        Add(entry.at("path").get<std::string>(), entry.at("reason").get<std::string>(),
            entry.at("error").get<bool>());
    }
}

void Ledger::Add(SkippedEntry const& entry) {
    Add(PrintablePath(entry.path), Utf8(entry.reason), entry.isError);
}

void Ledger::Add(std::string const& path, std::string const& reason, bool isError) {
    std::lock_guard const lock(m_mutex);
    // A path that two stages stumble over stands here once, with what was found first.
    if (m_paths.insert(path).second) {
        m_entries.push_back({path, reason, isError});
    }
}

bool Ledger::HasErrors() const {
    std::lock_guard const lock(m_mutex);
    return std::any_of(m_entries.begin(), m_entries.end(), [](Entry const& entry) { return entry.isError; });
}

size_t Ledger::Count() const {
    std::lock_guard const lock(m_mutex);
    return m_entries.size();
}

std::vector<Ledger::Entry> Ledger::Entries() const {
    std::lock_guard const lock(m_mutex);
    return m_entries;
}

nlohmann::json Ledger::ToJson() const {
    nlohmann::json list = nlohmann::json::array();
    for (Entry const& entry : Entries()) {
        list.push_back({{"path", entry.path}, {"reason", entry.reason}, {"error", entry.isError}});
    }
    return list;
}

SkippedEntryListener::SkippedEntryListener(std::function<void(SkippedEntry const&)> tell)
    : m_tell(std::move(tell)) {
    SetSkippedEntrySink([](SkippedEntry const& entry,
                           void* context) { static_cast<SkippedEntryListener*>(context)->m_tell(entry); },
                        this);
}

SkippedEntryListener::~SkippedEntryListener() {
    SetSkippedEntrySink(nullptr, nullptr);
}

}  // namespace rampart::host
