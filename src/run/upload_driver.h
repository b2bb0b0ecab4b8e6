// The loop that takes the run's paths to the server: each through the file decision, small files into the
// open batch, batches sent when they are full, and what is left when the loop ends.
#pragma once

#include "framework/framework.h"
#include "run/upload_dispatch.h"

class CBackupTask;
class CTaskPrgClass;

namespace rampart {

class UploadDriver {
public:
    // `paths` null: the threaded road, which takes paths from the task's upload queue while the copy thread
    // fills it.
    UploadDriver(CBackupTask& task, CStringList* paths, bool isEmail, CString const& topFolder,
                 __int64& result);

    // 1 at the normal end, 0 at an early exit.
    int Run();

private:
    enum class Next { kPath, kAgain, kLeave, kAbort };
    enum class Loop { kGoOn, kLeave, kAbort };

    Next TakePath(CString& path, bool& isFolder);
    Next TakeQueuedPath(CString& path);
    Loop SendPath(CString& path, bool isFile);
    void QueueForBatch(CString const& path);
    Loop EndOfFile(CString const& path, bool isFile);
    Loop EndUpload();  // the batch is dropped, the rest of the paths left
    Loop TakeAll();    // until there is nothing more to take
    void LookForPart(CString const& path);
    void SendBatch(CString const& path);
    bool LeaveBatch();              // false: the run of the driver ends with 0
    void NoteWaitingFiles() const;  // on the ledger: a batch that failed left them out
    void NoteBrokenOff() const;     // on the ledger: what was under way when the loop broke off
    void RecordCounts() const;
    // Runs one guarded stretch; false after an exception, which has been reported then.
    template <typename Body>
    bool Stretch(TCHAR const* threadedSuffix, TCHAR const* sequentialSuffix, TCHAR const* key,
                 Body const& body);

    bool IsThreaded() const { return m_paths == nullptr; }
    CTaskPrgClass* Progress() const;

    CBackupTask& m_task;
    CStringList* m_paths;
    bool m_isEmail;
    CString m_topFolder;
    __int64& m_result;
    bool m_isCut = false;        // a cancel or the end of the application came before the last path
    int m_limit = 0;             // workers allowed
    __int64 m_endedBy = 0;       // code that ended the upload before its last path
    CString m_pathAtWork;        // taken, and its code not known yet
    CStringList m_waitList{10};  // files that the open batch holds
    CString m_joinedNames;
};

}  // namespace rampart
