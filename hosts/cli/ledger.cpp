#include "ledger.h"

#include <algorithm>
#include <fstream>
#include <iostream>

#include "output.h"

namespace rampart::cli {

namespace {

constexpr size_t kShownOfKind = 5;

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
    std::map<std::string, size_t> shown;
    {
        std::lock_guard const lock(m_mutex);
        std::cerr << title << '\n';
        for (Entry const& entry : m_entries) {
            if (entry.isError || ++shown[entry.reason] <= kShownOfKind) {
                std::cerr << "  " << entry.path << "  (" << entry.reason << ")\n";
            }
        }
    }
    bool cut = false;
    for (auto const& [reason, count] : shown) {
        if (count > kShownOfKind) {
            std::cerr << "  and " << FormatCount(static_cast<__int64>(count - kShownOfKind), "more", "more")
                      << " (" << reason << ")\n";
            cut = true;
        }
    }
    if (cut) {
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
