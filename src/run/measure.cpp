// Measuring a task before it is made: the thread under the host's wait loop, and its entry points.
#include "engine/vaultlib_app.h"
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "manager/backup_manage.h"
#include "run/measure_scan.h"
#include "run/recovery.h"
#include "run/run_state.h"
#include "task/backup_task.h"

using rampart::DebugLine;
using rampart::MeasureScan;
using rampart::ScanFilter;

namespace {

struct ScanTaskBlock {
    CBackupTask* task;
    int cancelled;
};

constexpr unsigned int kScanLoopType = 8192;
constexpr __int64 kSmallPurchase = 0x1900000000;  // 100 GiB
constexpr __int64 kAmpleUsePercent = 70;

__int64 Overhead(int encrypted) {
    return encrypted != 0 ? rampart::kEncryptionOverhead : 0;
}

}  // namespace

int CBackupManage::StartScanTask(CBackupTask* task) {
    if (task == nullptr) {
        DebugLine(_T("Task: Scan task is null."));
        return 0;
    }
    for (;;) {
        SetScanTaskInfo(_T(""), _T(""), _T(""));
        SetScanDivideBatchIndex(0);
        ScanTaskBlock block{task, 0};
        m_pScanThread = AfxBeginThread(&CBackupManage::ScanTask, &block);
        if (m_pScanThread == nullptr) {
            DebugLine(_T("Task: failed to start the scan thread."));
            return 0;
        }
        HANDLE const handle = m_pScanThread->m_hThread;
        theVaultLibApp.EnterLoopMode(m_pScanThread, kScanLoopType, 1);
        // The block lies on this stack: without a loop of the host the thread may still run.
        MyWaitForSingleObject(handle, ~0u);
        m_pScanThread = nullptr;
        CString path;
        int flag = 0;
        task->GetLimitUploadInfo(path, flag);
        if (flag != 0 || task->UpdateServiceForUploadLimit(path) != 1) {
            return block.cancelled == 0 ? 1 : 0;
        }
    }
}

unsigned int CBackupManage::ScanTask(void* data) {
    theVaultLibApp.WaitForEnterLoopMode(nullptr);
    auto* const block = static_cast<ScanTaskBlock*>(data);
    if (block == nullptr || block->task == nullptr) {
        theVaultLibApp.LeaveLoopMode();
        return 0;
    }
    rampart::Guarded(_T("Error:ScanTask"), 0, [&] {
        CBackupTask& task = *block->task;
        task.m_scanNeedSize = 0;
        task.m_scanFoundCount = 0;
        task.m_limitUploadMsg = _T("");
        task.m_limitUploadFlag = 1;
        CString limitPath;
        for (SourceInfo const* source : task.m_localDirList) {
            if (source == nullptr) {
                continue;
            }
            int ok = task.m_limitUploadFlag;
            task.m_scanNeedSize +=
                task.CallScanFunction(source->path, task.m_encryMode, task.m_scanNeedSize, task.m_filterType,
                                      task.m_scanFoundCount, task.m_scanPathList, limitPath, ok);
            task.m_limitUploadFlag = ok;
            task.m_scanPathList.RemoveAll();
            if (ok == 0) {
                task.m_limitUploadMsg = limitPath;
                block->cancelled = 1;
                break;
            }
            if (theVaultLibApp.IsLoopCancel()) {
                block->cancelled = 1;
                break;
            }
        }
        task.m_scanPathList.RemoveAll();
        return 1;
    });
    theVaultLibApp.LeaveLoopMode();
    return 0;
}

__int64 CBackupTask::CallScanFunction(CString const& path, int encrypted, __int64 sizeSoFar,
                                      CString filterType, int& count, CStringList& list, CString& limitPath,
                                      int& ok) {
    return rampart::Guarded(_T("Error:GetPathNeedBackup "), 0LL, [&]() -> __int64 {
        CBackupManage* const manager = theVaultLibApp.m_pBackupManage;
        if (manager == nullptr) {
            return 0;
        }
        bool const include = rampart::IsIncludeMode(filterType);
        if (KXFolder::IsDirectory(path) || KXFolder::IsDriveRoot(path)) {
            auto const measure =
                include ? &CBackupManage::IncludeGetScanFolderSize : &CBackupManage::GetScanFolderSize;
            return (manager->*measure)(path, &m_filterExList, &m_filtedPathList, encrypted, sizeSoFar, count,
                                       list, m_reportAddedCount, filterType, limitPath, ok);
        }
        if (rampart::IsThumbsFile(rampart::LastElement(path))) {
            return 0;
        }
        if (!KXFile::FileExists(path)) {
            DebugLine(rampart::DictionaryFormat(_T("BackupTask.pathNotExistErr"), path));
            return 0;
        }
        return include ? manager->IncludeScanFileSize(path, &m_filterExList, &m_filtedPathList, encrypted,
                                                      sizeSoFar, count, list, m_reportAddedCount, filterType)
                       : manager->GetScanFileSize(path, &m_filterExList, encrypted, sizeSoFar, count, list,
                                                  m_reportAddedCount, filterType);
    });
}

__int64 CBackupManage::GetScanFileSize(CString const& path, CStringList* exList, int encrypted,
                                       __int64 sizeSoFar, int& count, CStringList& list,
                                       rampart::Word<__int64>& counter, CString const& filterType) {
    return rampart::Guarded(_T("Error:GetScanFileSize"), 0LL, [&] {
        ScanFilter const filter(filterType, exList, nullptr, false);
        return MeasureScan(*this, {list, count, counter, sizeSoFar, Overhead(encrypted)}, filter)
            .MeasureFile(path);
    });
}

__int64 CBackupManage::IncludeScanFileSize(CString const& path, CStringList* exList, CStringList* pathList,
                                           int encrypted, __int64 sizeSoFar, int& count, CStringList& list,
                                           rampart::Word<__int64>& counter, CString const& filterType) {
    return rampart::Guarded(_T("Error:IncludeScanFileSize"), 0LL, [&] {
        ScanFilter const filter(filterType, exList, pathList, true);
        return MeasureScan(*this, {list, count, counter, sizeSoFar, Overhead(encrypted)}, filter)
            .MeasureFile(path);
    });
}

__int64 CBackupManage::GetScanFolderSize(CString const& path, CStringList* exList, CStringList* pathList,
                                         int encrypted, __int64 sizeSoFar, int& count, CStringList& list,
                                         rampart::Word<__int64>& counter, CString const& filterType,
                                         CString& limitPath, int& ok) {
    return rampart::Guarded(_T("Error:GetScanFolderSize"), 0LL, [&] {
        ScanFilter const filter(filterType, exList, pathList, false);
        return MeasureScan(*this, {list, count, counter, sizeSoFar, Overhead(encrypted)}, filter)
            .MeasureFolder(path, limitPath, ok);
    });
}

__int64 CBackupManage::IncludeGetScanFolderSize(CString const& path, CStringList* exList,
                                                CStringList* pathList, int encrypted, __int64 sizeSoFar,
                                                int& count, CStringList& list,
                                                rampart::Word<__int64>& counter, CString const& filterType,
                                                CString& limitPath, int& ok) {
    return rampart::Guarded(_T("Error:IncludeGetScanFolderSize"), 0LL, [&] {
        ScanFilter const filter(filterType, exList, pathList, true);
        return MeasureScan(*this, {list, count, counter, sizeSoFar, Overhead(encrypted)}, filter)
            .MeasureFolder(path, limitPath, ok);
    });
}

int CBackupManage::SupportScanTask(CString const& serverFolder) {
    return rampart::Guarded(_T("Error:SupportScanTask"), 0, [&] {
        if (serverFolder.IsEmpty()) {
            return 1;
        }
        CAutoMyPathInfo const record(
            ApiUtil::GetPathInfoEx(serverFolder, ApiUtil::IsSharePath(serverFolder), 0));
        if (record != nullptr) {
            DebugLine(_T("Create task: exist path."));
            return 0;
        }
        AccountBalance balance;
        if (int const code = rampart::ReadBalance(balance)) {
            rampart::DebugFormat(_T("Create task: failed to get account balance:%d"), code);
            return 0;
        }
        if (balance.m_totalSpace < 1) {
            return 1;
        }
        if (balance.m_totalSpace < kSmallPurchase) {
            DebugLine(_T("Create task: Purchase less than 100GB of space"));
            return 1;
        }
        __int64 const used = balance.m_usedSpace + balance.m_usedSpaceOther;
        if (used * 100 / balance.m_totalSpace < kAmpleUsePercent) {
            return 0;
        }
        DebugLine(_T("Create task: 70% space already used"));
        return 1;
    });
}

int CBackupManage::IsPathTobeBackup(CString& path) {
    return rampart::Guarded(_T("Error:IsPathTobeBackup"), 0,
                            [&] { return m_pNewTask != nullptr ? m_pNewTask->IsInSourceList(path) : 0; });
}
