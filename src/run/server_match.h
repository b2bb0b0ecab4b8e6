// Which server record stands for a local path. The service finds a name exactly or, failing that, without
// regard to case; but where two local names differ only in case they are two files, and must never meet in
// one record.
#pragma once

#include "framework/framework.h"
#include "interfaces/transferlib.h"

namespace rampart {

struct ServerFile {
    __int64 size = 0;
    __int64 modifiedTime = 0;  // seconds since 1970 UTC, 0 if unknown
};

// False if no record stands for `localPath`, which is to be stored at `serverPath`.
bool FindServerFile(CString const& serverPath, CString const& localPath, ServerFile& file);

// The whole record, or null; the caller owns it.
MyPathInfo* FindServerRecord(CString const& serverPath, CString const& localPath);

// Whether `recordPath`, found for `serverPath`, belongs to another local file or folder: at some level the
// two differ in case, and the name of the record exists locally beside the one of `localPath`.
bool IsRecordOfSibling(CString const& serverPath, CString const& recordPath, CString const& localPath);

}  // namespace rampart
