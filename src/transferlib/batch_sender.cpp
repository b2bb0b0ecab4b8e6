#include "transferlib/batch_sender.h"

#include <algorithm>
#include <unordered_set>

#include "framework/safe_point.h"
#include "transferlib/file_upload.h"

namespace rampart {
namespace {

constexpr size_t kPutBytes = 2u << 20;  // sent between two looks at a cancel
// A connection that fails is tried again before the files are given up.
constexpr int kMostRetries = 3;
constexpr DWORD kRetryStepMs = 50;
constexpr int kRetrySteps = 20;

// Whether the code can be the fault of one file among many.
bool IsFaultOfOneFile(int code) {
    return code == kInvalidRequest || code == kNotFound || code == kNameTaken || code == kContentMissing;
}

}  // namespace

void EncodeBatchFile(BatchFile& file) {
    try {
        if (!file.content.empty()) {
            file.chunk = EncodeChunk(file.content, file.buffer);
            file.commit.chunks = {{file.chunk.digest, file.chunk.size}};
        }
    } catch (...) {
        file.failure = std::current_exception();
    }
    file.encoded.Signal();
}

ServiceResult BatchSender::Send(Batch& batch) {
    if (batch.files.empty()) {
        return {};
    }
    for (const auto& file : batch.files) {
        while (!file->encoded.Wait(0)) {
            if (!m_crew.HelpOnce()) {
                file->encoded.Wait(kWaitForever);
            }
        }
    }
    for (const auto& file : batch.files) {
        if (file->failure) {
            std::rethrow_exception(file->failure);
        }
    }
    ServiceResult result = SendWithRetries(batch);
    if (IsFaultOfOneFile(result.code) && batch.files.size() > 1) {
        result = CommitOneByOne(batch);
    }
    return result;
}

ServiceResult BatchSender::SendWithRetries(Batch& batch) {
    bool sendAll = false;
    for (int retries = 0;;) {
        ServiceResult result = PutContent(batch, sendAll);
        if (result.Ok()) {
            result = Commit(batch.files);
        }
        if (result.code == kContentMissing && !sendAll) {
            sendAll = true;
            continue;
        }
        if (result.code != kConnectionFailed || ++retries > kMostRetries ||
            !WaitToRetry(*batch.files.front())) {
            return result;
        }
    }
}

bool BatchSender::WaitToRetry(const BatchFile& file) {
    for (int step = 0; step < kRetrySteps; ++step) {
        if (m_transfer.Advance(file.callback, file.localPath, 0, file.commit.size, file.commit.size) != kOk) {
            return false;
        }
        Sleep(kRetryStepMs);
    }
    return true;
}

ServiceResult BatchSender::Tell(BatchFile& file) {
    const int64_t bytes = file.told ? 0 : file.commit.size;
    file.told = true;
    return ServiceResult::OfCode(
        m_transfer.Advance(file.callback, file.localPath, bytes, file.commit.size, file.commit.size));
}

ServiceResult BatchSender::PutContent(Batch& batch, bool sendAll) {
    std::vector<Digest> digests;
    for (const auto& file : batch.files) {
        digests.push_back(file->chunk.digest);
    }
    std::vector<uint8_t> known(digests.size(), 0);
    if (!sendAll) {
        if (ServiceResult asked = m_connection.Service().HasChunks(digests, known); !asked.Ok()) {
            return asked;
        }
    }
    std::vector<Chunk> chunks;
    size_t bytes = 0;
    size_t firstUntold = 0;
    std::unordered_set<Digest, DigestHash> taken;
    for (size_t i = 0; i < batch.files.size(); ++i) {
        const BatchFile& file = *batch.files[i];
        if (known[i] == 0 && !file.content.empty() && taken.insert(file.chunk.digest).second) {
            chunks.push_back(file.chunk);
            bytes += file.chunk.stored.size();
        }
        if (bytes < kPutBytes && i + 1 < batch.files.size()) {
            continue;
        }
        if (!chunks.empty()) {
            if (ServiceResult put = m_connection.PutChunks(chunks); !put.Ok()) {
                return put;
            }
        }
        for (; firstUntold <= i; ++firstUntold) {
            if (ServiceResult told = Tell(*batch.files[firstUntold]); !told.Ok()) {
                return told;
            }
        }
        chunks.clear();
        bytes = 0;
    }
    return {};
}

ServiceResult BatchSender::Commit(std::span<const std::shared_ptr<BatchFile>> files) {
    std::vector<FileCommit> commits;
    commits.reserve(files.size());
    for (const auto& file : files) {
        commits.push_back(file->commit);
    }
    return m_connection.CommitFiles(commits);
}

ServiceResult BatchSender::CommitOneByOne(Batch& batch) {
    ServiceResult first;
    for (const auto& file : batch.files) {
        ServiceResult result = m_cancelled ? ServiceResult::OfCode(kCancelled) : Commit({&file, 1});
        if (result.Ok()) {
            continue;
        }
        if (first.Ok()) {
            first = result;
        }
        if (!IsFaultOfOneFile(result.code)) {
            return result;
        }
    }
    return first;
}

}  // namespace rampart
