// CBackupManage: the task manager. Owns the tasks of the signed-in customer, the wait list, and what a host
// polls.
//
// One object for a process, driven by the host; it has no timer and no thread of its own. Locks, outermost
// first: m_taskLock (wait list, removals from the list, a whole scheduling pass), then m_taskListSync for
// walks of the list.
#pragma once

#include <map>
#include <vector>

#include "eventlog/error_log.h"
#include "framework/framework.h"
#include "interfaces/baselib.h"
#include "interfaces/progresslib.h"
#include "interfaces/transferlib.h"
#include "manager/scan_files_info.h"
#include "paths/global_function.h"
#include "task/task_types.h"

class CBackupTask;

namespace rampart {
struct TaskReplyRow;
}  // namespace rampart

class VAULTLIB_API CBackupManage : public CTruePrgCallback {
public:
    CBackupManage();
    ~CBackupManage() override;

    // ---- What a host's display reads; what no program here calls is for hosts with screens, here and in the
    // task list and the task in creation ----
    virtual int RefreshTaskInfo(CBackupTask* task, int);
    virtual int SetWorkingFile(CString file, CString serverFile);
    virtual int SetCopyingFile(CString file);
    virtual int SetWorkingTask(CBackupTask* task);  // also enters the task in the running-task registry
    virtual int SetDoneTask(CString const& name);
    virtual int SetRestoreWorkingFile(CString file, CString serverFile);
    virtual int SetRestoreWorkingTask(CBackupTask* task);
    CString GetWorkingFile();
    CString GetCopyingFile();
    CString GetRestoreWorkingFile() const { return m_restoreWorkingFile; }
    CString GetRestoreServerWorkingFile() const { return m_restoreServerWorkingFile; }
    CString GetWorkingTaskName();
    void SetWorkingTaskName(CString const& name);

    // ---- Set-up ----
    int Initialize();
    void SetGUIWindowsUserAppDataPath(CString const& path) { m_guiWindowsUserAppDataPath = path; }
    void SetGUIGlobalDataPath(CString const& path) { m_guiGlobalDataPath = path; }
    int LoadTaskList(int, int);
    // Settles this machine's id and name: the same for every start of this machine and user.
    void InitMyID();
    // Copies the cache to the GUI's folder when that side lacks it.
    void CopyServiceCacheToCurrentUserCache();

    // ---- Task list ----
    CBackupTask* GetTaskByName(CString name, POSITION* = nullptr);
    CBackupTask* GetTaskByID(int id, POSITION* = nullptr);
    int AddTask(CBackupTask* task);
    int UpdateTask(CBackupTask* task, CBackupTask* edited);
    int EnableTask(CBackupTask* task);
    int BatchDeleteTask(CStringList& names, int deleteServerData, int& errorCode, int, int deleteOption);
    // Take the first task of that name off the list; the object stays. Ex is called with m_taskLock held.
    int RemoveTaskFromTasklist(CBackupTask* task);
    int RemoveTaskFromTasklistEx(CBackupTask* task);
    int DeleteTaskListByName(CString const& name);
    int DeleteAllTaskList(std::vector<CBackupTask*>& list);
    // Ends the task's run and deletes the task; null is nothing. One whose run hangs dies later, once that
    // has ended. Not under the locks of this object, which the end of the run may need.
    static void Discard(CBackupTask* task);
    int AddTaskToWaitlist(CBackupTask* task, int force);
    int RemoveTaskFromWaitlist(CBackupTask* task);
    int RemoveTaskFromWaitlistNoLock(CBackupTask* task);  // called with m_taskLock held
    std::map<CString, int> GetTaskStatusMapValue();
    int HaveActionToProcess();
    int ProcessAlltheAction();
    int CompareTaskName(CString const& name);
    int CompareTaskNameEx(CString const& name, std::vector<CString> const& names);
    int IsValidateTaskName(CString name, int& errorCode);
    void SetNeedReloadTaskListValue(int value);
    int GetNeedReloadTaskListValue();
    void SetFinishedLoadTaskListValue(int value);
    int IsFinishedLoadTaskList();
    void SetTasklistChanged(int value) { m_taskListChanged = value; }
    int GetAddNewTaskRet() const { return m_addNewTaskRet; }

    // ---- The task in creation; the accessors need one (IsCreateingTask) unless a line says otherwise ----
    int BeginNewTask();
    void CancelNewTask();
    int EndNewTask();
    int CreateRandomName(CString& name);
    int IsCreateingTask() const { return m_pNewTask != nullptr; }
    CString GetTaskName() const;
    int SetTaskName(CString name, int);
    CString GetTaskDescription() const;
    void SetTaskDescription(CString const& text);
    CString GetServerFolder() const;
    void SetServerFolder(CString const& folder);
    int GetType() const;
    void SetType(int type);
    int GetEncryMode() const;  // 0 without a task
    void SetEncryMode(int mode);
    __int64 GetMaxVersions() const;         // 1 without a task
    void SetMaxVersions(__int64 versions);  // ignored without a task
    void SetBeginDate(CTime const& date);
    void SetEndDate(CTime const& date);
    void SetDating(CTime const& date);
    CStringList& GetFilter();
    void SetFilter(CString text);
    void AddLocalPath(CString path);
    void AddLocalPath(CStringList& paths);
    void ClearLocalPathList();
    int GetLocalFolderCount() const;
    CStringList& GetLocalFileList();

    // ---- Scheduling ----
    void DoScheduleTask();
    void SyncScheduleTask();    // looks for missed runs of dated tasks
    void SyncRealTimeTask();    // queues real-time tasks and starts their watchers
    void DoScheduleNextTime();  // moves the dates of all dated tasks past missed runs
    void DoScheduleNextTimeWithTask(CBackupTask* task);
    // Brings back the dates of this machine's tasks that no schedule explains, with an event each. The names
    // of the tasks: their rows say the old dates until somebody writes them.
    std::vector<CString> BringBackDates();
    void DoneTask(CBackupTask* task, int result, int, BackupThreadType type);
    int ConnectLoopNetwork();
    unsigned long GetRealTimeDelaySeconds();
    void SetRealTimeDelaySeconds(unsigned long seconds);
    unsigned long GetDelayTimeForMissedTask();
    void SetDelayTimeForMissedTask(unsigned long minutes);

    // ---- Task database ----
    int UploadTaskInfoToDatabase(CBackupTask* task);
    int AddOrEditTaskToDatabase(CBackupTask* task, CString action, CString, CString oldName,
                                CString upgraded);
    int AddOrEditLocalPathToDatabase(std::vector<SourceInfo*>& add, std::vector<SourceInfo*>& remove,
                                     CString request, CString action);
    int LoadTaskListFromWebDatabase();
    int ParseTaskListFromWebDatabase(CString reply, int refresh);
    int GetLocalPathFromWebDatabase(CString const& taskName, CBackupTask* task);
    void GetTaskNamesFromWebDatabase(std::vector<CString>& names);
    int RefreshTaskListFromDatabase(int& code);
    int CheckNotExistedTasks();
    int UpdateTaskLocalPathForServerDatabase(CBackupTask* task);
    // 1 with `newName` set when a task of that machine meets a row of its name that another machine has.
    int NeedRenameTaskNameToWebDatabase(CString const& name, CString const& pcName, unsigned long pcID,
                                        CString& newName);
    static CString GetFileNameFromPath(CString const& path);
    static void StrListToStr(CStringList const& list, CString& text);

    // ---- Server folders ----
    static CString GetSvrDataFolder();
    static CString GetSvrInfoFolder();
    static CString GetSvrHistFolder(int encrypted, int old);
    // The paths below which all of these lie, made or not; no task is stored in, above or below one.
    static std::vector<CString> GetSvrOwnFolders();

    // ---- Reports ----
    // The one entry for all events; any thread may call. `task` may be null.
    int RecordErr(CBackupTask* task, CString text, EventTypes type);
    void SendLogByEmail(CBackupTask* task, CString errorText, int result);
    void ViewErrLog();
    void AddErrTask(CBackupTask* task);  // any thread of a run may call
    int ErrorOccured();
    void ClearErrTasklist();

    // ---- Scan ----
    __int64 GetFolderNeedBackup(CStringList& list, CString path, CString serverFolder, CString filterType,
                                __int64& total, __int64& remote, CStringList* exList, CStringList* pathList,
                                int useFolderFilter, int isEmail, CString const& taskName);
    __int64 IncludeGetFolderNeedBackup(CStringList& list, CString path, CString serverFolder,
                                       CString filterType, __int64& total, __int64& remote,
                                       CStringList* exList, CStringList* pathList, int useFolderFilter,
                                       int isEmail, CString const& taskName);
    __int64 GetFileNeedBackup(CStringList& list, CString path, CString serverPath, CString filterType,
                              __int64& total, __int64& remote, CStringList* exList, int force, int isEmail,
                              CString const& taskName);
    __int64 IncludeGetFileNeedBackup(CStringList& list, CString path, CString serverPath, CString filterType,
                                     __int64& total, __int64& remote, CStringList* exList,
                                     CStringList* pathList, int force, int isEmail, CString const& taskName);
    void AdjustScanDivideBatchIndex(CStringList& list, CString const& path, __int64 size);
    void SetScanDivideBatchIndex(int index) { m_scanDivideBatchIndex = index; }
    int StartScanTask(CBackupTask* task);
    static unsigned int ScanTask(void* data);
    __int64 GetScanFileSize(CString const& path, CStringList* exList, int encrypted, __int64 sizeSoFar,
                            int& count, CStringList& list, rampart::Word<__int64>& counter,
                            CString const& filterType);
    __int64 IncludeScanFileSize(CString const& path, CStringList* exList, CStringList* pathList,
                                int encrypted, __int64 sizeSoFar, int& count, CStringList& list,
                                rampart::Word<__int64>& counter, CString const& filterType);
    __int64 GetScanFolderSize(CString const& path, CStringList* exList, CStringList* pathList, int encrypted,
                              __int64 sizeSoFar, int& count, CStringList& list,
                              rampart::Word<__int64>& counter, CString const& filterType, CString& limitPath,
                              int& ok);
    __int64 IncludeGetScanFolderSize(CString const& path, CStringList* exList, CStringList* pathList,
                                     int encrypted, __int64 sizeSoFar, int& count, CStringList& list,
                                     rampart::Word<__int64>& counter, CString const& filterType,
                                     CString& limitPath, int& ok);
    int SupportScanTask(CString const& serverFolder);
    int IsPathTobeBackup(CString& path);
    void SetScanTaskInfo(CString const& size, CString const& count, CString const& path);
    void GetScanTaskInfo(SCANFILESINFO& info);

    // ---- File comparison ----
    static CompareLocalAndServer CompareLocaAndServerFiles(CString const& localPath,
                                                           CString const& serverPath, int& error);

    // ---- Fields ----
    std::vector<CBackupTask*> m_taskList;  // owned
    CReadWriteSync m_taskListSync;
    CPtrList m_waitList{10};  // CBackupTask*, oldest first, not owned
    uint32_t m_myID = 0;
    CString m_pcName;
    int32_t m_myIDCreated = 0;
    CString m_workingFile, m_workingServerFile, m_copyingFile, m_restoreWorkingFile,
        m_restoreServerWorkingFile;
    HANDLE m_uploadLogThreadHandle = nullptr;
    HANDLE m_saveTaskThreadHandle = nullptr;
    CWinThread* m_pScheduleThread = nullptr;
    CWinThread* m_pScanThread = nullptr;
    BatchMode* m_pBatchMode = nullptr;  // owned
    int32_t m_checkNetworkBeforeRun = 0;
    rampart::Word<__int64> m_realTimeDelay = 60;
    rampart::Word<__int64> m_missedTaskDelay = 60;
    int32_t m_skipMissedTask = 1;
    CWinThread* m_pUploadLogThread = nullptr;
    CWinThread* m_pSaveTaskThread = nullptr;
    CBackupTask* m_pNewTask = nullptr;
    CBackupTask* m_pPrevNewTask = nullptr;
    CStringList m_errTaskList{10};
    CStringList m_localFileList{10};
    int32_t m_hibernated = 0;
    int32_t m_wokenUp = 0;
    rampart::Word<int32_t> m_taskListChanged = 0;
    CString m_guiWindowsUserAppDataPath;
    CString m_guiGlobalDataPath;
    rampart::Word<int32_t> m_scanDivideBatchIndex = 0;
    int32_t m_needReloadTaskList = 0;
    int32_t m_addNewTaskRet = 0;
    int32_t m_finishedLoadTaskList = 0;
    CCriticalSection m_reloadLock, m_finishedLoadLock, m_taskLock, m_downloadLock, m_scanInfoLock,
        m_workingFileLock;
    CString m_scanInfoSize, m_scanInfoCount, m_scanInfoPath;
    int32_t m_convertOldHistoryResult = 0;
    CString m_workingTaskName;
    static CBackupTask* s_pRestoreWorkingTask;

protected:
    void ClearTaskList();
    void StopAllTask(std::vector<CBackupTask*>& tasks);
    unsigned long ReadRealTimeDelayInfo();
    void WriteRealTimeDelayInfo(unsigned long seconds);
    unsigned long ReadDelayTimeForMissedTaskInfo();
    void WriteDelayTimeForMissedTaskInfo(unsigned long minutes);

private:
    void ShareCaches(CString const& ownPath);
    int ParseRows(CString const& reply, int refresh, std::vector<CBackupTask*>& removed);
    bool TakeNotExistedTasks(std::vector<CBackupTask*>& removed);
    int ReadTaskNames(std::vector<CString>& names);
    void QueueTask(CBackupTask* task);
    bool QueueDueTasks();
    bool IsNetworkThere();
    bool StartQueuedTasks();
    static void SkipMissedRuns(CBackupTask& task, CTime const& minute);
    bool IsListed(CBackupTask const* task);
    void ChangeWatchers(CBackupTask& task, CBackupTask const& edited, bool isMoved);
    bool IsAsRowSays(CBackupTask const& known, rampart::TaskReplyRow const& row) const;
    void RemoveDeletedTasks(std::vector<CBackupTask*> const& tasks);

    CCriticalSection m_errTaskLock;  // guards m_errTaskList
};
