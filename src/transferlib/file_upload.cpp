#include "transferlib/file_upload.h"

#include <algorithm>

#include "interfaces/baselib.h"
#include "platform/clock.h"
#include "storage/chunker.h"
#include "storage/server_path.h"

namespace rampart {
namespace {

constexpr size_t kPieceBytes = 8u << 20;        // read, named and sent together
constexpr int64_t kShowPartEvery = 64ll << 20;  // so often a big file's progress is made durable

}  // namespace

namespace {

uint32_t FlagsOf(FileKind kind) {
    switch (kind) {
        case FileKind::kLink:
            return kRecordLink;
        case FileKind::kSpecial:
            return kRecordSpecial;
        default:
            return 0;
    }
}

}  // namespace

FileCommit MakeFileCommit(const std::string& folder, const UploadSource& source) {
    FileCommit commit;
    commit.folder = folder;
    commit.name = PathUtilities::GetFileName(source.Path()).ToUtf8();
    commit.size = source.Size();
    commit.modifiedTime = source.WriteTime();
    commit.createdTime = source.WriteTime();
    commit.flags = FlagsOf(source.Kind());
    source.ReadAttributes(commit.attributes, commit.changeTime);
    return commit;
}

ServiceResult CheckFileAllowed(ServiceConnection& connection, const std::string& name, int64_t size) {
    if (!IsStorableName(name)) {
        return {kNameNotStorable, "\"" + name + "\" cannot be a name in the storage"};
    }
    if (!connection.Service().Session().paid && size > connection.Limits().freeMaxFileBytes) {
        return ServiceResult::OfCode(kFileTooBig);
    }
    return {};
}

FileUpload::FileUpload(ServiceConnection& connection, CString localPath, CString origin, CString serverFolder,
                       ProgressCallBack* callback)
    : m_connection(connection),
      m_source(std::move(localPath), std::move(origin)),
      m_transfer(callback),
      m_serverFolder(std::move(serverFolder)) {}

ServiceResult FileUpload::Run() {
    ServiceResult result;
    for (int reads = 0; reads < kMostSourceReads;) {
        result = SendOnce();
        if (result.code == kContentMissing && !m_sendAll) {
            m_sendAll = true;
            continue;
        }
        if (result.code != kSourceChanged) {
            break;
        }
        ++reads;
        m_takesAsItIs = reads == kMostSourceReads - 1;
    }
    return result;
}

ServiceResult FileUpload::SendOnce() {
    if (const int code = m_source.Open()) {
        return {code, m_source.Message()};
    }
    m_commit = MakeFileCommit(m_connection.Mirror().OwnFolderPath(m_serverFolder), m_source);
    if (ServiceResult allowed = CheckFileAllowed(m_connection, m_commit.name, m_commit.size); !allowed.Ok()) {
        return allowed;
    }
    if (ServiceResult sent = SendContent(); !sent.Ok()) {
        return sent;
    }
    const bool isAtRest = m_source.CheckUnchanged() == kOk && m_sent == m_commit.size;
    if (!isAtRest && !m_takesAsItIs) {
        return {kSourceChanged, m_source.Name() + ": " + ServiceCodeText(kSourceChanged)};
    }
    if (!isAtRest) {
        m_commit.size = m_sent;
        m_commit.changeTime = 0;  // that of no content which the file ever had
    }
    ServiceResult committed = m_connection.CommitFiles({&m_commit, 1});
    if (!isAtRest && committed.Ok()) {
        NoteSkippedEntry({m_source.Path(), DictUtil::GetValue(_T("StoredWhileWritten"), CString()), false});
    }
    return committed;
}

ServiceResult FileUpload::SendContent() {
    const std::unique_ptr<Chunker> chunker = MakeFixedChunker();
    std::string buffer(std::min<size_t>(std::max(kPieceBytes, chunker->LongestChunk()),
                                        static_cast<size_t>(m_source.Size()) + 1),
                       '\0');
    size_t held = 0;  // bytes at the front of the buffer
    uint64_t offset = 0;
    m_sent = 0;
    if (ServiceResult told = TellProgress(); !told.Ok()) {
        return told;
    }
    for (bool end = false; !end;) {
        size_t wanted = buffer.size() - held;
        if (m_takesAsItIs) {
            wanted = std::min(wanted, static_cast<size_t>(m_source.Size()) - static_cast<size_t>(offset));
        }
        size_t read = 0;
        if (const int code = m_source.Read(offset, buffer.data() + held, wanted, read)) {
            return {code, m_source.Message()};
        }
        offset += read;
        held += read;
        end = read < wanted || (m_takesAsItIs && offset == static_cast<uint64_t>(m_source.Size()));
        if (static_cast<int64_t>(offset) > m_source.Size()) {
            break;  // it grows, and is read again or given up
        }
        size_t used = 0;
        if (ServiceResult sent = SendPieces(*chunker, {buffer.data(), held}, end, used); !sent.Ok()) {
            return sent;
        }
        held -= used;
        std::memmove(buffer.data(), buffer.data() + used, held);
    }
    return {};
}

ServiceResult FileUpload::SendPieces(const Chunker& chunker, std::string_view content, bool end,
                                     size_t& used) {
    std::vector<Piece> pieces;
    for (size_t cut; (cut = chunker.NextCut(content.substr(used), end)) != 0; used += cut) {
        pieces.emplace_back().content = content.substr(used, cut);
    }
    if (pieces.empty()) {
        return {};
    }
    m_crew.ForEach(pieces.size(), [&](size_t i) { pieces[i].digest = ComputeDigest(pieces[i].content); });
    if (ServiceResult put = PutPieces(pieces); !put.Ok()) {
        return put;
    }
    for (const Piece& piece : pieces) {
        m_commit.chunks.push_back({piece.digest, static_cast<uint32_t>(piece.content.size())});
    }
    m_sent += static_cast<int64_t>(used);
    if (ServiceResult shown = ShowPart(); !shown.Ok()) {
        return shown;
    }
    return TellProgress();
}

ServiceResult FileUpload::PutPieces(std::span<Piece> pieces) {
    std::vector<uint8_t> known(pieces.size(), 0);
    if (!m_sendAll) {
        std::vector<Digest> digests;
        for (const Piece& piece : pieces) {
            digests.push_back(piece.digest);
        }
        if (ServiceResult asked = m_connection.Service().HasChunks(digests, known); !asked.Ok()) {
            return asked;
        }
    }
    m_crew.ForEach(pieces.size(), [&](size_t i) {
        if (known[i] == 0) {
            pieces[i].chunk = CompressChunk(pieces[i].digest, pieces[i].content, pieces[i].buffer);
        }
    });
    std::vector<Chunk> chunks;
    for (size_t i = 0; i < pieces.size(); ++i) {
        if (known[i] == 0) {
            chunks.push_back(pieces[i].chunk);
        }
    }
    return chunks.empty() ? ServiceResult() : m_connection.PutChunks(chunks);
}

ServiceResult FileUpload::TellProgress() {
    const int64_t more = std::max<int64_t>(0, m_sent - m_told);
    m_told += more;
    return ServiceResult::OfCode(m_transfer.Advance(m_source.Path(), more, m_sent, m_source.Size()));
}

ServiceResult FileUpload::ShowPart() {
    if (m_sent - m_shownPart < kShowPartEvery || m_sent >= m_source.Size()) {
        return {};
    }
    m_shownPart = m_sent;
    ServiceResult result =
        m_connection.RecordProgress(m_commit.folder, m_commit.name, m_sent, m_commit.modifiedTime);
    if (result.Ok() && result.sequence != 0) {
        MirrorChange put;
        put.folder = m_commit.folder;
        put.name = m_commit.name + kPartialSuffix;
        put.record.name = put.name;
        put.record.flags = kRecordPartial;
        put.record.size = m_sent;
        put.record.modifiedTime = put.record.createdTime = m_commit.modifiedTime;
        put.record.storedTime = platform::CurrentClock().NowNanoseconds();
        m_connection.Mirror().Apply(result.sequence, {&put, 1});
    }
    return result;
}

}  // namespace rampart
