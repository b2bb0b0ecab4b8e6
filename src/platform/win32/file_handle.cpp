#include "platform/win32/attributes_of.h"
#include "platform/win32/native.h"

namespace rampart::platform {
namespace {

constexpr size_t kLargestMove = size_t{1} << 30;  // in one call of the system
// A byte that no file reaches: a lock of it keeps nobody from reading or writing the file.
constexpr uint64_t kLockedByte = uint64_t{INT64_MAX} - 1;

class WindowsFileHandle : public FileHandle {
public:
    explicit WindowsFileHandle(SystemHandle file) : m_file(std::move(file)) {}

    int64_t ReadAt(uint64_t offset, void* buffer, size_t size) override {
        size_t done = 0;
        while (done < size) {
            OVERLAPPED position = OverlappedAt(offset + done);
            DWORD moved = 0;
            if (ReadFile(m_file.Get(), static_cast<char*>(buffer) + done, Piece(size - done), &moved,
                         &position) == 0) {
                if (::GetLastError() == ERROR_HANDLE_EOF) {
                    break;
                }
                FailWithSystemError();
                return -1;
            }
            if (moved == 0) {
                break;
            }
            done += moved;
        }
        return static_cast<int64_t>(done);
    }

    int64_t WriteAt(uint64_t offset, const void* buffer, size_t size) override {
        size_t done = 0;
        while (done < size) {
            OVERLAPPED position = OverlappedAt(offset + done);
            DWORD moved = 0;
            if (WriteFile(m_file.Get(), static_cast<const char*>(buffer) + done, Piece(size - done), &moved,
                          &position) == 0) {
                FailWithSystemError();
                return -1;
            }
            done += moved;
        }
        return static_cast<int64_t>(done);
    }

    bool GetSize(uint64_t& size) override {
        LARGE_INTEGER value;
        if (GetFileSizeEx(m_file.Get(), &value) == 0) {
            return FailWithSystemError();
        }
        size = static_cast<uint64_t>(value.QuadPart);
        return true;
    }

    bool SetSize(uint64_t size) override {
        FILE_END_OF_FILE_INFO end;
        end.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
        return Done(SetFileInformationByHandle(m_file.Get(), FileEndOfFileInfo, &end, sizeof end));
    }

    bool Sync() override { return Done(FlushFileBuffers(m_file.Get())); }

    bool QueryStatus(FileStatus& status) override {
        return ReadStatus(m_file.Get(), status) || FailWithSystemError();
    }

    std::string ReadAttributes() override {
        const std::wstring path = ReadText([&](wchar_t* buffer, DWORD size) {
            return GetFinalPathNameByHandleW(m_file.Get(), buffer, size,
                                             FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
        });
        return platform::ReadAttributes(m_file.Get(), path);
    }

    bool SetTimes(int64_t creationTime, int64_t accessTime, int64_t writeTime) override {
        const FILETIME times[3] = {FileTimeOf(creationTime), FileTimeOf(accessTime), FileTimeOf(writeTime)};
        const auto given = [&](int i, int64_t time) { return time == -1 ? nullptr : &times[i]; };
        return Done(
            SetFileTime(m_file.Get(), given(0, creationTime), given(1, accessTime), given(2, writeTime)));
    }

    bool TryLock(bool exclusive) override {
        return TakeLock(LOCKFILE_FAIL_IMMEDIATELY | (exclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0));
    }

    bool Lock() override { return TakeLock(LOCKFILE_EXCLUSIVE_LOCK); }

private:
    static DWORD Piece(size_t size) { return static_cast<DWORD>(std::min(size, kLargestMove)); }
    // A lock that this handle holds gives way to the new one.
    bool TakeLock(DWORD flags) {
        OVERLAPPED position = OverlappedAt(kLockedByte);
        if (m_isLocked) {
            UnlockFileEx(m_file.Get(), 0, 1, 0, &position);
        }
        m_isLocked = LockFileEx(m_file.Get(), flags, 0, 1, 0, &position) != 0;
        return m_isLocked || FailWithSystemError(::GetLastError() == ERROR_IO_PENDING ? ERROR_LOCK_VIOLATION
                                                                                      : ::GetLastError());
    }
    static bool Done(BOOL result) { return result != 0 || FailWithSystemError(); }

    const SystemHandle m_file;
    bool m_isLocked = false;
};

DWORD AccessOf(uint32_t mode) {
    DWORD access = (mode & kOpenWrite) == 0 ? GENERIC_READ : GENERIC_WRITE | FILE_READ_ATTRIBUTES;
    return access | ((mode & kOpenRead) != 0 ? GENERIC_READ : 0);
}

DWORD DispositionOf(uint32_t mode) {
    if ((mode & kOpenCreate) == 0) {
        return OPEN_EXISTING;
    }
    return (mode & kOpenExclusive) != 0 ? CREATE_NEW : OPEN_ALWAYS;
}

}  // namespace

std::unique_ptr<FileHandle> FileHandle::Open(TextView path, uint32_t mode) {
    const std::wstring system = SystemPath(path);
    if (system.empty()) {
        return nullptr;
    }
    SystemHandle file =
        OpenPath(system, AccessOf(mode), DispositionOf(mode), 0, (mode & kOpenFollowLink) != 0);
    FileStatus status;
    if (!file || !ReadStatus(file.Get(), status)) {
        FailWithSystemError();
        return nullptr;
    }
    if (!status.IsRegularFile() || GetFileType(file.Get()) != FILE_TYPE_DISK) {
        SetLastError(kAccessDenied);
        return nullptr;
    }
    auto handle = std::make_unique<WindowsFileHandle>(std::move(file));
    if ((mode & kOpenTruncate) != 0 && status.size != 0 && !handle->SetSize(0)) {
        return nullptr;
    }
    return handle;
}

std::unique_ptr<FileHandle> FileHandle::OpenNative(const std::string& nativePath, uint32_t mode) {
    const Text path = ToEnginePath(nativePath);
    return path.empty() ? nullptr : Open(path, mode);
}

}  // namespace rampart::platform
