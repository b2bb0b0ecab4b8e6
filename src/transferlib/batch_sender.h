// Small files that go to the service together: read at once, named and compressed beside, sent in one commit.
#pragma once

#include <atomic>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "framework/waitable.h"
#include "interfaces/progresslib.h"
#include "storage/storage_service.h"
#include "transferlib/service_connection.h"
#include "transferlib/transfer.h"
#include "transferlib/work_crew.h"

namespace rampart {

// One file of a batch, in memory.
struct BatchFile {
    CString localPath;
    CString origin;  // of which it is a copy; empty for none
    ProgressCallBack* callback = nullptr;
    FileCommit commit;
    std::string content;
    std::string buffer;
    Chunk chunk;
    Waitable encoded{true, false};
    std::exception_ptr failure;  // of the encoding; read once that is signalled
    bool told = false;
};

// A closed or growing set of files. The owner's lock guards it while it grows; only one thread sends it.
struct Batch {
    std::vector<std::shared_ptr<BatchFile>> files;
    size_t bytes = 0;
};

// Names and compresses the content.
void EncodeBatchFile(BatchFile& file);

// Sends a batch in one commit. If one of its files is at fault the others still go, one by one.
class BatchSender {
public:
    BatchSender(ServiceConnection& connection, WorkCrew& crew, const std::atomic<bool>& cancelled)
        : m_connection(connection), m_crew(crew), m_cancelled(cancelled), m_transfer(nullptr, &cancelled) {}

    ServiceResult Send(Batch& batch);

private:
    ServiceResult SendWithRetries(Batch& batch);
    ServiceResult PutContent(Batch& batch, bool sendAll);
    ServiceResult Commit(std::span<const std::shared_ptr<BatchFile>> files);
    ServiceResult CommitOneByOne(Batch& batch);
    ServiceResult Tell(BatchFile& file);
    bool WaitToRetry(const BatchFile& file);

    ServiceConnection& m_connection;
    WorkCrew& m_crew;
    const std::atomic<bool>& m_cancelled;
    Transfer m_transfer;
};

}  // namespace rampart
