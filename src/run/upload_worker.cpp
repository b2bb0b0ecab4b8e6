#include "run/upload_worker.h"

#include <memory>

#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "paths/path_manage.h"
#include "progress/task_prg.h"
#include "run/report_event.h"
#include "run/run_state.h"
#include "storage/service_code.h"
#include "task/backup_task.h"

namespace rampart {

void StartUploadWorker(CBackupTask& task, CString const& cachePath, CString const& serverFolder,
                       CString const& origin, CString const& sourcePath) {
    auto data = std::make_unique<UploadProcData>();
    data->m_cachePath = cachePath;
    data->m_serverFolder = serverFolder;
    data->m_origin = origin;
    data->m_sourcePath = sourcePath;
    data->m_pTask = &task;
    task.AddRunningUploadCount();
    UploadProcData* const argument = data.release();  // the worker's from here on
    if (AfxBeginThread(&UploadingFileProc, argument) == nullptr) {
        UploadingFileProc(argument);
    }
}

namespace {

void SendOneFile(UploadProcData& data) {
    CTaskPrgClass* const progress = data.m_pTask->m_pTaskPrg;
    CString message;
    int const code = Guarded(_T("Error:UploadingFileProc"), static_cast<int>(kUnexpected), [&] {
        return ApiUtil::UploadFile(data.m_cachePath, data.m_serverFolder, data.m_origin, _T(""), message,
                                   progress, 0, 1, 1, 0, 0);
    });
    DebugFormat(_T("Upload: \"%s\", %d"), data.m_cachePath, code);
    if (code == kCancelled && IsAppEnding()) {
        data.m_pTask->m_isWorkerCut = 1;
    }
    if (code != kOk && code != kCancelled) {
        NoteLeftOut(data.m_origin.IsEmpty() ? data.m_cachePath : data.m_origin, code);
    }
    CString temp;
    CPathManage::GetTempFolder(temp, 0, 1);
    if (!temp.IsEmpty() && data.m_cachePath.Find(temp) >= 0 && KXFile::FileExists(data.m_cachePath)) {
        KXFolder::ForceDelFile(data.m_cachePath);
    }
    if (progress != nullptr) {
        progress->EndFile(data.m_sourcePath, code);
    }
}

}  // namespace

}  // namespace rampart

unsigned int UploadingFileProc(void* data) {
    std::unique_ptr<UploadProcData> owned(static_cast<UploadProcData*>(data));
    CBackupTask* const task = owned->m_pTask;
    rampart::Guarded(_T("Error:UploadingFileProc"), 0, [&] {
        if (owned->m_isBatchJob != 0) {
            __int64 result = 0;
            task->BatchUploadingFiles(result);
            rampart::DebugLine(_T("CBackupTask::ClearAllCopyCacheFiles()-UploadingFileProc"));
            task->ClearAllCopyCacheFiles(owned->m_batchFileList);
        } else {
            rampart::SendOneFile(*owned);
        }
        return 1;
    });
    owned.reset();  // before the worker counts as done: the process may end then
    task->DecreaseRunningUploadCount();
    return 0;
}
