// The file of the debug log: appends, keeps a few older files, and never fails to its caller.
#pragma once

#include <spdlog/sinks/base_sink.h>

#include <memory>
#include <string>

#include "framework/sync.h"
#include "platform/file_system.h"

namespace rampart {

struct LogFileLimits {
    uint64_t fileSize = 10 << 20;
    int olderFiles = 2;               // beside the present one
    uint32_t piecesPerSecond = 1000;  // lines come in larger pieces when there are more
    size_t pieceSize = 64 << 10;      // bytes held back at most
    uint32_t retryAfterMs = 5000;     // before a file that could not be opened or written is tried again
};

// Lines arrive formatted. A file belongs to one process as long as it is open: the second process takes
// "name-2.log", and so on. What cannot be written is dropped, and a line says how many lines are missing once
// writing works again.
class RotatingLogFile : public spdlog::sinks::base_sink<Mutex> {
public:
    // `folder` is an engine path, made when the first line is written; `name` is without extension.
    RotatingLogFile(Text folder, Text name, LogFileLimits limits = {});
    ~RotatingLogFile() override;

    // Of the file in use; of the first choice while there is none.
    Text Path();

protected:
    void sink_it_(const spdlog::details::log_msg& message) override;
    void flush_() override;

private:
    bool OpenIfNeeded();
    bool OpenOwn(const Text& path);
    Text PathOf(int number, int age) const;
    void Rotate();
    bool MayWriteNow();
    bool WritePending();
    void Drop();

    const Text m_folder;
    const Text m_name;
    const LogFileLimits m_limits;
    // All of these under the lock of the base.
    std::unique_ptr<platform::FileHandle> m_file;
    uint64_t m_size = 0;
    int m_number = 1;  // of the file among those of processes with this name
    std::string m_pending;
    uint64_t m_pendingLines = 0;
    uint64_t m_lost = 0;
    uint32_t m_failedAt = 0;  // tick
    bool m_failed = false;
    uint32_t m_credit = 0;  // pieces that may still be written in this second
    uint32_t m_creditAt = 0;
};

}  // namespace rampart
