#include "ledger_print.h"

#include <fstream>
#include <iostream>
#include <map>

#include "output.h"

namespace rampart::cli {

using namespace host;

namespace {

constexpr size_t kShownErrors = 100;
constexpr size_t kShownOthers = 5;

// The file's path; empty if it could not be written.
std::string WriteWholeList(std::vector<Ledger::Entry> const& entries) {
    std::string const path = ToNativePath(ApplicationDataFolder() + _T("not-protected.txt"));
    std::ofstream file(path, std::ios::trunc);
    for (Ledger::Entry const& entry : entries) {
        file << entry.reason << '\t' << entry.path << '\n';
    }
    return file.good() ? path : std::string();
}

}  // namespace

void PrintLedger(CommonOptions const& common, Ledger const& ledger, char const* title) {
    std::vector<Ledger::Entry> const entries = ledger.Entries();
    if (common.json || entries.empty()) {
        return;
    }
    std::cerr << title << '\n';
    std::map<std::string, size_t> shown;
    std::map<std::string, size_t> cut;  // how many are not shown, by their reason
    for (Ledger::Entry const& entry : entries) {
        if (++shown[entry.reason] > (entry.isError ? kShownErrors : kShownOthers)) {
            ++cut[entry.reason];
        } else {
            std::cerr << "  " << entry.path << "  (" << entry.reason << ")\n";
        }
    }
    for (auto const& [reason, count] : cut) {
        std::cerr << "  and " << FormatCount(static_cast<__int64>(count), "more", "more") << " (" << reason
                  << ")\n";
    }
    if (!cut.empty()) {
        std::string const file = WriteWholeList(entries);
        if (!file.empty()) {
            std::cerr << "  The whole list: " << file << "\n";
        }
    }
    std::cerr.flush();
}

}  // namespace rampart::cli
