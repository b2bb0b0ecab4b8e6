// CBackupTask: one backup task. What it backs up, where it goes, when it runs, and all state of the current
// run.
//
// The record, its dates and its sources are implemented in task/, what a run does in run/. A task lives in
// the manager's list. Its operations are not safe from two host threads at once; fields of the type
// rampart::Word are read across threads.
#pragma once

#include <vector>

#include "framework/framework.h"
#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "run/record_changes.h"
#include "task/task_types.h"

class CTaskPrgClass;

namespace rampart {
class FullRun;
}

class VAULTLIB_API CBackupTask {
public:
    CBackupTask();
    virtual ~CBackupTask();  // ends a running run first (EndTask)
    CBackupTask(CBackupTask const&) = delete;

    // Takes the settings and the sources of `other`, whose source list is empty afterwards.
    CBackupTask& operator=(CBackupTask& other);
    // Nonzero if both objects describe the same backup.
    int operator==(CBackupTask& other);

    // ---- The record: small accessors. Those that no program here calls are for hosts with screens ----
    CTime GetDating() const { return m_dating; }
    CTime GetBeginDate() const { return m_beginDate; }
    CTime GetEndDate() const { return m_endDate; }
    __int64 GetErrorBackupCount() const { return m_errorBackupCount; }
    void SetErrorBackupCount(__int64 count) { m_errorBackupCount = count; }
    int GetReCheckSize() const { return m_reCheckSize; }
    void SetReCheckSize(int value) { m_reCheckSize = value; }
    CString GetManualStartErrorMsg() const { return m_manualStartErrorMsg; }
    void SetManualStartErrorMsg(CString const& text) { m_manualStartErrorMsg = text; }
    __int64 GetAddedFileCount() const { return m_addedFileCount; }
    void SetAddedFilesCount(__int64 count) { m_addedFileCount = count; }
    __int64 GetScanTotalFileCount() const { return m_scanTotalFileCount; }
    void SetScanTotalFileCount(__int64 count) { m_scanTotalFileCount = count; }
    __int64 GetScanNeedBackupFileCount() const { return m_scanNeedBackupFileCount; }
    void SetScanNeedBackupFileCount(__int64 count) { m_scanNeedBackupFileCount = count; }
    int GetLocalPathCount() const { return static_cast<int>(m_localDirList.size()); }
    void GetLimitUploadInfo(CString& path, int& flag);
    int IsEmailBackup() const;
    int ExceptionHook() const { return m_hookFailed != 0; }
    void SetTaskNameToPrgbar(CString const& name);
    void ChangeMaxVersion(__int64);  // does nothing
    int IsEncryptionBackup();
    CString GetStateString();

    // ---- Dates; stored time form ----
    int NowDating();                      // 1 when the task should start now
    void SetNextDating();                 // moves m_dating after a run
    void AdjustDating(int keepOnceDone);  // brings m_dating forward
    // Moves dates that lie further ahead than the task's schedule explains, as a run under a clock that was
    // ahead leaves them, to the next natural ones. True if one was moved. Not while the task runs.
    bool BringBackDates();
    void SetBeginDate(CTime const& date);
    void SetEndDate(CTime const& date) { m_endDate = date; }
    void SetDating(CTime const& date, int adjust);
    // A raw time of the hour, minute and second at which the task is meant to run; its date says nothing.
    // m_dating itself may be off it for one night in which the clock changes.
    CTime MeantTime() const;
    // Sets m_dating to the raw time `next`, a date at the time of day of `meant`, and keeps the latter for
    // the next process.
    void MoveDating(CTime const& next, CTime const& meant);
    // After m_dating was read from the database: what an earlier process meant by that date.
    void RestoreMeantTime();
    // When files were last looked at. m_backupDate says no more than that the task is alive: a continuous one
    // renews it without a look.
    CTime LastRun() const;
    // Notes that for the time after; nothing is noted where m_backupDate says the same.
    void KeepLastRun(CTime const& date) const;
    // The task takes another name, or is deleted: nothing is kept of its dates under this one.
    void ForgetKeptDates() const;
    // Its id and a mark of its name, fit for a part of a name. An id alone is random: two tasks may share
    // one.
    CString IdAndNameMark() const;

    // ---- Sources ----
    CString GetFirstSrcPath() const;
    void ClearSrcList();
    void ClearAddPathList();
    void ClearDeletePathList();
    void AddSrcPath(CString path);
    void AddSrcPathList(CStringList& paths);
    void ReplaceLocalList(CPtrList& sources);  // takes over SourceInfo*
    void ReplaceLocalList(CStringList& paths);
    void SortSrcList(CPtrList& sources, int ascending);
    int IsInSourceList(CString const& path);
    SourceInfo* GetSrcItem(CString const& path);  // stays the task's; null if there is none
    int IsSameSrcList(std::vector<SourceInfo*>& other);
    int IsInBackupList(CString path);
    CString GetTopFolder();
    CString GetBackupParentPath();
    int UpdateSrcDriveLetter();

    // ---- Life of a run ----
    int StartBackup(int, int lockWaitlist);  // 1 if a run was launched
    int StartBackupByUser(int fromMonitor);
    int FinishBackupThread(__int64& result, BackupThreadType type);
    void EndTask();  // stops a run and waits for it, at most 20 seconds
    // Whether a thread of its run, or a worker that it left, still uses this object: it must not die, nor
    // start anew. True after EndTask where a source does not answer.
    bool HasThreads();
    void EndWorkingTask();  // asks it to stop
    void ClearTask();
    __int64 CalcuteSecondsForUploadTaskToServerDatabase();
    void InitProgressBar();
    void InitUIProgressBarItems(CString const& path, __int64 count, CStringList& list);
    void CalculateSize();
    int CheckNetwork(__int64& result);
    void RetryConnectNetworkPath(unsigned long error, CString const& path);
    int StartHook();
    int StopHook();

    // ---- Change application ----
    // Renames the server folder and the history folder; name and path of the record stay. 0 if that was
    // refused.
    int RenameTask(CString newName);

    // ---- Scan ----
    int CalculateBackupFilesSize(__int64& need, __int64& total, CStringList& list, __int64& result);
    __int64 GetPathNeedBackup(CStringList& list, CString path, __int64& total, __int64& remote,
                              CString serverFolder, int useFolderFilter);
    __int64 CallScanFunction(CString const& path, int encrypted, __int64 sizeSoFar, CString filterType,
                             int& count, CStringList& list, CString& limitPath, int& ok);
    int CheckFileFilter(CString file, CStringList* exList, CStringList* pathList, CString filterType);

    // ---- File decision ----
    int BackupPath(CString& path, CString serverFolder, int recurse, int fromCacheThread);
    int BackupPathIsFile(CString path);

    // ---- Upload ----
    int UploadFilesFromCahce(int isEmail, CString const& topFolder, __int64& result);
    int BeginUploadingData(CStringList& paths, int isEmail, CString const& topFolder, __int64& result);
    int BatchUploadingFiles(__int64& result);
    void AddNeedBackupFileToWaitList(int isEmail, CString const& topFolder, CString const& emailCacheFolder,
                                     CString const& path, CStringList& waitList, CString& joinedNames);
    void CreateNewBatchMode();
    void LogUploadFileResultInfo(__int64 code, CString serverPath, CString localPath, int cacheError);
    CString GetTargetSvrFolder(CString path, int asFile);
    __int64 GetPartSizeFromSever(CString const& path);
    void SetBacthUploadedFilesState(CStringList& paths, __int64 code);
    void AddRunningUploadCount();
    void DecreaseRunningUploadCount();
    int GetRunningUploadCount();
    void AddPathToUploadCachePathList(CString const& path, int isCopyTemp);
    CString GetHeadPathAndRemoveHeadFromUploadCachePathList();
    int GetUploadCachePathListCount();
    CStringList& GetUploadCachePathList();

    // ---- Copy to the cache ----
    int CopyBackupFile(CString& source, CString& target, __int64& error);
    int GetCopyFileToCacheLimitCount(__int64 freeMB, CString const& cachePath);
    __int64 GetCopyTempPathUsedSize();
    void AddCopyTempToList(CString const& path);
    void RemoveTempAndCalculatorTempUsedSize(CString const& path);
    void ClearCopyTempList();
    void DeleteCopyCacheFile(CString const& path);
    void ClearAllCopyCacheFiles(CStringList& paths);
    void ClearCopyCacheFiles();
    void ResetCopyThread();
    int IsFinishCopyFileToCacheThread();
    void SetFinishCopyFileToCacheThread(int value);
    int IsStopCopyFileToCacheThread();
    void SetStopCopyFileToCacheThread(int value);
    int IsStopUploadCacheFilesThread();
    void SetStopUploadCacheFilesThread(int value);
    int IsSendCopyInfoToPrgbar();
    void SetSendCopyInfoToPrgbar(int value);

    // ---- Space and limits ----
    void CheckAccountSpace(__int64 const& need, __int64& code);
    int CheckFreeSpaceFromServer(__int64 size, CBackupTask* task, int& code);
    __int64 GetUserHaveSpace(__int64& code);
    // 1 when the drive of m_emailCacheFolder has room for `need` bytes and a rest; asks until it has, and the
    // folder may be another one then. Otherwise the run is noted as failed.
    int CheckLocalSpace(__int64 const& need, __int64& code);
    int UpdateServiceForUploadLimit(CString path);

    // ---- History ----
    int RecoredHistroryFile(CString serverFile, __int64 maxVersions, CString fileName);
    CString GetOldTimeFileHistory(CString& folder);
    int DeleteFileVersions(CString file, CStringList& versions, int);
    unsigned int RemoveExtraData(unsigned int& folders, unsigned int& files);
    // Server folder that holds the versions of one file.
    CString GetFileHistoryFolder(CString const& serverFile);

    // ---- Report of a run; any thread of the run may call ----
    void InitEventLog();
    void AddRunError(CString const& text);  // a line more, while the text is short enough
    void ClearRunError();                   // a run begins: nothing was told of it yet
    CString GetRunErrorText();
    // What the last run told, a line each; reading takes nothing away.
    CString GetErrorsOfRun();
    CString GetWarningsOfRun();
    void AddEmailErrorLog(CString const& name, CString const& text);
    void AddEmailWarningLog(CString const& name, CString const& text);
    void AddSuccessEmailLog();
    CString GetErrorEmailLog();
    CString GetSuccessEmailLog();
    CString GetWarningLog();

    // ---- Fields ----
    rampart::Word<int32_t> m_hookStop = 0;
    rampart::Word<int32_t> m_hookFailed = 0;
    CString m_taskName;
    CString m_description;
    TaskType m_type = TaskTypeRealTime;
    std::vector<SourceInfo*> m_localDirList;    // owned
    std::vector<SourceInfo*> m_newPathList;     // owned
    std::vector<SourceInfo*> m_deletePathList;  // owned
    CStringList m_filterExList{10};
    CStringList m_filtedPathList{10};
    CString m_filterType = _T("0");
    rampart::Word<int32_t> m_scheduleEnabled = 1;
    CString m_serverFilePath;
    CString m_logFilePath;
    rampart::Word<CTime> m_backupDate;
    uint32_t m_pcID = 0;
    CString m_pcName;
    int32_t m_taskID = 0;
    rampart::Word<int32_t> m_isResume = 0;
    rampart::Word<CTime> m_resumeDate;
    rampart::Word<int32_t> m_taskChanged = 0;
    rampart::Word<CWinThread*> m_pBackupThread = nullptr;  // not owned
    rampart::Word<int32_t> m_errorOccured = 0;
    rampart::Word<int32_t> m_state = 0;
    int32_t m_encryMode = 0;
    CTime m_beginDate;
    CTime m_endDate;
    rampart::Word<CTime> m_dating;
    rampart::Word<int32_t> m_pendingChange = 0;
    CActionList m_actionList;
    int32_t m_errorRetryFactor = 0;
    rampart::Word<__int64> m_remoteSize = 0;
    __int64 m_maxVersion = 10;
    CString m_emailCacheFolder;
    rampart::Word<int32_t> m_isDeleting = 0;
    CString m_runErrorText;
    rampart::Word<CTime> m_lastRunDate;
    rampart::Word<CTime> m_serverNextDate;
    CTime m_modifyTime;
    CTime m_nextEmailDate;
    int32_t m_repeatDays = 0;
    rampart::Word<int32_t> m_actionsPending = 0;
    CStringList m_scanPathList{10};
    rampart::Word<__int64> m_scanNeedSize = 0;
    int m_scanFoundCount = 0;
    CString m_limitUploadMsg;
    rampart::Word<int32_t> m_limitUploadFlag = 0;
    int32_t m_onlyUpdateBackupDate = 0;
    int32_t m_onlyUpdateCount = 0;
    rampart::Word<__int64> m_reportUploadedCount = 0;
    rampart::Word<__int64> m_reportChangedCount = 0;
    rampart::Word<__int64> m_reportAddedCount = 0;
    rampart::Word<__int64> m_reportTotalCount = 0;
    rampart::Word<__int64> m_failedUploadCount = 0;
    CStringList m_errorEmailLog{10};
    CStringList m_successEmailLog{10};
    CStringList m_warningEmailLog{10};
    CTime m_nextCountEventDate;
    rampart::Word<int32_t> m_hadFileFailure = 0;
    // The user will make no room for the present run, and is not asked again.
    rampart::Word<int32_t> m_roomRefused = 0;
    // A worker's file was cut by the end of the application.
    rampart::Word<int32_t> m_isWorkerCut = 0;
    int32_t m_failureRetryTried = 0;
    int32_t m_retryScheduled = 0;
    rampart::Word<CTime> m_lastRetryDate;
    int32_t m_realTimeFailed = 0;
    CStringList m_copyQueueList{10};
    CStringList m_uploadCachePathList{10};
    int32_t m_stopUploadCacheFiles = 0;  // this and the next four under m_pipelineLock
    int32_t m_finishCopyToCache = 0;
    int32_t m_stopCopyToCache = 0;
    CCriticalSection m_pipelineLock;
    int32_t m_sendCopyInfoToPrgbar = 1;
    CPtrList m_copyTempList{10};
    __int64 m_copyTempUsedSize = 0;
    int32_t m_batchFirstCall = 1;
    int64_t m_lastMonitorTick = 0;
    CTaskPrgClass* m_pTaskPrg = nullptr;  // owned
    CString m_copyingFilePath;
    rampart::Word<int32_t> m_networkRetryCount = 0;
    rampart::Word<CTime> m_networkRetryDate;
    rampart::Word<int32_t> m_networkRetryArmed = 1;
    CPtrList m_hookList{10};
    __int64 m_partSizeFromServer = 0;
    int32_t m_reCheckSize = 0;
    rampart::Word<__int64> m_errorBackupCount = 0;
    CString m_manualStartErrorMsg;
    int32_t m_runningUploadCount = 0;  // under m_uploadCountLock
    CCriticalSection m_uploadCountLock;
    BatchMode* m_pBatchMode = nullptr;  // owned
    rampart::Word<__int64> m_scanTotalFileCount = 0;
    rampart::Word<__int64> m_addedFileCount = 0;
    rampart::Word<__int64> m_scanNeedBackupFileCount = 0;

protected:
    int BackupDir(CString& path, CString serverFolder, int recurse);
    int BackupFile(CString& path, CString serverFolder, int attempt, int fromCacheThread);
    void BackupDrive(CString& path, CString const& serverFolder);

private:
    friend class rampart::FullRun;
    CCriticalSection m_reportLock;  // guards m_runErrorText, the three mail lists, and the two of the run
    CStringList m_errorsOfRun{10};
    CStringList m_warningsOfRun{10};

    // The progress counters before a try of a file, which a retry puts back.
    struct RetryCounters {
        __int64 sent;
        __int64 total;
        __int64 startBytes;
    };
    // What follows from a nonzero code of a file's transfer: a retry, or the code itself, reported.
    int AnswerUploadCode(int code, CString& path, CString const& serverFolder, int attempt,
                         int fromCacheThread, RetryCounters const& counters);
    // Makes the server folder of one local folder. False: `r` is the file-level result that ends the folder.
    bool MakeServerFolder(CString const& path, CString const& serverFolder, CString const& name, __int64& r,
                          bool& tryAgain);
    int WalkBackupDir(CString const& path, CString const& serverFolder);
    // The thread of the last run and the workers that it left: they use this object until their very end.
    void WaitForThreads();

    rampart::Word<HANDLE> m_runThread = nullptr;
    rampart::RecordChanges m_recordChanges;  // of the present run, its thread's own
    bool IsDatingShifted() const;
    void TakeSettings(CBackupTask& other);
    void TakeDating(CBackupTask const& other);
    void KeepMeantTime() const;

    // The time of day that is meant by the date m_meantDate, which may not be able to keep it; when m_dating
    // is another date, nothing.
    CTime m_meantDate;
    CTime m_meantTime;
};

// Thread entries of a run; `task` is a CBackupTask.
unsigned int BackupThread(void* task);
unsigned int OnlyUpdateRealTaskBackupDateThread(void* task);
unsigned int CopyFileToCacheThread(void* task);
