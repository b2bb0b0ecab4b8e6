#include "support/service_stand_in.h"

#include <cstdlib>

#include "paths/global_function.h"

using rampart::test::Service;

rampart::test::ServiceStandIn& rampart::test::Service() {
    static ServiceStandIn service;
    return service;
}

CString ApiUtil::GetCustomerID() {
    return Service().customerId;
}
CString ApiUtil::GetUsertype() {
    return Service().userType;
}
CString ApiUtil::GetFileFilterSetting() {
    return Service().fileFilters;
}
CString ApiUtil::GetFolderFilterSetting() {
    return Service().folderFilters;
}
CString ApiUtil::PathToFullPath(CString const& path) {
    return path;
}
CString CManageCacheDirMan::GetCacheDir() const {
    return Service().cacheFolder;
}
CManageCacheDirMan& ApiUtil::GetManageCacheDirMan() {
    static CManageCacheDirMan manager;
    return manager;
}
__int64 ApiUtil::StrToInt64(CString const& text) {
    return std::strtoll(text.ToUtf8().c_str(), nullptr, 10);
}

void ApiUtil::SetSuspendStatus(int suspend) {
    Service().suspended = suspend;
}

int ApiUtil::CloseConnectionByThreadID(unsigned long threadId) {
    Service().cutThread = threadId;
    if (Service().onCut) {
        Service().onCut();
    }
    return 1;
}

int GlobalFunction::CreateSrvFolder(CString path, CString, CString, __int64*) {
    if (Service().missingFolders.contains(path)) {
        return 0;
    }
    Service().createdFolders.push_back(path);
    return 1;
}

// No batch is ever open here.
struct BatchMode::Impl {};
BatchMode::BatchMode(int) {}
BatchMode::~BatchMode() = default;
int BatchMode::IsBatchWorking() const {
    return 1;
}
