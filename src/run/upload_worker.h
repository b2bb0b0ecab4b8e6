// One file on its way by a thread of its own.
#pragma once

#include "framework/framework.h"
#include "paths/copy_folder.h"

class CBackupTask;

// The argument of one worker, which owns and deletes it.
class UploadProcData {
public:
    virtual ~UploadProcData() = default;

    CString m_cachePath;  // file to read
    CString m_serverFolder;
    CString m_origin;      // of which it is a copy
    CString m_sourcePath;  // what the progress object is told at the end; set only when a batch is open
    int32_t m_isBatchJob = 0;
    CStringList m_batchFileList{10};
    CBackupTask* m_pTask = nullptr;
    rampart::CopiesInUse const m_copiesInUse;
};

// Thread entry; `data` is an UploadProcData.
unsigned int UploadingFileProc(void* data);

namespace rampart {

// Counts the worker in before it starts; a thread that cannot be made is the file's failure, sent on the
// spot.
void StartUploadWorker(CBackupTask& task, CString const& cachePath, CString const& serverFolder,
                       CString const& origin, CString const& sourcePath);

}  // namespace rampart
