#include "run/server_match.h"

#include "interfaces/baselib.h"
#include "platform/file_system.h"
#include "storage/service_code.h"

namespace rampart {

namespace {

bool ExistsWithThisCase(CString const& path) {
    CString const full = ApiUtil::PathToFullPath(path);
    platform::FileStatus status;
    return platform::QueryStatus({static_cast<TCHAR const*>(full), static_cast<size_t>(full.GetLength())},
                                 status);
}

}  // namespace

bool IsRecordOfSibling(CString const& serverPath, CString const& recordPath, CString const& localPath) {
    CString server = serverPath;
    CString record = recordPath;
    CString local = localPath;
    while (server != record && !local.IsEmpty()) {
        CString const recordName = PathUtilities::GetFileName(record);
        CString const localName = PathUtilities::GetFileName(local);
        CString const parent = PathUtilities::GetParentFolder(local);
        // Below this point the server path no longer follows the local one.
        if (localName.CompareNoCase(recordName) != 0 || parent == local) {
            return false;
        }
        if (localName != recordName && ExistsWithThisCase(PathUtilities::Append(parent, recordName)) &&
            !IsSameFileLocal(PathUtilities::Append(parent, recordName), local)) {
            return true;
        }
        server = PathUtilities::GetParentFolder(server);
        record = PathUtilities::GetParentFolder(record);
        local = parent;
    }
    return false;
}

namespace {

bool FindFacts(CString const& serverPath, CString const& localPath, CServerPathList::Facts& facts) {
    return ApiUtil::GetServerPathlist().FindFacts(serverPath, facts) == kOk &&
           (facts.inexactPath.IsEmpty() || !IsRecordOfSibling(serverPath, facts.inexactPath, localPath));
}

}  // namespace

bool FindServerFile(CString const& serverPath, CString const& localPath, CServerPathList::Facts& file) {
    return FindFacts(serverPath, localPath, file) && !file.isFolder;
}

bool FindServerFolder(CString const& serverPath, CString const& localPath) {
    CServerPathList::Facts folder;
    return FindServerFolder(serverPath, localPath, folder);
}

bool FindServerFolder(CString const& serverPath, CString const& localPath, CServerPathList::Facts& folder) {
    return FindFacts(serverPath, localPath, folder) && folder.isFolder && !folder.isGone;
}

int FindServerRecord(CString const& serverPath, CString const& localPath, CAutoMyPathInfo& record) {
    int const code = ApiUtil::GetServerPathlist().FindRecord(serverPath, record);
    if (record != nullptr && record->m_path != serverPath &&
        IsRecordOfSibling(serverPath, record->m_path, localPath)) {
        record = nullptr;
    }
    return code == kNotFound ? kOk : code;
}

}  // namespace rampart
