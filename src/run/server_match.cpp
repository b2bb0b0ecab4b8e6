#include "run/server_match.h"

#include "interfaces/baselib.h"
#include "platform/file_system.h"

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

bool FindServerFile(CString const& serverPath, CString const& localPath, ServerFile& file) {
    CString inexactPath;
    if (!ApiUtil::GetServerPathlist().FindFile(serverPath, file.size, file.modifiedTime, inexactPath)) {
        return false;
    }
    return inexactPath.IsEmpty() || !IsRecordOfSibling(serverPath, inexactPath, localPath);
}

MyPathInfo* FindServerRecord(CString const& serverPath, CString const& localPath) {
    std::unique_ptr<MyPathInfo> record(ApiUtil::GetPathInfoEx(serverPath, 0, 0));
    if (record && record->m_path != serverPath && IsRecordOfSibling(serverPath, record->m_path, localPath)) {
        return nullptr;
    }
    return record.release();
}

}  // namespace rampart
