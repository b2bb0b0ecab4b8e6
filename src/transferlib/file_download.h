// One stored file on its way to a local path: to a temporary name beside it, checked, then renamed.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "framework/cstring.h"
#include "platform/file_system.h"
#include "storage/storage_service.h"

namespace rampart {

class FileDownload {
public:
    // Called with the bytes moved so far and the whole; a code other than kOk ends the download with it.
    using Progress = std::function<int(int64_t done, int64_t total)>;

    FileDownload(StorageService& service, std::string serverPath, CString localPath)
        : m_service(service), m_serverPath(std::move(serverPath)), m_localPath(std::move(localPath)) {}

    // The folder of the local path is made if it is missing. With `replace` an existing file is replaced once
    // all is there; without it kNameTaken.
    ServiceResult Run(bool replace, const Progress& progress);

private:
    ServiceResult WriteContent(const FileContent& content, const Progress& progress);
    ServiceResult WriteChunk(const Chunk& chunk, uint64_t offset);
    ServiceResult Finish(const FileContent& content, bool replace);
    ServiceResult LocalFailure() const;

    StorageService& m_service;
    const std::string m_serverPath;
    const CString m_localPath;
    CString m_temporaryPath;
    std::unique_ptr<platform::FileHandle> m_file;
};

}  // namespace rampart
