// What the vault's records say of files beside their content: sent without it, in one durable commit for
// many.
//
// Any thread. Operations that return a code return a service code.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "framework/framework.h"

// What a record is to say of a local file or folder.
struct RecordUpdate {
    CString serverPath;
    __int64 modifiedTime =
        0;  // nanoseconds since 1970 UTC; a folder's record takes it, a file's keeps its own
    __int64 changeTime = 0;
    std::string attributes;  // see platform/attributes.h
};

class VAULTLIB_API RecordKeeping {
public:
    // A record that is not there is passed over.
    static int Update(std::vector<RecordUpdate> const& updates, CString& message);
    // A complete look at their folders did not find these at `when` (nanoseconds since 1970 UTC); folders go
    // with all below them.
    static int MarkGone(std::vector<CString> const& serverPaths, __int64 when, CString& message);
    // Whether the content of a local file, or the target of a link, is that of the stored one. `goOn` false,
    // a failure and a change meanwhile are a no. Reads the whole file.
    static bool HoldsContent(CString const& serverPath, CString const& localPath,
                             std::function<bool()> const& goOn);
    // Whether another file system began in the folder whose record names these attributes.
    static bool WasMountRoot(__int64 attributes);
};
