// Looking at what the vault holds as at a folder of the file system: the door for hosts.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "framework/framework.h"

namespace rampart {

struct VAULTLIB_API MountedTask {
    int32_t id = 0;
    CString name;
    CString serverFolder;
    CString historyFolder;  // of the older versions of what lies in that folder; may be empty
    // A second in which its last run had ended, since 1970 UTC; none if it never ran.
    std::optional<__int64> lastRun;
};

// The folder shows "latest", with every task as it was when its last run had ended, and "at", with every task
// as it was at a moment. So what is seen stays the same while a backup runs.
struct VAULTLIB_API MountRequest {
    CString folder;  // an engine path; must exist
    // The names of the moments that "at" lists; asked now and then with the tasks as they are, one call at a
    // time, from any thread.
    std::function<std::vector<CString>(std::vector<MountedTask> const& tasks)> moments;
    // What a name below "at" means, nanoseconds since 1970 UTC; also names that are not listed. Any thread.
    std::function<std::optional<__int64>(CString const& name)> momentOf;
    std::function<void()> mounted;  // called once, when the folder shows the vault; may be empty
    std::function<bool()> goOn;     // asked some times a second; false unmounts
};

class VAULTLIB_API VaultMount {
public:
    // False, with the reason, where this program or this system cannot do it.
    static bool IsAvailable(CString& reason);
    // Blocks until the folder is unmounted, by whomever. A service code; `message` says what went wrong.
    // Holds nothing that a backup waits for. While the vault cannot be read, whoever looks gets a failure.
    static int Run(MountRequest const& request, CString& message);
};

}  // namespace rampart
