// The event log's file: its header, its records, its old form, and the lock that keeps processes apart.
#pragma once

#include <memory>
#include <vector>

#include "eventlog/error_log.h"
#include "framework/framework.h"
#include "platform/file_system.h"

namespace rampart {

enum class LogForm {
    kEmpty,    // no file, no bytes, or a first value of 0
    kCurrent,  // a header and records with their type
    kOld,      // an 8-byte count and records without a type
};

struct LogHeader {
    static constexpr __int64 kMarker = -900;
    __int64 marker = kMarker;
    __int64 count = 0;
    float version = 4.5F;
};

struct LogContent {
    LogForm form = LogForm::kEmpty;
    LogHeader header;
    std::vector<ErrorInfo> records;  // in file order; those of an old file are errors
};

// Path of the customer's log, whose folder is made; empty if that fails.
CString EventLogPath();

// Records of an archive that stands behind the count, up to `count` or to the end of the stream; true if all
// were there, otherwise the end is logged as `line`.
bool ReadRecords(CArchive& archive, __int64 count, LogForm form, std::vector<ErrorInfo>& records,
                 TextView line);

// All that can be read of a log's bytes. A header that ends too early throws.
void ReadLogContent(CArchive& archive, LogContent& content);
// All that can be read of the file. False if there is no file or it cannot be opened. Failures of the file
// pass through as exceptions.
bool ReadLog(CString const& path, LogContent& content);
// Form, count and version alone.
bool ReadLogHeader(CString const& path, LogContent& content);
// The bytes as they are; false if the file cannot be opened.
bool ReadLogBytes(CString const& path, std::vector<BYTE>& bytes);

// Adds a record at the end and counts it. A record that cannot be written leaves the file as it was, and the
// exception passes through.
void AppendRecord(KXFile& file, LogHeader header, ErrorInfo const& record);
// Replaces the whole file, at once. False if the new file cannot be made.
bool WriteLog(CString const& path, LogHeader header, std::vector<ErrorInfo> const& records);

// Keeps other processes and threads from the log while it lives, if the lock can be had within two seconds;
// otherwise the work goes on without it. The same thread may take it again.
class EventLogLock {
public:
    explicit EventLogLock(CString const& path);
    ~EventLogLock();
    EventLogLock(EventLogLock const&) = delete;
    EventLogLock& operator=(EventLogLock const&) = delete;

private:
    std::unique_ptr<platform::FileHandle> m_file;
};

}  // namespace rampart
