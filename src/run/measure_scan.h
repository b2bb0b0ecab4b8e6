// Measures a source for a host's task dialog: sizes and counts, without the server, with the account's limit
// on the number of items in one folder.
#pragma once

#include "framework/framework.h"
#include "run/scan_filter.h"

class CBackupManage;

namespace rampart {

struct MeasureRequest {
    CStringList& list;            // receives the paths in upload order
    int& count;                   // files so far
    Word<__int64>& addedCounter;  // the task's count of new files
    __int64 sizeSoFar = 0;        // of the sources measured before
    __int64 overhead = 0;         // bytes that each file takes beyond its size
};

class MeasureScan {
public:
    MeasureScan(CBackupManage& manager, MeasureRequest const& request, ScanFilter const& filter);

    __int64 MeasureFile(CString const& path);
    // `limitPath` and `ok` 0 when a folder holds more items than the account allows; the result is then 0.
    __int64 MeasureFolder(CString const& path, CString& limitPath, int& ok);

private:
    // False if the folder is over the limit.
    bool MeasureEntries(CString const& folder, __int64& sum);
    void NoteProgress(__int64 sum, CString const& folder) const;

    CBackupManage& m_manager;
    MeasureRequest m_request;
    ScanFilter const& m_filter;
    CStringList m_folders{500};
};

}  // namespace rampart
