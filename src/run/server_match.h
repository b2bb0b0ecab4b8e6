// Which server record stands for a local path. The service finds a name exactly or, failing that, without
// regard to case; but where two local names differ only in case they are two files, and must never meet in
// one record.
#pragma once

#include "interfaces/transferlib.h"

namespace rampart {

// False if no record of a file stands for `localPath`, which is to be stored at `serverPath`, and when that
// cannot be told.
bool FindServerFile(CString const& serverPath, CString const& localPath, CServerPathList::Facts& file);
// A folder that is gone is none.
bool FindServerFolder(CString const& serverPath, CString const& localPath);
bool FindServerFolder(CString const& serverPath, CString const& localPath, CServerPathList::Facts& folder);

// The whole record of a file or folder, or null where none stands for `localPath`; a service code when that
// cannot be told, otherwise 0.
int FindServerRecord(CString const& serverPath, CString const& localPath, CAutoMyPathInfo& record);

// Whether `recordPath`, found for `serverPath`, belongs to another local file or folder: at some level the
// two differ in case, and the name of the record exists locally beside the one of `localPath`.
bool IsRecordOfSibling(CString const& serverPath, CString const& recordPath, CString const& localPath);

}  // namespace rampart
