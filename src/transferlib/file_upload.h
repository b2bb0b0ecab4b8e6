// One file on its way to the service, piece by piece.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "storage/chunker.h"
#include "storage/storage_service.h"
#include "transferlib/service_connection.h"
#include "transferlib/transfer.h"
#include "transferlib/upload_source.h"
#include "transferlib/work_crew.h"

namespace rampart {

// What of a file's record is known before it is sent. `folder` is its own path in UTF-8.
FileCommit MakeFileCommit(const std::string& folder, const UploadSource& source);

// Why this account may not store a file of that name and size; kOk if it may.
ServiceResult CheckFileAllowed(ServiceConnection& connection, const std::string& name, int64_t size);

// Reads, cuts, names and sends a file. A file that changes under the read is read again a few times, and then
// stored as it was found, with a note.
class FileUpload {
public:
    FileUpload(ServiceConnection& connection, CString localPath, CString origin, CString serverFolder,
               ProgressCallBack* callback);

    ServiceResult Run();

private:
    struct Piece {
        std::string_view content;
        Digest digest;
        std::string buffer;
        Chunk chunk;
    };

    ServiceResult SendOnce();
    ServiceResult SendContent();
    ServiceResult SendPieces(const Chunker& chunker, std::string_view content, bool end, size_t& used);
    ServiceResult PutPieces(std::span<Piece> pieces);
    ServiceResult TellProgress();
    ServiceResult ShowPart();

    ServiceConnection& m_connection;
    UploadSource m_source;
    Transfer m_transfer;
    WorkCrew m_crew;
    const CString m_serverFolder;

    FileCommit m_commit;
    bool m_sendAll = false;      // also what the service said it has
    bool m_takesAsItIs = false;  // a file that never comes to rest: as much as there was at first
    int64_t m_sent = 0;          // bytes of this reading
    int64_t m_told = 0;          // bytes told to the callback, over all readings
    int64_t m_shownPart = 0;
};

}  // namespace rampart
