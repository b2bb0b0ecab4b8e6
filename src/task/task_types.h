// The small types of a task: its mode word, one source, how its run began.
#pragma once

#include <cstdint>

#include "framework/framework.h"

// The mode word. Its value modulo 16 (signed) is the schedule mode; 16 to 31 mark an email task.
enum TaskType : int32_t {
    TaskTypeRealTime = 0,
    TaskTypeDaily = 1,
    TaskTypeWeekly = 2,
    TaskTypeOnce = 3,
    TaskTypeEmailFlag = 16,
};

namespace rampart {

// The schedule mode; one that no branch knows for a negative word.
inline int ScheduleMode(TaskType type) {
    return static_cast<int32_t>(type) % TaskTypeEmailFlag;
}

}  // namespace rampart

// One source path of a task.
struct VAULTLIB_API SourceInfo {
    CString path;         // local; a drive root, folder or file
    uint32_t serial = 0;  // of the volume that holds it
    int32_t isFolder = 0;
};

enum BackupThreadType : int32_t {
    BACKUP_THREAD_FULL = 0,
    BACKUP_THREAD_CHANGE = 1,
};

// States of a task (`m_state`).
enum TaskState : int32_t {
    TaskStateReady = 0,
    TaskStateRunning = 1,
    TaskStateWaiting = 2,
    TaskStateCanceled = 3,
    TaskStateFinished = 4,
    TaskStateFailed = 5,
    TaskStateDisabled = 8,
};
