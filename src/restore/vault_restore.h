// Bringing back what the vault holds, as it is or as it was at a moment: the door for hosts.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "framework/framework.h"
#include "interfaces/baselib.h"
#include "interfaces/vault_admin.h"

namespace rampart {

// Which state of the stored tree is meant.
struct VAULTLIB_API StateWish {
    std::optional<__int64> moment;  // as it was then, nanoseconds since 1970 UTC; none: as it is now
    int version = 1;                // without a moment, of each file: 1 is the newest
    bool withGone = false;          // also what is not there any more
    // The server folder with the older versions of a stored file; may be empty, as may its answer.
    std::function<CString(CString const& serverFile)> historyOf;
};

enum class Overwrite { kNever, kOlder, kAlways };

// One stored file or folder, and the engine path at which it is to be. The folder above is made if it is
// missing; links in that path are followed, links below it never.
struct VAULTLIB_API RestorePlace {
    CString serverPath;
    CString localPath;
    bool isInPlace = false;  // a folder is the one that was backed up: its own attributes come back, too
};

struct VAULTLIB_API RestoreProgress {
    bool isPlanning = false;  // the totals are those found so far
    __int64 files = 0;
    __int64 totalFiles = 0;
    __int64 bytes = 0;
    __int64 totalBytes = 0;
    __int64 remainingSeconds = -1;  // -1: nobody can tell yet
    CString current;                // engine path
};

struct VAULTLIB_API RestoreRequest {
    StateWish state;
    std::vector<RestorePlace> places;
    Overwrite overwrite = Overwrite::kNever;
    bool owners = true;   // give files their recorded owners, where this process may
    bool verify = false;  // read back what was written, and compare what is there already byte for byte
    bool dryRun = false;  // only the plan: nothing is changed
    // Patterns as tasks have them, in engine form; one that names folders ends in a backslash. What is
    // excluded stays away also where it is included.
    std::vector<CString> include;
    std::vector<CString> exclude;
    // The local path that a stored one came from, for patterns that are paths; may be empty.
    std::function<CString(CString const& serverPath)> localOf;
    // Called from the calling thread some times a second; false cancels. May be empty.
    std::function<bool(RestoreProgress const&)> progress;
    // Every path that is not as it was stored, with the reason; an error unless it is a matter of choice. One
    // call at a time, from any thread. May be empty.
    std::function<void(SkippedEntry const&)> leftOut;
};

struct VAULTLIB_API RestoreReport {
    __int64 plannedFiles = 0;  // to be brought back; links and special files among them
    __int64 plannedBytes = 0;
    __int64 plannedFolders = 0;  // to be made
    __int64 files = 0;           // brought back
    __int64 bytes = 0;
    __int64 alreadyThere = 0;  // the same content was there
    __int64 conflicts = 0;     // something else is there and stays
    __int64 failed = 0;
    __int64 verified = 0;    // read back and equal
    __int64 notInState = 0;  // stored, but not part of the state that is wanted
    __int64 filteredOut = 0;
    bool ownersWithheld = false;      // owners are recorded and were not given
    __int64 firstStored = INT64_MIN;  // when the first of what was looked at was stored
};

class VAULTLIB_API VaultRestore {
public:
    // Blocks. A service code; 6 after a cancel, which leaves no half file under its final name. What single
    // files suffer is told to `leftOut` and leaves the code 0. On a failure `message` says what happened.
    static int Run(RestoreRequest const& request, RestoreReport& report, CString& message);

    // A folder's entries at the wanted state in name order, or all below it, parents first; of a file itself.
    // The path of an older version is the file's own. `visit` false ends it. `firstStored` (may be null)
    // receives when the first file that was looked at was stored, INT64_MIN if there was none.
    static int List(StateWish const& wish, CString const& serverPath, bool recursive,
                    std::function<bool(VaultEntry const&)> const& visit, CString& message,
                    __int64* firstStored = nullptr);

    // The versions of a stored file, newest first.
    static int Versions(StateWish const& wish, CString const& serverFile, std::vector<VaultEntry>& versions,
                        CString& message);

    // Whether this process may give files away, so that owners can come back.
    static bool MayGiveOwners();
};

}  // namespace rampart
