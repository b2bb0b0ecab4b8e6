// Settings of the account that the service itself reads, by name, with their defaults, and how people write
// them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace rampart::account_setting {

struct Number {
    const char* name;
    int64_t fallback;
};

inline constexpr Number kQuotaBytes{"QuotaBytes", 0};  // 0: what the disk has room for
inline constexpr Number kMaxItemsOfTask{"MaxItemsOfTask", 100'000'000};
inline constexpr Number kFreeMaxFileBytes{"FreeMaxFileBytes", int64_t{1} << 40};
inline constexpr Number kBatchBytes{"BatchBytes", 1 << 20};
inline constexpr Number kWorkerMaxFileBytes{"WorkerMaxFileBytes", int64_t{1} << 30};
inline constexpr Number kParallelTransfer{"ParallelTransfer", 0};
inline constexpr Number kSnapshotCopies{"SnapshotCopies", 1};
inline constexpr Number kPaid{"Paid", 1};
inline constexpr Number kMaySubscribe{"MaySubscribe", 0};

inline constexpr char kFileFilter[] = "FileFilter";
inline constexpr char kFolderFilter[] = "FolderFilter";
// A filter text that names nothing: the client takes its own defaults.
inline constexpr char kClientFilters[] = "|";
inline constexpr char kCustomerId[] = "CustomerId";
inline constexpr char kUserType[] = "UserType";

// One setting as a person sees it.
struct Entry {
    enum Kind { kSwitch, kCount, kBytes, kPatterns };
    const char* key;   // what people call it
    const char* name;  // what the service calls it
    Kind kind;
    int64_t fallback;  // of a number
    int64_t least;
    int64_t most;
    const char* meaning;
};

std::span<const Entry> Entries();
// Null if there is no such key.
const Entry* FindEntry(std::string_view key);
// What is stored for a typed text: "on", "off", a number, a number of bytes with K, M, G or T behind it,
// patterns separated by "|"; "default" gives an empty text. False with a sentence in `fault` if it cannot be.
bool ReadText(const Entry& entry, std::string_view text, std::string& stored, std::string& fault);
// The other way; an empty text is the default.
std::string ShowText(const Entry& entry, std::string_view stored);

}  // namespace rampart::account_setting
