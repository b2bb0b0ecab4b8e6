#include "eventlog/log_file.h"

#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "paths/path_manage.h"
#include "platform/clock.h"

namespace rampart {

namespace {

constexpr UINT kReadFlags = CFile::modeRead | CFile::shareDenyNone;
constexpr TextView kReadLine = _T("Error:ReadEventLog");
constexpr int kLockTries = 400;
constexpr DWORD kLockStepMs = 5;

// Threads of this process queue here, so that only one of them competes with other processes.
CCriticalSection& ProcessLock() {
    static CCriticalSection lock;
    return lock;
}

int& ProcessLockDepth() {
    static int depth = 0;  // under ProcessLock
    return depth;
}

void ReadHeader(CArchive& archive, LogContent& content) {
    try {
        archive >> content.header.marker;
    } catch (CArchiveException const&) {
        return;  // no file has fewer than 8 bytes but an empty one
    }
    if (content.header.marker == LogHeader::kMarker) {
        content.form = LogForm::kCurrent;
        archive >> content.header.count >> content.header.version;
    } else if (content.header.marker != 0) {
        content.form = LogForm::kOld;
        content.header.count = content.header.marker;
    }
}

// False if the file cannot be opened. What ends too early ends the reading.
template <class Reader>
bool ReadFile(CString const& path, Reader&& reader) {
    KXFile file;
    if (!file.Open(path, kReadFlags)) {
        return false;
    }
    CArchive archive(&file, CArchive::load);
    try {
        reader(archive);
    } catch (CArchiveException const&) {
        ReportCurrentException(kReadLine);
    }
    return true;
}

void StoreHeader(CArchive& archive, LogHeader const& header) {
    archive << header.marker << header.count << header.version;
}

void StoreRecord(CArchive& archive, ErrorInfo const& record) {
    archive << record.m_strTaskName << record.m_nTaskID << record.m_strTime << record.m_strMessage
            << static_cast<int32_t>(record.m_nType);
}

// What `writer` stores, written at once.
template <class Writer>
void WriteBlock(CFile& file, Writer&& writer) {
    CMemFile memory;
    CArchive archive(&memory, CArchive::store);
    writer(archive);
    archive.Close();
    std::vector<BYTE> bytes(static_cast<size_t>(memory.GetLength()));
    memory.SeekToBegin();
    memory.Read(bytes.data(), static_cast<UINT>(bytes.size()));
    file.Write(bytes.data(), static_cast<UINT>(bytes.size()));
}

}  // namespace

CString EventLogPath() {
    CString folder;
    if (!CPathManage::GetOrCreateInAppDataPath(CString(), folder)) {
        return CString();
    }
    folder = PathUtilities::Append(folder, ApiUtil::GetCustomerID());
    if (!KXFolder::RCreateDirectory(folder)) {
        return CString();
    }
    return PathUtilities::Append(folder, _T("errlog.txt"));
}

bool ReadRecords(CArchive& archive, __int64 count, LogForm form, std::vector<ErrorInfo>& records,
                 TextView line) {
    try {
        for (__int64 index = 0; index < count; ++index) {
            ErrorInfo record;
            archive >> record.m_strTaskName >> record.m_nTaskID >> record.m_strTime >> record.m_strMessage;
            int32_t type = EVENT_ERROR;
            if (form == LogForm::kCurrent) {
                archive >> type;
            }
            record.m_nType = static_cast<EventTypes>(type);
            records.push_back(std::move(record));
        }
    } catch (CArchiveException const&) {
        ReportCurrentException(line);
        return false;
    }
    return true;
}

void ReadLogContent(CArchive& archive, LogContent& content) {
    ReadHeader(archive, content);
    ReadRecords(archive, content.header.count, content.form, content.records, kReadLine);
}

bool ReadLog(CString const& path, LogContent& content) {
    return ReadFile(path, [&](CArchive& archive) { ReadLogContent(archive, content); });
}

bool ReadLogHeader(CString const& path, LogContent& content) {
    return ReadFile(path, [&](CArchive& archive) { ReadHeader(archive, content); });
}

bool ReadLogBytes(CString const& path, std::vector<BYTE>& bytes) {
    KXFile file;
    if (!file.Open(path, kReadFlags)) {
        return false;
    }
    bytes.resize(static_cast<size_t>(file.GetLength()));
    bytes.resize(file.Read(bytes.data(), static_cast<UINT>(bytes.size())));
    return true;
}

void AppendRecord(KXFile& file, LogHeader header, ErrorInfo const& record) {
    // The count before the record: if the process ends between the two, readers come to the end of the file
    // early and have read every record. A count too low would hide the newest one for good.
    const ULONGLONG oldLength = file.GetLength();
    const ULONGLONG headerSize = sizeof(header.marker) + sizeof(header.count) + sizeof(header.version);
    const auto writeHeader = [&](__int64 count) {
        header.count = count;
        file.SeekToBegin();
        WriteBlock(file, [&](CArchive& archive) { StoreHeader(archive, header); });
    };
    const __int64 oldCount = header.count;
    try {
        writeHeader(oldCount + 1);
        file.SeekToEnd();
        WriteBlock(file, [&](CArchive& archive) { StoreRecord(archive, record); });
    } catch (CException const&) {
        Guarded(_T("Error:RecordError"), [&] {
            file.SetLength(oldLength);
            if (oldLength >= headerSize) {
                writeHeader(oldCount);
            }
        });
        throw;
    }
}

bool WriteLog(CString const& path, LogHeader header, std::vector<ErrorInfo> const& records) {
    const CString newPath = path + _T(".new");
    {
        KXFile file;
        if (!file.Open(newPath, CFile::modeCreate | CFile::modeWrite)) {
            return false;
        }
        CArchive archive(&file, CArchive::store);
        StoreHeader(archive, header);
        for (ErrorInfo const& record : records) {
            StoreRecord(archive, record);
        }
        archive.Close();
        file.Flush();
    }
    return platform::RenamePath(newPath, path, true);
}

EventLogLock::EventLogLock(CString const& path) {
    ProcessLock().Lock();
    if (ProcessLockDepth()++ > 0) {
        return;
    }
    m_file = platform::FileHandle::Open(path + _T(".lock"), platform::kOpenWrite | platform::kOpenCreate);
    for (int tries = 0; m_file && !m_file->TryLock(true) && tries < kLockTries; ++tries) {
        platform::SleepMilliseconds(kLockStepMs);
    }
}

EventLogLock::~EventLogLock() {
    m_file.reset();
    --ProcessLockDepth();
    ProcessLock().Unlock();
}

}  // namespace rampart
