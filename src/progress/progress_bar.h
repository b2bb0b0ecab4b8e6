// CProgressBar: the live state of one running task: its list of files, which of them are in transfer, bytes,
// speed, state text, cancel and pause. The transfer library calls it, the run drives it, observers are told
// of each change.
//
// Every operation may be called from any thread and none throws. The list is locked for a time of 4, 10 or 30
// seconds at most; an operation that does not get the lock gives up with the result its line names.
#pragma once

#include <memory>
#include <vector>

#include "framework/framework.h"
#include "interfaces/progresslib.h"
#include "progress/prg_attachment.h"
#include "progress/task_item_info.h"
#include "progress/worker_ref.h"

class BatchMode;

namespace rampart {
class ItemIndex;
template <class Observer>
class ObserverCalls;
}  // namespace rampart

class VAULTLIB_API CProgressBar : public CTruePrgCallback {
public:
    CProgressBar();
    ~CProgressBar() override;
    CProgressBar(CProgressBar const&) = delete;
    CProgressBar& operator=(CProgressBar const&) = delete;

    // 0 when cancelled, when the bar has no total, or while the application stops; otherwise 1.
    int SetPercent(int percent, CString text) override;
    int NextPercent() override;
    // Sets the cancel flag, signals m_hCancelEvent, ends store loops and the pause.
    void CancelMe() override;
    // Called by the transfer library: 0 ends the transfer. At most four refreshes a second for the whole
    // process.
    int RefreshProgressInfo() override;

    virtual int Create() { return 0; }
    // Empties the list; the argument is not read. 0 without the lock.
    virtual int InitFileList(CStringList& list);
    // Appends the files of the list, without its folders. 0 without the lock, otherwise 1, also after a
    // cancel.
    virtual int AddFileList(CStringList& list);
    // Tells observers that `count` files are about to be worked on. 0 without the lock.
    virtual int UpdateBackupProgressList(CString const& path, __int64 count);
    // The file is at hand: its item goes into transfer. 0 if it is not on the list or there is no task
    // manager.
    virtual int BeginFile(CString path, __int64 size, int flag);
    // Code 0 takes the item off the list, 20 and 70 keep it in transfer, any other marks it failed. 1 without
    // the lock.
    virtual int EndFile(CString path, int code);
    // Status of the item at hand (TaskItemStatus). Always 1.
    virtual int ChangeStatus(int status);
    virtual int BatchBegin();
    virtual int BatchEnd();
    // Clears everything, the list included. 0 without the lock.
    virtual int EndCurrent();
    virtual int SetState(ProgressState state);  // 0 without the lock
    virtual int SetStateString(CString text, CString const& taskName);
    virtual CString GetStateString();
    // An observer belongs to the caller. RemoveAttachment returns when no other thread is inside the observer
    // any more.
    virtual int AddAttachment(CPrgAttachment* attachment);
    virtual int RemoveAttachment(CPrgAttachment* attachment);
    // Clears cancel, percent, paths, counts and snapshot; list, pause and worker stay.
    virtual void EmptyData();
    // Holds the worker threads and all transfers of the process.
    virtual int Pause(CString const& taskName);
    virtual int Resume(CString const& taskName);
    virtual int Stop(CString const& taskName, unsigned long seconds);
    virtual int ShowPrg() { return 0; }
    // Items in transfer, by way of each observer's StoreItems; nothing is written when there is none.
    virtual void SaveItemList(CArchive& archive);
    virtual void SaveProgressInfo(CArchive& archive);
    // The whole list in the form of CPrgAttachment::StoreItems; nothing is written without the lock.
    virtual void SavePrgbarItemList(CArchive& archive);

    // A new display begins: observers drop what they show and are given the list anew.
    int InitBackupProgressList();

    // A run begins: a pause that an earlier one left behind is over, one that was asked since its start
    // holds.
    void ClearOldPause();
    // The run's last word: its threads leave, and what a pause held goes on, which came too late for them.
    void LeaveRun();
    void SetTaskName(CString const& name);
    CString GetTaskName() const;
    // Returns once no other thread uses the batch that was set before: set null, then delete it.
    void SetBatch(BatchMode* batch);
    // The run's threads, null when it ends: Pause holds both, Stop waits for the first.
    void SetWorker(CWinThread* worker) { m_pWorker = worker; }
    void SetCopyWorker(CWinThread* worker) { m_copyWorker = worker; }
    // A stop is under way: the task takes no new start.
    int IsStopping() const { return m_bStopping; }
    void SetStopping(int stopping) { m_bStopping = stopping; }
    // Whether the run may ask the user something.
    int IsAllowAlert() const { return m_bAllowAlert; }
    void SetAllowAlert(int allow) { m_bAllowAlert = allow; }

    rampart::Word<int32_t> m_bCancel = 0;
    rampart::Word<int32_t> m_nPercent = 0;
    rampart::WorkerRef m_pWorker;     // the run's thread; reads and writes as a CWinThread*
    HANDLE m_hCancelEvent = nullptr;  // auto-reset, signalled by a cancel
    CPtrList m_items{100000};         // TaskItemInfo*, owned; changed by this class only
    CPtrList m_waitList{10};          // items of m_items in transfer
    __int64 m_nWaitBytes = 0;         // their size
    CString m_strCurrentFile;
    rampart::Word<__int64> m_nBeginSent = 0;       // sent count when the file at hand began
    rampart::Word<BatchMode*> m_pBatch = nullptr;  // written by SetBatch; not owned
    CString m_strTaskName;
    ProgresInfo m_info;
    bool m_hasInfo = false;      // since the first refresh
    CPtrList m_attachments{10};  // CPrgAttachment*, not owned
    HANDLE m_hLock = nullptr;    // auto-reset event, signalled while the list is free
    rampart::Word<ProgressState> m_nState = ProgressStateNone;
    CString m_strStateText;
    CCriticalSection m_saveLock;
    CCriticalSection m_stateLock;
    rampart::Word<int32_t> m_bSaveWaitList = 0;  // items are in transfer

protected:
    TaskItemInfo* FindPathItem(CString const& path, POSITION& position);
    void AddToWaitList(TaskItemInfo* item);
    void RemoveFromWaitList(TaskItemInfo* item);
    void ClearWaitList();
    void RefreshPrgInfoData();
    void RemoveItemList();

private:
    class ListLock;

    CString CurrentFile() const;
    bool AppendItems(std::vector<std::unique_ptr<TaskItemInfo>>& items);
    void RefreshCurrentItem(TaskItemInfo& item);
    void RefreshWaitingItems();
    bool IsBatchWorking();
    void Release();  // ends a pause; these two under m_pauseMutex
    void ReleaseIfHeld();
    void NotifyItem(TaskItemInfo& item);
    void NotifyRemoval(__int64 id);

    rampart::Word<int32_t> m_bHeld = 0;  // Pause suspended the threads
    rampart::Word<int32_t> m_bStopping = 0;
    rampart::Word<int32_t> m_bAllowAlert = 1;
    mutable rampart::Mutex m_textMutex;  // m_strCurrentFile, m_strTaskName
    rampart::Mutex m_batchMutex;         // use of what m_pBatch points to
    rampart::WorkerRef m_copyWorker;
    rampart::Mutex m_pauseMutex;  // one Pause or Resume at a time
    // Under m_hLock, as the snapshot and the lists are.
    CString m_infoFile;
    CString m_infoStateText;
    POSITION m_current = nullptr;                 // item of the file at hand
    std::unique_ptr<rampart::ItemIndex> m_index;  // over m_items
    std::unique_ptr<rampart::ObserverCalls<CPrgAttachment>> m_observers;
};
