#include "platform/win32/copy_file.h"

#include "platform/copy_step.h"

// windows.h comes first, so that winioctl.h finds windows.h
#include <winioctl.h>

namespace rampart::platform {
namespace {

constexpr uint64_t kBufferSize = 1024 * 1024;

// One copy, from the open source to the removal of what a failure left behind.
class FileCopy {
public:
    FileCopy(std::wstring from, std::wstring to, const CopyProgress& progress, bool mustRest)
        : m_from(std::move(from)), m_to(std::move(to)), m_progress(progress), m_mustRest(mustRest) {}

    FileCopy(const FileCopy&) = delete;
    FileCopy& operator=(const FileCopy&) = delete;

    ~FileCopy() {
        if (m_isPartial) {
            m_target.Close();
            DeleteFileW(m_to.c_str());
        }
    }

    bool Run() {
        if (!OpenSource() || !OpenTarget()) {
            return false;
        }
        m_isPartial = true;
        m_isPartial = !CopyContent();
        return !m_isPartial;
    }

private:
    bool OpenSource() {
        m_source =
            OpenPath(m_from, GENERIC_READ, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, /*followLink=*/false);
        if (!m_source || !ReadStatus(m_source.Get(), m_status)) {
            return FailWithSystemError();
        }
        if (!m_status.IsRegularFile() || GetFileType(m_source.Get()) != FILE_TYPE_DISK) {
            return FailWithSystemError(ERROR_ACCESS_DENIED);
        }
        m_total = m_status.size;
        return true;
    }

    // An existing file is emptied only when it is known to be another file.
    bool OpenTarget() {
        constexpr DWORD kAccess = GENERIC_READ | GENERIC_WRITE;
        m_target = OpenPath(m_to, kAccess, CREATE_NEW, 0, /*followLink=*/false);
        if (m_target) {
            return true;
        }
        if (::GetLastError() != ERROR_FILE_EXISTS && ::GetLastError() != ERROR_ALREADY_EXISTS) {
            return FailWithSystemError();
        }
        m_target = OpenPath(m_to, kAccess, OPEN_EXISTING, 0, /*followLink=*/false);
        FileStatus status;
        if (!m_target || !ReadStatus(m_target.Get(), status)) {
            return FailWithSystemError();
        }
        if (status.volumeId == m_status.volumeId && status.fileId == m_status.fileId) {
            return FailWithSystemError(ERROR_SHARING_VIOLATION);
        }
        if (!status.IsRegularFile()) {
            return FailWithSystemError(ERROR_ACCESS_DENIED);
        }
        return SetTargetSize(0);
    }

    bool CopyContent() {
        if (!Report(0) || !MoveBytes() || (m_mustRest && !HasRested())) {
            return false;
        }
        const FILETIME access = FileTimeOf(m_status.accessTime);
        const FILETIME write = FileTimeOf(m_status.writeTime);
        if (SetFileTime(m_target.Get(), nullptr, &access, &write) == 0) {
            return FailWithSystemError();
        }
        // Some file systems say only here that the disk is full.
        if (!m_target.Close()) {
            return FailWithSystemError();
        }
        return m_total == 0 || Report(m_total);
    }

    bool MoveBytes() {
        FILE_ATTRIBUTE_TAG_INFO information = {};
        const bool sparse = GetFileInformationByHandleEx(m_source.Get(), FileAttributeTagInfo, &information,
                                                         sizeof information) != 0 &&
                            (information.FileAttributes & FILE_ATTRIBUTE_SPARSE_FILE) != 0;
        DWORD ignored = 0;
        if (sparse && DeviceIoControl(m_target.Get(), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &ignored,
                                      nullptr) != 0) {
            return MoveSparse();
        }
        return MoveRange(0, m_total);
    }

    bool HasRested() const {
        FileStatus now;
        if (!ReadStatus(m_source.Get(), now)) {
            return FailWithSystemError();
        }
        return (now.size == m_status.size && now.writeTime == m_status.writeTime) ||
               FailWithSystemError(ERROR_SHARING_VIOLATION);
    }

    bool MoveSparse() {
        if (!SetTargetSize(m_total)) {
            return false;
        }
        uint64_t at = 0;
        while (at < m_total) {
            FILE_ALLOCATED_RANGE_BUFFER asked = {};
            asked.FileOffset.QuadPart = static_cast<LONGLONG>(at);
            asked.Length.QuadPart = static_cast<LONGLONG>(m_total - at);
            FILE_ALLOCATED_RANGE_BUFFER found = {};
            DWORD bytes = 0;
            const bool whole = DeviceIoControl(m_source.Get(), FSCTL_QUERY_ALLOCATED_RANGES, &asked,
                                               sizeof asked, &found, sizeof found, &bytes, nullptr) != 0;
            if (!whole && ::GetLastError() != ERROR_MORE_DATA) {
                return MoveRange(at, m_total);
            }
            if (bytes == 0) {
                return true;  // nothing but a hole up to the end
            }
            const auto begin = static_cast<uint64_t>(found.FileOffset.QuadPart);
            at = std::min(begin + static_cast<uint64_t>(found.Length.QuadPart), m_total);
            if (!MoveRange(begin, at)) {
                return false;
            }
        }
        return true;
    }

    bool MoveRange(uint64_t begin, uint64_t end) {
        if (m_buffer == nullptr) {
            m_buffer =
                std::make_unique_for_overwrite<char[]>(std::min(std::max<uint64_t>(m_total, 1), kBufferSize));
        }
        while (begin < end) {
            DWORD moved = 0;
            if (!MovePiece(begin, static_cast<DWORD>(std::min(end - begin, kBufferSize)), moved)) {
                return FailWithSystemError();
            }
            if (moved == 0) {
                m_total = begin;  // the source has become shorter
                return SetTargetSize(m_total);
            }
            begin += moved;
            if (begin < m_total && m_step.IsOver(begin) && !Report(begin)) {
                return false;
            }
        }
        return true;
    }

    bool MovePiece(uint64_t offset, DWORD size, DWORD& moved) const {
        OVERLAPPED position = OverlappedAt(offset);
        if (ReadFile(m_source.Get(), m_buffer.get(), size, &moved, &position) == 0) {
            moved = 0;
            return ::GetLastError() == ERROR_HANDLE_EOF;
        }
        DWORD written = 0;
        for (DWORD done = 0; done < moved; done += written) {
            position = OverlappedAt(offset + done);
            if (WriteFile(m_target.Get(), m_buffer.get() + done, moved - done, &written, &position) == 0) {
                return false;
            }
        }
        return true;
    }

    bool SetTargetSize(uint64_t size) const {
        FILE_END_OF_FILE_INFO end;
        end.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
        return SetFileInformationByHandle(m_target.Get(), FileEndOfFileInfo, &end, sizeof end) != 0 ||
               FailWithSystemError();
    }

    bool Report(uint64_t moved) {
        if (m_progress && !m_progress(m_total, moved)) {
            SetLastError(kRequestAborted);
            return false;
        }
        m_step.Begin(moved);  // a rest in the call is not of the step
        return true;
    }

    const std::wstring m_from;
    const std::wstring m_to;
    const CopyProgress& m_progress;
    const bool m_mustRest;
    SystemHandle m_source;
    SystemHandle m_target;
    FileStatus m_status;
    bool m_isPartial = false;  // the target holds something, but not the whole
    uint64_t m_total = 0;
    CopyStep m_step;
    std::unique_ptr<char[]> m_buffer;
};

}  // namespace

bool CopySystemFile(std::wstring from, std::wstring to, const CopyProgress& progress, bool mustRest) {
    return FileCopy(std::move(from), std::move(to), progress, mustRest).Run();
}

bool CopyFileContent(TextView from, TextView to, const CopyProgress& progress, bool mustRest) {
    std::wstring source = SystemPath(from);
    std::wstring target = SystemPath(to);
    return !source.empty() && !target.empty() &&
           CopySystemFile(std::move(source), std::move(target), progress, mustRest);
}

}  // namespace rampart::platform
