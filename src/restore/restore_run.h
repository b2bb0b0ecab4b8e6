// One restore from its plan to its end.
#pragma once

#include "restore/restore_context.h"

namespace rampart {

class RestoreRun {
public:
    RestoreRun(StorageService& service, const RestoreRequest& request, RestoreReport& report)
        : m_context(service, request, report) {}

    ServiceResult Run();

private:
    void MakeFolders();
    void MakeFolder(uint32_t index);
    void GiveLateAttributes();
    void GiveFolderAttributes();
    void SyncTargets();
    void FillReport() const;

    RestoreContext m_context;
};

}  // namespace rampart
