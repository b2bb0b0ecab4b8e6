#include "restore/task_filter.h"

#include "paths/temporary_files.h"
#include "task/backup_task.h"

namespace rampart {

TaskFilter::TaskFilter(CBackupTask* task) : m_takesTemporary(AllowTemporaryFiles()) {
    if (task != nullptr) {
        m_filter.emplace(task->m_filterType, &task->m_filterExList, &task->m_filtedPathList,
                         IsIncludeMode(task->m_filterType));
    }
}

Taking TaskFilter::Of(const CString& path, NodeKind kind, uint32_t attributes) const {
    if (!m_filter) {
        return Taking::kTaken;
    }
    if ((attributes & platform::kTemporary) != 0 && !m_takesTemporary) {
        return Taking::kLeftOut;
    }
    if (kind != NodeKind::kFolder) {
        return m_filter->TakesFile(path) ? Taking::kTaken : Taking::kLeftOut;
    }
    if (!m_filter->DropsFolder(path)) {
        return Taking::kTaken;
    }
    return m_filter->IsInclude() ? Taking::kWalked : Taking::kLeftOut;
}

}  // namespace rampart
