// ManageMultipleRunningTask: the process-wide list of tasks that run now. A task is known by its name,
// without regard to case.
//
// Any thread may call. m_lock comes after the task manager's locks, and nothing that blocks is called under
// it.
#pragma once

#include <vector>

#include "framework/framework.h"

class CBackupTask;
class CTaskPrgClass;

class VAULTLIB_API ManageMultipleRunningTask {
public:
    // The one object, made on first use.
    static ManageMultipleRunningTask* GetInstance();

    // Reads from the settings whether several tasks may run at once, and how many.
    void InitAllowTwoTasksConcurrently();
    // The same as told by a host. `allow` nonzero permits as many as `MultipleRunningTaskCount` says.
    void SetAllowTwoTasksConcurrently(int allow);
    // 0 for null, for a name that runs already, and when as many run as may; otherwise 1.
    int IsAllowToAddWorkingTask(CBackupTask* task);
    // Asks that and enters the task, in one step: of two starts one gets the place. 1 if it was entered.
    int TakePlace(CBackupTask* task);

    // Tasks stay the manager's: each leaves the list before it dies.
    void AddWoringTaskToVector(CBackupTask* task);        // unless null or of a name that is there
    int AddIfNew(CBackupTask* task);                      // the same; 1 if it was entered
    void RemoveWorkingTaskFromVector(CBackupTask* task);  // the first of that name
    void ClearAllWoringTask();

    int FindWorkingTask(CBackupTask* task);  // nonzero if a task of that name runs
    bool IsWorking(CBackupTask* task);       // whether this very object runs
    // Null if no task of that name runs.
    CBackupTask* GetWorkingTask(CBackupTask* task);
    CBackupTask* GetWorkingTaskByName(CString const& name);
    CTaskPrgClass* GetTaskPrgClass(CString const& name);
    int WorkingTaskCount();
    CString GetWorkingTaskName();  // each name with a "|" behind it
    std::vector<CBackupTask*> GetWorkingTasksVector();

    std::vector<CBackupTask*> GetHibernateTasks();
    void StoreHibernateTask();  // remembers what runs now
    void ClearHibernateTasks();

    // A new display begins: each running task's list is told to observers anew.
    void InitBackupProgressList();
    void SetSuspendForWokingTask(int suspend, CString const& name);
    // Asks a run to stop and does not wait for it; nothing if the task does not run.
    void AskToStop(CBackupTask* task);
    // Stops all that run, one after the other, and waits for each.
    static void StopTasks();

    // The named task's items in transfer, for a host that shows them; nothing if it does not run.
    void StoreProgressList(CString const& name, CArchive& archive);
    // A 4-byte count and the names; one empty name when there is none.
    void StoreTaskInfoForUI(CArchive& archive);

    std::vector<CBackupTask*> m_workingTasks;
    CCriticalSection m_lock;
    std::vector<CBackupTask*> m_hibernateTasks;
    int32_t m_nMaxRunningTasks = 1;
    int32_t m_bAllowTwoTasks = 0;

private:
    std::vector<CBackupTask*>::iterator Find(CString const& name);
    bool MayAdd(CBackupTask const* task);
};
