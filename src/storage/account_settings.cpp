#include "storage/account_settings.h"

#include <algorithm>
#include <charconv>

namespace rampart::account_setting {
namespace {

constexpr int64_t kMostBytes = int64_t{1} << 60;
constexpr size_t kLongestPatterns = 64 * 1024;

// In the order in which they are listed.
constexpr Entry kEntries[] = {
    {"quota", kQuotaBytes.name, Entry::kBytes, kQuotaBytes.fallback, 0, kMostBytes,
     "bytes that the packs may take; 0: as the disk has room for"},
    {"item-limit", kMaxItemsOfTask.name, Entry::kCount, kMaxItemsOfTask.fallback, 1, 1'000'000'000,
     "files and folders that one task may hold"},
    {"paid", kPaid.name, Entry::kSwitch, kPaid.fallback, 0, 1, "whether this is no free account"},
    {"free-file-size", kFreeMaxFileBytes.name, Entry::kBytes, kFreeMaxFileBytes.fallback, 1, kMostBytes,
     "largest file of a free account"},
    {"may-subscribe", kMaySubscribe.name, Entry::kSwitch, kMaySubscribe.fallback, 0, 1,
     "whether a free account is told that it could be a paid one"},
    {"batch-size", kBatchBytes.name, Entry::kBytes, kBatchBytes.fallback, 64 << 10, 64 << 20,
     "bytes of small files that are stored in one step"},
    {"parallel-transfers", kParallelTransfer.name, Entry::kSwitch, kParallelTransfer.fallback, 0, 1,
     "whether several files are sent at once"},
    {"parallel-file-size", kWorkerMaxFileBytes.name, Entry::kBytes, kWorkerMaxFileBytes.fallback, 0,
     kMostBytes, "only smaller files are sent beside others"},
    {"snapshot-copies", kSnapshotCopies.name, Entry::kSwitch, kSnapshotCopies.fallback, 0, 1,
     "whether files in use are read from a snapshot of their volume"},
    {"file-filter", kFileFilter, Entry::kPatterns, 0, 0, 0, "files that no task backs up, separated by |"},
    {"folder-filter", kFolderFilter, Entry::kPatterns, 0, 0, 0,
     "folders that no task backs up, separated by |"},
};

bool ParseNumber(std::string_view text, int64_t& value, std::string_view& rest) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    rest = text.substr(static_cast<size_t>(end - text.data()));
    return error == std::errc() && value >= 0;
}

// "512", "10G", "1.5" is none.
bool ParseBytes(std::string_view text, int64_t& value) {
    std::string_view unit;
    if (!ParseNumber(text, value, unit)) {
        return false;
    }
    if (unit.empty()) {
        return true;
    }
    constexpr std::string_view kUnits = "KMGT";
    const size_t power = kUnits.find(static_cast<char>(unit.front() & ~0x20));
    if (unit.size() != 1 || power == std::string_view::npos) {
        return false;
    }
    const int64_t factor = int64_t{1} << (10 * (power + 1));
    if (value > kMostBytes / factor) {
        return false;
    }
    value *= factor;
    return true;
}

bool ReadValue(const Entry& entry, std::string_view text, int64_t& value) {
    std::string_view rest;
    switch (entry.kind) {
        case Entry::kSwitch:
            value = text == "on" ? 1 : 0;
            return text == "on" || text == "off";
        case Entry::kCount:
            return ParseNumber(text, value, rest) && rest.empty();
        default:
            return ParseBytes(text, value);
    }
}

std::string Bounds(const Entry& entry) {
    return "from " + std::to_string(entry.least) + " to " + std::to_string(entry.most);
}

std::string Expected(const Entry& entry) {
    switch (entry.kind) {
        case Entry::kSwitch:
            return "on or off";
        case Entry::kCount:
            return "a number " + Bounds(entry);
        case Entry::kBytes:
            return "a number of bytes " + Bounds(entry) + ", K, M, G or T may stand behind it";
        default:
            return "patterns of at most " + std::to_string(kLongestPatterns) +
                   " bytes, separated by |, without control characters";
    }
}

bool IsPatterns(std::string_view text) {
    return text.size() <= kLongestPatterns && text.find_first_not_of("| ") != std::string_view::npos &&
           std::none_of(text.begin(), text.end(),
                        [](char c) { return static_cast<unsigned char>(c) < 0x20; });
}

}  // namespace

std::span<const Entry> Entries() {
    return kEntries;
}

const Entry* FindEntry(std::string_view key) {
    const auto* const found = std::find_if(std::begin(kEntries), std::end(kEntries),
                                           [&](const Entry& entry) { return key == entry.key; });
    return found == std::end(kEntries) ? nullptr : found;
}

bool ReadText(const Entry& entry, std::string_view text, std::string& stored, std::string& fault) {
    stored.clear();
    if (text == "default") {
        return true;
    }
    if (entry.kind == Entry::kPatterns) {
        stored = text;
        if (IsPatterns(text)) {
            return true;
        }
    } else if (int64_t value = 0;
               ReadValue(entry, text, value) && value >= entry.least && value <= entry.most) {
        stored = std::to_string(value);
        return true;
    }
    fault =
        std::string(entry.key) + " is " + Expected(entry) + ", or default; not \"" + std::string(text) + "\"";
    return false;
}

std::string ShowText(const Entry& entry, std::string_view stored) {
    if (entry.kind == Entry::kPatterns) {
        return stored.empty() ? "default" : std::string(stored);
    }
    int64_t value = entry.fallback;
    std::string_view rest;
    if (!stored.empty() && !ParseNumber(stored, value, rest)) {
        value = entry.fallback;
    }
    return entry.kind == Entry::kSwitch ? (value != 0 ? "on" : "off") : std::to_string(value);
}

}  // namespace rampart::account_setting
