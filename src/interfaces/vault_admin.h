// What a host does with the place that keeps the data, beside backing up: choose it, make it, check it,
// measure it.
#pragma once

#include <functional>
#include <vector>

#include "framework/framework.h"

struct VAULTLIB_API VaultStatistics {
    __int64 files = 0;
    __int64 folders = 0;
    __int64 fileBytes = 0;  // sum of the sizes of all files and versions
    __int64 chunks = 0;
    __int64 chunkBytes = 0;   // content stored once, before compression
    __int64 storedBytes = 0;  // after it
    __int64 packs = 0;
    __int64 packBytes = 0;
    __int64 tasks = 0;
};

struct VAULTLIB_API VaultCheck {
    __int64 packsChecked = 0;
    __int64 chunksChecked = 0;
    __int64 filesChecked = 0;
    __int64 bytesRead = 0;
    __int64 problemCount = 0;
    std::vector<CString> problems;  // the first thousand, each a sentence
};

// One stored file or folder, for listings and restores. Times are nanoseconds since 1970 UTC, the least value
// if unknown.
struct VAULTLIB_API VaultEntry {
    CString path;
    CString name;
    bool isFolder = false;
    bool isPartial = false;
    bool isLink = false;     // a symbolic link
    bool isSpecial = false;  // a pipe or a device
    __int64 size = 0;
    __int64 modifiedTime = 0;
    __int64 storedTime = 0;
    __int64 goneTime = INT64_MIN;  // when it was not there any more; unknown: it is there
};

struct VAULTLIB_API VaultRepair {
    enum Base { kCatalog, kCopy, kNothing };
    Base base = kNothing;      // where names and versions come from
    __int64 baseTime = 0;      // of the copy of the catalog, nanoseconds since 1970 UTC
    bool changed = false;      // otherwise the catalog was in order
    bool lostRecords = false;  // later changes than those of the base had been made
    CString setAside;          // name of the old catalog in the vault's folder; empty if none
    __int64 files = 0;         // versions included
    __int64 folders = 0;
    __int64 chunks = 0;
    __int64 newChunks = 0;  // content that the base did not know
    __int64 packs = 0;
    __int64 filesLacking = 0;      // files some of whose content is in no pack
    std::vector<CString> lacking;  // the first thousand of them
};

// One setting of the vault's account.
struct VAULTLIB_API VaultSetting {
    CString key;
    CString value;  // as a person writes it
    bool isDefault = false;
    CString meaning;
};

// What this process made visible in the vault since it connected.
struct VAULTLIB_API TransferTotals {
    __int64 files = 0;        // committed
    __int64 bytes = 0;        // their content
    __int64 storedBytes = 0;  // what the packs grew by: without what was stored before, compressed
};

// Operations return a service code and, on a failure, a sentence in `message` that says what happened to what
// and what can be done. They block; any thread may call.
class VAULTLIB_API VaultAdmin {
public:
    // Connects this process to a vault: a URL "vault:///native/path", a native path, or empty for the one
    // that the configuration names (section "Service", key "Url"; by default a folder in the user's data).
    // Before any other call of the library that needs the service. With `create` a vault that is missing is
    // made, but never one that the configuration names.
    static int Open(CString const& url, bool create, CString& message);
    // Makes a new vault and does not connect to it.
    static int Create(CString const& url, CString& message);
    // Native path of the vault that this process is connected to; empty if none.
    static CString Location();
    static CString Folder();  // the same as an engine path
    // Native path that a URL, or the configuration for an empty one, stands for.
    static CString LocationOf(CString const& url);
    // Native path at which earlier programs made the vault that nobody names; LocationOf gives it while a
    // vault lies there. Empty where the configuration names a vault.
    static CString FormerDefaultLocation();
    static void Close();
    static void Transferred(TransferTotals& totals);

    // `progress` (may be empty) is called with the work done and the whole of it; false cancels with code 6.
    static int Verify(bool readData, std::function<bool(__int64, __int64)> const& progress, VaultCheck& check,
                      CString& message);
    // Makes the catalog of the vault at `url` anew if it is missing, damaged or older than its packs; what
    // was there is set aside. Nothing may be connected to the vault, this process included; code 3 if
    // something is.
    static int Repair(CString const& url, std::function<bool(__int64, __int64)> const& progress,
                      VaultRepair& repair, CString& message);
    static int Settings(std::vector<VaultSetting>& settings, CString& message);
    // Code 11 for a key that is none, 7 for a value that cannot be. "default" takes a value back.
    static int SetSetting(CString const& key, CString const& value, CString& message);
    static int Statistics(VaultStatistics& statistics, CString& message);

    // One entry; code 11 if there is none.
    static int Find(CString const& serverPath, VaultEntry& entry, CString& message);
    // A folder's direct entries in name order, or with `recursive` all below it, parents first. `visit` false
    // ends it.
    static int List(CString const& serverPath, bool recursive,
                    std::function<bool(VaultEntry const&)> const& visit, CString& message);
    // Writes one stored file to `localPath`: to a temporary name beside it, digests checked, times set, then
    // renamed. Never replaces a file; code 18 if something is there. `progress` gets the bytes moved; false
    // cancels with 6.
    static int Restore(CString const& serverPath, CString const& localPath, bool replace,
                       std::function<bool(__int64)> const& progress, CString& message);
    // Whether the content of a local file is that of a stored one, byte for byte by digest.
    static bool SameContent(CString const& serverPath, CString const& localPath);
};
