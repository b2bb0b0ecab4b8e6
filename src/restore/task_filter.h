// What a task's run takes of what lies below its sources.
#pragma once

#include "restore/later_side.h"
#include "run/scan_filter.h"

class CBackupTask;

namespace rampart {

class TaskFilter {
public:
    // The task's lists stay the task's. Null takes all.
    explicit TaskFilter(CBackupTask* task);

    // `attributes` are the bits of platform::FileAttribute.
    Taking Of(const CString& path, NodeKind kind, uint32_t attributes) const;

private:
    std::optional<ScanFilter> m_filter;
    bool m_takesTemporary;
};

}  // namespace rampart
