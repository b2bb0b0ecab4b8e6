// The walk that finds what a run must back up: breadth first, a folder's listing closed before its children
// open. Each file is judged against the mirror of the server's tree, with no round trip.
#pragma once

#include "framework/framework.h"
#include "interfaces/transferlib.h"
#include "run/record_changes.h"
#include "run/scan_filter.h"

class CBackupTask;

namespace rampart {

struct ScanRequest {
    CStringList& list;  // receives files to transfer and folders that are missing on the server
    __int64& total;     // bytes that will be transferred
    __int64& remote;    // the task's size on the server, lowered by partial uploads found
    bool isEmail = false;
    CString taskName;
    RecordChanges* changes = nullptr;  // receives what content does not say; null: nobody asks
};

// What the local file system says of a file.
struct LocalFile {
    bool exists = false;
    bool temporary = false;
    __int64 size = 0;
    FileKind kind = FileKind::kFile;
    __int64 writeTime = 0;  // seconds since 1970 UTC
    // Nanoseconds; a change time of 0 where there is none.
    __int64 exactWriteTime = 0;
    __int64 changeTime = 0;
};

class SourceScan {
public:
    SourceScan(ScanRequest const& request, ScanFilter const& filter);

    // Bytes that the server's usage grows by. Ends early on a cancel, a log-off or a stop.
    __int64 WalkFolder(CString const& folder, CString const& serverFolder, bool useFolderFilter);
    // `force`: the file goes whatever its time says.
    __int64 JudgeFile(CString const& path, CString const& serverPath, LocalFile const& file, bool force);

private:
    bool IsEnding() const;
    bool WaitWhilePaused() const;  // false on log-off or stop
    bool IsFolderNew(CString const& folder, CString const& serverFolder, bool useFolderFilter,
                     CServerPathList::Facts& record) const;
    void ScanFolder(CString const& path, CString const& serverPath, bool useFolderFilter, __int64& sum);
    // True when the listing came to its end; `names` receives all that it named.
    bool ScanEntries(CString const& folder, CString const& serverFolder, bool isNew, __int64& sum,
                     std::vector<CString>& names);
    __int64 ScanFile(CString const& path, CString const& name, CString const& folder,
                     CString const& serverFolder, LocalFile const& file, bool isNew);
    bool HasChanged(CString const& path, CString const& serverPath, LocalFile const& file,
                    CServerPathList::Facts const& record);
    void NoteFolder(CString const& folder, CString const& serverFolder, CServerPathList::Facts const& record,
                    std::vector<CString>& names, bool isComplete);
    __int64 TakeNewFile(CString const& path, LocalFile const& file);
    __int64 JudgeNewFile(CString const& path, CString const& serverPath, LocalFile const& file);
    void ReportProgress(CString const& folder) const;
    CBackupTask* Task() const;  // null once the task has left the registry: then its counts are lost

    ScanRequest m_request;
    ScanFilter const& m_filter;
    int m_reportStep;
    __int64 m_overhead = 0;
    CString m_source;  // whose tree is walked
    CStringList m_folders{500};
    CStringList m_serverFolders{500};
};

// Puts a path into the upload order: what a batch cannot take goes to the front.
void EnterInUploadOrder(CStringList& list, CString const& path, __int64 size);

}  // namespace rampart
