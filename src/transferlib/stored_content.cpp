#include "transferlib/stored_content.h"

#include "transferlib/path_info.h"
#include "transferlib/upload_source.h"

namespace rampart {

ServiceResult CompareStoredContent(StorageService& service, const std::string& serverPath,
                                   const CString& localPath, const std::function<bool()>& goOn, bool& same) {
    same = false;
    FileContent stored;
    ServiceResult result = service.OpenFile(serverPath, stored);
    UploadSource source(localPath);
    if (!result.Ok() || (stored.record.flags & kRecordEncrypted) != 0 || source.Open() != kOk ||
        source.Size() != stored.record.size || source.Kind() != KindOfRecord(stored.record.flags)) {
        return result;
    }
    std::string piece;
    uint64_t offset = 0;
    for (const ChunkReference& chunk : stored.chunks) {
        piece.resize(chunk.size);
        size_t read = 0;
        if ((goOn && !goOn()) || source.Read(offset, piece.data(), piece.size(), read) != kOk ||
            read != piece.size() || ComputeDigest(piece) != chunk.digest) {
            return result;
        }
        offset += read;
    }
    same = source.CheckUnchanged() == kOk;
    return result;
}

}  // namespace rampart
