#include "transferlib/file_download.h"

#include <algorithm>
#include <span>

#include "interfaces/baselib.h"
#include "platform/error.h"
#include "platform/path_mapping.h"
#include "platform/process.h"

namespace rampart {
namespace {

constexpr size_t kChunksAtOnce = 16;
constexpr size_t kNameBytes = 8;

CString TemporaryName() {
    constexpr TCHAR kDigits[] = _T("0123456789abcdef");
    CString name = _T(".rampart-");
    for (const char c : platform::RandomBytes(kNameBytes)) {
        name += kDigits[static_cast<unsigned char>(c) >> 4];
        name += kDigits[c & 15];
    }
    return name + _T(".tmp");
}

bool IsDiskFull(uint32_t error) {
    return error == platform::kDiskFull || error == platform::kHandleDiskFull;
}

}  // namespace

ServiceResult FileDownload::LocalFailure() const {
    const uint32_t error = platform::LastError();
    return {IsDiskFull(error) ? kLocalSpace : kFailed, platform::ToUtf8(platform::ShownPath(m_localPath)) +
                                                           ": " +
                                                           platform::ToUtf8(platform::ErrorText(error))};
}

ServiceResult FileDownload::Run(bool replace, const Progress& progress) {
    FileContent content;
    if (ServiceResult opened = m_service.OpenFile(m_serverPath, content); !opened.Ok()) {
        return opened;
    }
    if ((content.record.flags & kRecordEncrypted) != 0) {
        return {kInvalidRequest, m_serverPath + " is encrypted, and its key is not at hand"};
    }
    platform::FileStatus status;
    m_replaces = platform::QueryStatus(m_localPath, status);
    if (m_replaces && (!replace || status.IsDirectory())) {
        return {kNameTaken, platform::ToUtf8(platform::ShownPath(m_localPath)) + " exists already"};
    }
    const CString folder = PathUtilities::GetParentFolder(m_localPath);
    if (!platform::CreateFolders(folder)) {
        return LocalFailure();
    }
    m_temporaryPath = PathUtilities::Append(folder, TemporaryName());
    m_file =
        platform::FileHandle::Open(m_temporaryPath, platform::kOpenRead | platform::kOpenWrite |
                                                        platform::kOpenCreate | platform::kOpenExclusive);
    if (!m_file) {
        return LocalFailure();
    }
    ServiceResult result = WriteContent(content, progress);
    if (result.Ok()) {
        result = Finish(content, replace);
    }
    if (!result.Ok()) {
        m_file.reset();
        platform::RemoveFile(m_temporaryPath);
    }
    return result;
}

ServiceResult FileDownload::WriteContent(const FileContent& content, const Progress& progress) {
    const int64_t total = content.record.size;
    int64_t done = 0;
    if (const int code = progress(0, total)) {
        return ServiceResult::OfCode(code);
    }
    std::vector<Digest> digests;
    for (size_t first = 0; first < content.chunks.size(); first += digests.size()) {
        digests.clear();
        for (size_t i = first; i < content.chunks.size() && digests.size() < kChunksAtOnce; ++i) {
            digests.push_back(content.chunks[i].digest);
        }
        size_t next = first;
        ServiceResult failure;
        const ServiceResult read = m_service.ReadChunks(digests, [&](const Chunk& chunk) {
            const ChunkReference& expected = content.chunks[next++];
            if (chunk.digest != expected.digest || chunk.size != expected.size) {
                failure = {kContentDamaged, m_serverPath + ": another piece came than was asked for"};
                return false;
            }
            failure = WriteChunk(chunk, static_cast<uint64_t>(done));
            done += chunk.size;
            if (failure.Ok()) {
                if (const int code = progress(done, total)) {
                    failure = ServiceResult::OfCode(code);
                }
            }
            return failure.Ok();
        });
        if (!failure.Ok()) {
            return failure;
        }
        if (!read.Ok()) {
            return read;
        }
    }
    if (done != total) {
        return {kContentDamaged, m_serverPath + ": its pieces do not make up its size"};
    }
    return {};
}

ServiceResult FileDownload::WriteChunk(const Chunk& chunk, uint64_t offset) {
    std::string content;
    if (!DecodeChunk(chunk, content)) {
        return {kContentDamaged, m_serverPath + ": a stored piece is damaged"};
    }
    if (m_file->WriteAt(offset, content.data(), content.size()) != static_cast<int64_t>(content.size())) {
        return LocalFailure();
    }
    return {};
}

ServiceResult FileDownload::Finish(const FileContent& content, bool replace) {
    const auto known = [](int64_t time) { return time == kNoTime ? -1 : time; };
    const int64_t written = known(content.record.modifiedTime);
    if (!m_file->SetTimes(known(content.record.createdTime), -1, written)) {
        return LocalFailure();
    }
    // What is replaced must not be lost to a crash; a new file that is has the vault's copy behind it.
    if (m_replaces && !m_file->Sync()) {
        return LocalFailure();
    }
    m_file.reset();
    if (!platform::RenamePath(m_temporaryPath, m_localPath, replace)) {
        if (platform::LastError() == platform::kAlreadyExists) {
            return {kNameTaken, platform::ToUtf8(platform::ShownPath(m_localPath)) + " exists already"};
        }
        return LocalFailure();
    }
    return {};
}

}  // namespace rampart
