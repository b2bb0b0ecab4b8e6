// The batch uploader's face: files are read when they are queued, and sent when their batch is full.
#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "transferlib/batch_sender.h"
#include "transferlib/file_upload.h"
#include "transferlib/upload_source.h"

using namespace rampart;

namespace {

constexpr size_t kMostBatchBytes = 8u << 20;
constexpr size_t kMostBatchFiles = 512;
// Files that a helper takes at once, since waking one costs as much as encoding a small file.
constexpr size_t kMostGroupBytes = 128u << 10;
constexpr size_t kMostGroupFiles = 16;

// Reads a file into memory. `isTooBig` if it is to go alone.
ServiceResult ReadBatchFile(ServiceConnection& connection, const CString& serverFolder, BatchFile& file,
                            bool& isTooBig) {
    const int64_t limit = std::min<int64_t>(connection.Limits().batchBytes, kMostBatchBytes);
    UploadSource source(ApiUtil::PathToFullPath(file.localPath), file.origin);
    if (const int code = ReadWholeSource(source, file.content, limit)) {
        return {code, source.Message()};
    }
    isTooBig = source.Size() >= limit;
    if (isTooBig) {
        return {};
    }
    file.commit = MakeFileCommit(connection.Mirror().OwnFolderPath(serverFolder), source);
    return CheckFileAllowed(connection, file.commit.name, file.commit.size);
}

}  // namespace

struct BatchMode::Impl {
    std::atomic<bool> cancelled{false};
    std::atomic<int> sending{0};

    std::mutex sendMutex;  // one send at a time

    std::mutex mutex;                    // guards what follows
    Batch open;                          // grows
    Batch sealed;                        // full, and waits to be sent
    Batch group;                         // the latest files of `open`, not given to the crew yet
    std::shared_ptr<BatchFile> dropped;  // one of those that a cancel dropped

    WorkCrew crew;  // ends before the files that its tasks use

    // False if the file opened the next batch.
    bool Queue(const std::shared_ptr<BatchFile>& file) {
        std::lock_guard lock(mutex);
        const size_t size = file->content.size();
        const bool fits = open.files.size() < kMostBatchFiles && open.bytes + size <= kMostBatchBytes;
        if (!fits) {
            GiveGroup();
            sealed = std::exchange(open, {});
        }
        for (Batch* batch : {&open, &group}) {
            batch->files.push_back(file);
            batch->bytes += size;
        }
        if (group.files.size() >= kMostGroupFiles || group.bytes >= kMostGroupBytes) {
            GiveGroup();
        }
        return fits;
    }

    // Under the lock.
    void GiveGroup() {
        if (!group.files.empty()) {
            crew.Give([files = std::exchange(group, {}).files] {
                for (const auto& file : files) {
                    EncodeBatchFile(*file);
                }
            });
        }
    }

    Batch Take(Batch& batch) {
        std::lock_guard lock(mutex);
        GiveGroup();
        return std::exchange(batch, {});
    }

    bool HasSealed() {
        std::lock_guard lock(mutex);
        return !sealed.files.empty();
    }

    void DropAll() {
        cancelled = true;
        std::lock_guard lock(mutex);
        for (Batch* batch : {&sealed, &open}) {
            if (!batch->files.empty()) {
                dropped = batch->files.front();
            }
            *batch = {};
        }
        group = {};
    }

    // Whether files were dropped, and by whose wish: the user's, or the run's own.
    int CodeOfDropped() {
        std::shared_ptr<BatchFile> file;
        {
            std::lock_guard lock(mutex);
            file = dropped;
        }
        if (!file) {
            return kOk;
        }
        const bool goesOn = file->callback != nullptr &&
                            file->callback->DoProgressEx(file->localPath, 0, 0,
                                                         static_cast<__int64>(file->content.size())) != 0;
        return goesOn ? kBatchAborted : kCancelled;
    }

    int Send(Batch batch) {
        if (batch.files.empty()) {
            return CodeOfDropped();
        }
        std::lock_guard lock(sendMutex);
        ++sending;
        const int code = WithService(_T("Error: BatchMode"), nullptr, [&](ServiceConnection& connection) {
            return cancelled ? ServiceResult(kCancelled, "")
                             : BatchSender(connection, crew, cancelled).Send(batch);
        });
        --sending;
        return code;
    }
};

BatchMode::BatchMode(int) : m_impl(std::make_unique<Impl>()) {}

BatchMode::~BatchMode() = default;

int BatchMode::BatchFileUpload(CString local, CString serverFolder, CString origin, CString,
                               ProgressCallBack* cb, int, int) {
    if (m_impl->cancelled) {
        return kCancelled;
    }
    auto file = std::make_shared<BatchFile>();
    file->localPath = local;
    file->origin = origin;
    file->callback = cb;
    bool isTooBig = false;
    const int code = WithService(_T("Error: BatchFileUpload"), nullptr, [&](ServiceConnection& connection) {
        return ReadBatchFile(connection, serverFolder, *file, isTooBig);
    });
    if (isTooBig || code != kOk) {
        return code;
    }
    if (m_impl->HasSealed()) {
        // The caller left the full batch where it is.
        if (const int sent = DoBatch(0, 0)) {
            return sent;
        }
    }
    return m_impl->Queue(file) ? kBatchQueued : kBatchFull;
}

int BatchMode::DoBatch(int, int) {
    return m_impl->Send(m_impl->Take(m_impl->sealed));
}

int BatchMode::LeaveMode(int) {
    const int code = DoBatch(0, 0);
    if (code == kCancelled || code == kConnectionFailed || code == kNoSpace || code == kBatchAborted) {
        m_impl->Take(m_impl->open);
        return code;
    }
    const int rest = m_impl->Send(m_impl->Take(m_impl->open));
    return code != kOk ? code : rest;
}

int BatchMode::IsBatchWorking() const {
    return m_impl->sending != 0 ? 1 : 0;
}

void BatchMode::CancelMe() {
    m_impl->DropAll();
}
