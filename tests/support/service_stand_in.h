// Answers of the service library for tests of rooms that only ask it for values.
#pragma once

#include <atomic>
#include <set>
#include <string>

#include "interfaces/transferlib.h"

namespace rampart::test {

// What ApiUtil answers, and what it was told. One for the process; a test sets what it needs.
struct ServiceStandIn {
    CString customerId = _T("4711");
    CString userType;
    CString cacheFolder;
    CString fileFilters;
    CString folderFilters;
    std::set<CString> missingFolders;  // CreateSrvFolder fails for these
    std::vector<CString> createdFolders;
    std::atomic<int> suspended{0};
    std::atomic<unsigned long> cutThread{0};
    std::function<void()> onCut;
};
ServiceStandIn& Service();

}  // namespace rampart::test
