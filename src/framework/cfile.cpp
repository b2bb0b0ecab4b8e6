#include "framework/cfile.h"

#include <limits>
#include <utility>

#include "framework/guarded.h"
#include "platform/error.h"

namespace platform = rampart::platform;

namespace {

constexpr UINT kAccessBits = 0x3;
constexpr UINT kShareBits = 0x70;

enum class Sharing { kAskNobody, kShared, kExclusive };

Sharing SharingOf(UINT flags) {
    switch (flags & kShareBits) {
        case CFile::shareDenyNone:
            return Sharing::kAskNobody;
        case CFile::shareDenyWrite:
            return (flags & kAccessBits) == CFile::modeRead ? Sharing::kShared : Sharing::kExclusive;
        default:
            return Sharing::kExclusive;
    }
}

uint32_t PlatformMode(UINT flags) {
    const UINT access = flags & kAccessBits;
    uint32_t mode = platform::kOpenFollowLink;
    if (access != CFile::modeWrite) {
        mode |= platform::kOpenRead;
    }
    if (access != CFile::modeRead) {
        mode |= platform::kOpenWrite;
    }
    if ((flags & CFile::modeCreate) != 0) {
        mode |= platform::kOpenCreate;
    }
    return mode;
}

}  // namespace

CFile::CFile(LPCTSTR path, UINT flags) {
    CFileException error;
    if (!CFile::Open(path, flags, &error)) {
        throw error;
    }
}

CFile::~CFile() = default;

// The system's error number, 0 on success.
uint32_t CFile::TryOpen(LPCTSTR path, UINT flags) {
    const rampart::TextView name = path ? rampart::TextView(path) : rampart::TextView();
    if (name.empty()) {
        return platform::kPathNotFound;
    }
    std::unique_ptr<platform::FileHandle> handle = platform::FileHandle::Open(name, PlatformMode(flags));
    if (!handle) {
        return platform::LastError();
    }
    const Sharing sharing = SharingOf(flags);
    // A file system that knows no locks refuses nobody.
    if (sharing != Sharing::kAskNobody && !handle->TryLock(sharing == Sharing::kExclusive) &&
        platform::LastError() == platform::kSharingViolation) {
        return platform::kSharingViolation;
    }
    // Emptied only now, so that a file of somebody else's is not touched.
    const bool empties = (flags & modeCreate) != 0 && (flags & modeNoTruncate) == 0;
    if (empties && (flags & kAccessBits) != modeRead && !handle->SetSize(0)) {
        return platform::LastError();
    }
    m_handle = std::move(handle);
    m_position = 0;
    m_path = path;
    return platform::kNoError;
}

BOOL CFile::Open(LPCTSTR path, UINT flags, CFileException* error) {
    try {
        const CString keptPath(path);  // it may be this file's own
        Abort();
        const uint32_t number = TryOpen(keptPath, flags);
        if (number == platform::kNoError) {
            return TRUE;
        }
        if (error) {
            const LONG systemError = static_cast<LONG>(number);
            *error = CFileException(CFileException::OsErrorToException(systemError), systemError, keptPath);
        }
        platform::SetLastError(number);
    } catch (...) {
        rampart::ReportCurrentException(_T("Error: CFile::Open"));
        if (error) {
            error->m_cause = CFileException::genericException;
        }
    }
    return FALSE;
}

platform::FileHandle& CFile::OpenHandle() const {
    if (!m_handle) {
        AfxThrowFileException(CFileException::invalidFile, platform::kInvalidHandle, m_path);
    }
    return *m_handle;
}

void CFile::ThrowLastError() const {
    uint32_t number = platform::LastError();
    if (number == platform::kInvalidHandle) {
        number =
            platform::kAccessDenied;  // the handle is good, but it was opened for the other direction only
    }
    const LONG systemError = static_cast<LONG>(number);
    AfxThrowFileException(CFileException::OsErrorToException(systemError), systemError, m_path);
}

UINT CFile::Read(void* buffer, UINT count) {
    const int64_t moved = OpenHandle().ReadAt(m_position, buffer, count);
    if (moved < 0) {
        ThrowLastError();
    }
    m_position += static_cast<ULONGLONG>(moved);
    return static_cast<UINT>(moved);
}

void CFile::Write(const void* buffer, UINT count) {
    const int64_t moved = OpenHandle().WriteAt(m_position, buffer, count);
    if (moved < 0) {
        ThrowLastError();
    }
    m_position += static_cast<ULONGLONG>(moved);
    if (moved != static_cast<int64_t>(count)) {
        AfxThrowFileException(CFileException::diskFull, platform::kDiskFull, m_path);
    }
}

ULONGLONG CFile::SeekTarget(LONGLONG offset, UINT from) const {
    const ULONGLONG base = from == current ? GetPosition() : from == end ? GetLength() : 0;
    // Of two numbers below 2^63 the sum has its top bit set exactly when it is out of range.
    const ULONGLONG target = base + static_cast<ULONGLONG>(offset);
    if (from > end || target > static_cast<ULONGLONG>(std::numeric_limits<LONGLONG>::max())) {
        AfxThrowFileException(CFileException::badSeek, platform::kInvalidParameter, m_path);
    }
    return target;
}

ULONGLONG CFile::Seek(LONGLONG offset, UINT from) {
    OpenHandle();
    return m_position = SeekTarget(offset, from);
}

ULONGLONG CFile::GetPosition() const {
    OpenHandle();
    return m_position;
}

ULONGLONG CFile::GetLength() const {
    uint64_t size = 0;
    if (!OpenHandle().GetSize(size)) {
        ThrowLastError();
    }
    return size;
}

void CFile::SetLength(ULONGLONG length) {
    if (!OpenHandle().SetSize(length)) {
        ThrowLastError();
    }
    m_position = length;
}

void CFile::Flush() {
    if (!OpenHandle().Sync()) {
        ThrowLastError();
    }
}

void CFile::Close() {
    Abort();
}

void CFile::Abort() {
    m_handle.reset();
    m_position = 0;
}

CString CFile::GetFileName() const {
    return m_path.Mid(m_path.ReverseFind('\\') + 1);
}
