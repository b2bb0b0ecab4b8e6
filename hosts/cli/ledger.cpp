#include "ledger.h"

#include <algorithm>
#include <fstream>
#include <iostream>

#include "output.h"

namespace rampart::cli {

namespace {

// So many paths of one reason are shown; all of them stand in the file.
constexpr size_t kShownErrors = 100;
constexpr size_t kShownOthers = 5;

}  // namespace

Ledger::Ledger() {
    SetSkippedEntrySink(
        [](SkippedEntry const& entry, void* context) { static_cast<Ledger*>(context)->Add(entry); }, this);
}

Ledger::~Ledger() {
    SetSkippedEntrySink(nullptr, nullptr);
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

bool Ledger::IsEmpty() const {
    std::lock_guard const lock(m_mutex);
    return m_entries.empty();
}

bool Ledger::HasErrors() const {
    std::lock_guard const lock(m_mutex);
    return std::any_of(m_entries.begin(), m_entries.end(), [](Entry const& entry) { return entry.isError; });
}

size_t Ledger::Count() const {
    std::lock_guard const lock(m_mutex);
    return m_entries.size();
}

nlohmann::json Ledger::ToJson() const {
    std::lock_guard const lock(m_mutex);
    nlohmann::json list = nlohmann::json::array();
    for (Entry const& entry : m_entries) {
        list.push_back({{"path", entry.path}, {"reason", entry.reason}, {"error", entry.isError}});
    }
    return list;
}

void Ledger::Print(CommonOptions const& common, char const* title) const {
    if (common.json || IsEmpty()) {
        return;
    }
    std::map<std::string, size_t> cut;  // how many are not shown, by their reason
    {
        std::lock_guard const lock(m_mutex);
        std::cerr << title << '\n';
        std::map<std::string, size_t> shown;
        for (Entry const& entry : m_entries) {
            if (++shown[entry.reason] > (entry.isError ? kShownErrors : kShownOthers)) {
                ++cut[entry.reason];
            } else {
                std::cerr << "  " << entry.path << "  (" << entry.reason << ")\n";
            }
        }
    }
    for (auto const& [reason, count] : cut) {
        std::cerr << "  and " << FormatCount(static_cast<__int64>(count), "more", "more") << " (" << reason
                  << ")\n";
    }
    if (!cut.empty()) {
        std::string const file = WriteFile();
        if (!file.empty()) {
            std::cerr << "  The whole list: " << file << "\n";
        }
    }
    std::cerr.flush();
}

std::string Ledger::WriteFile() const {
    std::string const path = ToNativePath(ApplicationDataFolder() + _T("not-protected.txt"));
    std::ofstream file(path, std::ios::trunc);
    std::lock_guard const lock(m_mutex);
    for (Entry const& entry : m_entries) {
        file << entry.reason << '\t' << entry.path << '\n';
    }
    return file.good() ? path : std::string();
}

}  // namespace rampart::cli
