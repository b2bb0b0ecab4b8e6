// Settings of the account that the service itself reads, by name, with their defaults.
#pragma once

#include <cstdint>

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

}  // namespace rampart::account_setting
