// The queues, flags and counts that the threads of one run share. A lock is held for one list or counter
// operation.
#include "interfaces/baselib.h"
#include "task/backup_task.h"

void CBackupTask::AddRunningUploadCount() {
    CKorvaneAutoLock const lock(&m_uploadCountLock, nullptr, 0);
    ++m_runningUploadCount;
}

void CBackupTask::DecreaseRunningUploadCount() {
    CKorvaneAutoLock const lock(&m_uploadCountLock, nullptr, 0);
    --m_runningUploadCount;
}

int CBackupTask::GetRunningUploadCount() {
    CKorvaneAutoLock const lock(&m_uploadCountLock, nullptr, 0);
    return m_runningUploadCount;
}

void CBackupTask::AddPathToUploadCachePathList(CString const& path, int isCopyTemp) {
    CKorvaneAutoLock const lock(&m_pipelineLock, _T("AddPathToUploadCachePathList"), 0);
    m_uploadCachePathList.AddTail(path);
    if (isCopyTemp != 0) {
        AddCopyTempToList(path);
    }
}

CString CBackupTask::GetHeadPathAndRemoveHeadFromUploadCachePathList() {
    CKorvaneAutoLock const lock(&m_pipelineLock, _T("GetHeadPathAndRemoveHeadFromUploadCachePathList"), 0);
    if (m_uploadCachePathList.IsEmpty()) {
        return CString();
    }
    CString const path = m_uploadCachePathList.RemoveHead();
    RemoveTempAndCalculatorTempUsedSize(path);
    return path;
}

int CBackupTask::GetUploadCachePathListCount() {
    CKorvaneAutoLock const lock(&m_pipelineLock, _T("GetUploadCachePathListCount"), 0);
    return static_cast<int>(m_uploadCachePathList.GetCount());
}

CStringList& CBackupTask::GetUploadCachePathList() {
    CKorvaneAutoLock const lock(&m_pipelineLock, _T("GetUploadCachePathList"), 0);
    return m_uploadCachePathList;
}

void CBackupTask::ResetCopyThread() {
    CKorvaneAutoLock const lock(&m_pipelineLock, _T("ResetCopyThread"), 0);
    m_sendCopyInfoToPrgbar = 1;
    m_finishCopyToCache = 0;
    m_stopCopyToCache = 0;
    m_stopUploadCacheFiles = 0;
    m_copyQueueList.RemoveAll();
    m_uploadCachePathList.RemoveAll();
    m_copyTempUsedSize = 0;
    m_batchFirstCall = 1;
    CKorvaneAutoLock const countLock(&m_uploadCountLock, nullptr, 0);
    m_runningUploadCount = 0;
}

int CBackupTask::IsFinishCopyFileToCacheThread() {
    CKorvaneAutoLock const lock(&m_pipelineLock, _T("IsFinishCopyFileToCacheThread"), 0);
    return m_finishCopyToCache;
}

void CBackupTask::SetFinishCopyFileToCacheThread(int value) {
    CKorvaneAutoLock const lock(&m_pipelineLock, _T("SetFinishCopyFileToCacheThread"), 0);
    m_finishCopyToCache = value;
}

int CBackupTask::IsStopCopyFileToCacheThread() {
    CKorvaneAutoLock const lock(&m_pipelineLock, _T("IsStopCopyFileToCacheThread"), 0);
    return m_stopCopyToCache;
}

void CBackupTask::SetStopCopyFileToCacheThread(int value) {
    CKorvaneAutoLock const lock(&m_pipelineLock, _T("SetStopCopyFileToCacheThread"), 0);
    m_stopCopyToCache = value;
}

int CBackupTask::IsStopUploadCacheFilesThread() {
    CKorvaneAutoLock const lock(&m_pipelineLock, _T("IsStopUploadCacheFilesThread"), 0);
    return m_stopUploadCacheFiles;
}

void CBackupTask::SetStopUploadCacheFilesThread(int value) {
    CKorvaneAutoLock const lock(&m_pipelineLock, _T("SetStopUploadCacheFilesThread"), 0);
    m_stopUploadCacheFiles = value;
}

int CBackupTask::IsSendCopyInfoToPrgbar() {
    CKorvaneAutoLock const lock(&m_pipelineLock, _T("IsSendCopyInfoToPrgbar"), 0);
    return m_sendCopyInfoToPrgbar;
}

void CBackupTask::SetSendCopyInfoToPrgbar(int value) {
    CKorvaneAutoLock const lock(&m_pipelineLock, _T("SetSendCopyInfoToPrgbar"), 0);
    m_sendCopyInfoToPrgbar = value;
}
