// CPrgAttachment: the observer of a progress object, and the archive form of its items and snapshot.
//
// Notifications come from any thread of the run, most of them under the lock of the progress object's list:
// an observer returns soon, and calls no operation of the progress object but the getters. The base answers 0
// to all of them. Strings that are not named here are the task's name.
#pragma once

#include "framework/framework.h"
#include "progress/task_item_info.h"

class VAULTLIB_API CPrgAttachment {
public:
    virtual ~CPrgAttachment() = default;

    virtual int BatchBegin() { return 0; }
    virtual int BatchEnd() { return 0; }
    virtual int BeginFile(CString /*path*/, CString const&) { return 0; }
    virtual int BeginFileEx(CString /*path*/, __int64 /*size*/, int /*flag*/, CString const&) { return 0; }
    virtual int ChangeStatus(int /*status*/) { return 0; }
    virtual int EndFile(CString /*path*/) { return 0; }
    virtual int EndFileEx(CString /*path*/, int /*code*/, CString const&) { return 0; }
    // What is shown of the task's list is void; InitFileList follows.
    virtual int InitBackupProgressList(CString const&) { return 0; }
    // `count` files, of `path` if it is not empty, are about to be worked on; `items` is the whole list.
    virtual int InitFileList(CString const& /*path*/, __int64 /*count*/, CPtrList& /*items*/,
                             CString const&) {
        return 0;
    }
    virtual int RemoveAllItem(CString const&) { return 0; }
    virtual int RemoveItem(__int64 /*id*/, CString const&) { return 0; }
    virtual int ShowPrg(CString const&) { return 0; }
    virtual int UpdateItem(__int64 /*id*/) { return 0; }
    // The item is the progress object's and valid during the call.
    virtual int UpdateItemEx(__int64 /*id*/, TaskItemInfo*, CString const&) { return 0; }
    // The snapshot is the progress object's and valid during the call.
    virtual int SetPercent(int /*percent*/, CString const& /*text*/, CString const&, ProgresInfo*) {
        return 0;
    }
    virtual int RefreshProgressInfo(CString const&, ProgresInfo*) { return 0; }
    virtual int SetState(ProgressState, CString const&, ProgresInfo*) { return 0; }
    virtual int SetStateString(CString const& /*text*/, CString const&) { return 0; }
    virtual int EndCurrent(CString const&) { return 0; }
    // Asks a host's display to stop the task; tells nothing by itself.
    virtual int Stop(CString const&, unsigned long /*seconds*/, int) { return 0; }

    // Writes an 8-byte count and the items (TaskItemInfo*). Ends early, with fewer items than the count says,
    // when the application stops or logs off, when m_bStop is set, or at a null item; waits while m_bPause is
    // set.
    virtual void StoreItems(CPtrList& items, CArchive& archive);
    // The snapshot, of which only four zero bytes when it is null. Archive exceptions pass through.
    virtual void StoreProgressInfo(CArchive& archive);
    virtual void StoreProgressInfoEx(CArchive& archive, ProgresInfo* info);

    rampart::Word<int32_t> m_bStop = 0;             // ends a store loop at its next item
    rampart::Word<int32_t> m_bPause = 0;            // a store loop waits
    rampart::Word<ProgresInfo*> m_pInfo = nullptr;  // of the observed object; null before its first refresh
};
