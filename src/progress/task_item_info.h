// TaskItemInfo and ProgresInfo: one file on a progress list, and the snapshot of a progress object.
#pragma once

#include <cstdint>

#include "framework/framework.h"
#include "progress/item_numbering.h"

// What a run is at, as it shows it.
enum ProgressState : int32_t {
    ProgressStateNone = 0,
    ProgressStateUnchanged = 1,  // a file needs no transfer
    ProgressStateTransfer = 2,
    ProgressStateFinishing = 3,  // the task's record goes to the server
    ProgressStateSearching = 4,  // scanning, or copying to the cache
};

enum TaskItemStatus : int32_t {
    TaskItemWaiting = 0,
    TaskItemInTransfer = 1,
    TaskItemFinished = 2,
    TaskItemFailed = 3,
};

// One file on the list. Bytes, seconds, bytes a second.
struct VAULTLIB_API TaskItemInfo {
    rampart::ItemNumber m_id;  // position on the list, from 0, always dense; reads and writes as an __int64
    CString m_strPath;         // local
    __int64 m_nSize = 0;
    __int64 m_nDone = 0;
    __int64 m_nSeconds = 0;  // done divided by speed, rounded up; of a waiting item its estimate
    __int64 m_nRate = 0;     // speed at the last refresh
    int32_t m_nStatus = TaskItemWaiting;
    POSITION m_waitPosition = nullptr;  // place among the items in transfer; the progress object's own
};

// The snapshot handed to observers. The texts belong to the progress object.
struct VAULTLIB_API ProgresInfo {
    int32_t m_nPercent = 0;
    __int64 m_nNowSent = 0;
    int32_t m_nSpeed = 0;
    int32_t m_nAveSpeed = 0;
    int32_t m_nRemSec = 0;
    int32_t m_nLastPercent = 0;
    int32_t m_nBeginCount = 0;
    int32_t m_nLastCount = 0;
    int32_t m_nMillsecs = 0;
    __int64 m_nBarDone = 0;
    __int64 m_nBarTotal = 0;
    __int64 m_nByteSend = 0;
    CString* m_pCurrentFile = nullptr;
    CString* m_pStateText = nullptr;
    ProgressState m_nState = ProgressStateNone;
};
