// Changes of the server's tree, made at the service and entered into the mirror.
#pragma once

#include <string>
#include <vector>

#include "interfaces/progresslib.h"
#include "storage/storage_service.h"
#include "transferlib/service_connection.h"

namespace rampart {

// Paths are looked up like everywhere, the exact name first; only what is deleted must be named exactly.
class TreeEdit {
public:
    explicit TreeEdit(ServiceConnection& connection) : m_connection(connection) {}

    ServiceResult MakeFolder(TextView path, const CString& description, uint32_t flags, int64_t& id);
    ServiceResult Rename(const CString& path, const CString& newName);
    ServiceResult Describe(const CString& path, const CString& description);
    // A folder goes with all below it. `callback` (may be null) is told the percent done.
    ServiceResult Delete(const std::vector<std::string>& paths, ProgressCallBack* callback);
    // A file or a whole folder into a folder, under its own name. A file of that name is replaced.
    ServiceResult Copy(const CString& path, const CString& targetFolder, ProgressCallBack* callback);

private:
    ServiceResult CopyFile(const std::string& path, const std::string& targetFolder);
    ServiceResult CopyFolder(const std::string& path, const std::string& targetFolder,
                             ProgressCallBack* callback);
    // The record's own path; the path as it was asked for if it is not known.
    std::string OwnPath(const CString& path);

    ServiceConnection& m_connection;
};

}  // namespace rampart
