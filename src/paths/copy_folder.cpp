#include "paths/copy_folder.h"

#include <atomic>
#include <memory>
#include <mutex>

#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "paths/path_manage.h"
#include "platform/file_system.h"
#include "platform/process.h"

namespace rampart {

namespace {

using platform::FileHandle;
using platform::TextView;

constexpr TCHAR const* kFolderStart = _T("copies-");
constexpr TCHAR const* kLockEnd = _T(".lock");
constexpr size_t kNameBytes = 8;
constexpr int kNameLength = 7 + 2 * kNameBytes;  // of a folder
constexpr int kTries = 10;                       // a sweep of another process may come between

struct OwnFolder {
    CString root;  // the temporary folder in which it lies
    CString path;
    std::unique_ptr<FileHandle> lock;
};

std::mutex s_mutex;  // guards s_own
OwnFolder s_own;
std::atomic<int> s_uses{0};

CString Root() {
    CString root;
    return CPathManage::GetTempFolder(root, 0, 1) ? root : CString();
}

CString NewName() {
    CString name = kFolderStart;
    for (char const byte : platform::RandomBytes(kNameBytes)) {
        CString digits;
        digits.Format(_T("%02x"), static_cast<int>(static_cast<unsigned char>(byte)));
        name += digits;
    }
    return name;
}

bool IsFolderName(CString const& name) {
    CString const start = kFolderStart;
    return name.GetLength() == kNameLength && name.Left(start.GetLength()) == start &&
           name.Mid(start.GetLength()).SpanIncluding(_T("0123456789abcdef")).GetLength() ==
               kNameLength - start.GetLength();
}

// Whether the file that is open is still the one of that name.
bool IsStillThere(FileHandle& file, CString const& path) {
    platform::FileStatus open;
    platform::FileStatus named;
    return file.QueryStatus(open) && platform::QueryStatus(path, named) && open.fileId == named.fileId &&
           open.volumeId == named.volumeId;
}

// The lock comes first: a folder without one belongs to nobody.
bool Take(CString const& root, OwnFolder& own) {
    for (int attempt = 0; attempt < kTries; ++attempt) {
        CString const path = PathUtilities::Append(root, NewName());
        CString const lockPath = path + kLockEnd;
        auto lock = FileHandle::Open(lockPath,
                                     platform::kOpenWrite | platform::kOpenCreate | platform::kOpenExclusive);
        if (lock == nullptr) {
            return false;
        }
        // Where files cannot be locked at all nobody ever takes the folder for a dead one's.
        bool const isMine = lock->TryLock(true) || platform::LastError() != platform::kSharingViolation;
        if (isMine && IsStillThere(*lock, lockPath)) {
            own = {root, path, std::move(lock)};
            return true;
        }
    }
    return false;
}

// Under the mutex.
void Leave(OwnFolder& own) {
    if (own.lock == nullptr) {
        return;
    }
    KXFolder::DeleteDirectory(own.path, 1);
    own.lock.reset();
    platform::RemoveFile(own.path + kLockEnd);
    own = {};
}

std::vector<CString> NamesIn(CString const& folder) {
    std::vector<CString> names;
    auto const reader = platform::DirectoryReader::Open(folder, false);
    platform::DirectoryEntry entry;
    while (reader != nullptr && reader->Next(entry)) {
        names.emplace_back(TextView(entry.name));
    }
    return names;
}

// What the lock file belongs to, unless a process holds it.
void SweepLocked(CString const& path) {
    CString const lockPath = path + kLockEnd;
    auto lock = FileHandle::Open(lockPath, platform::kOpenWrite);
    if (lock == nullptr || !lock->TryLock(true)) {
        return;
    }
    KXFolder::DeleteDirectory(path, 1);
    lock.reset();
    platform::RemoveFile(lockPath);
}

}  // namespace

CString OwnCopyFolder() {
    CString const root = Root();
    std::lock_guard const lock(s_mutex);
    if (root.IsEmpty()) {
        return CString();
    }
    if (s_own.lock == nullptr || s_own.root != root) {
        Leave(s_own);  // of a home that was changed
        if (!Take(root, s_own)) {
            GetManageDebugLog().AddDebugInfo(_T("Copies: no folder for them in ") + root, 0);
            return CString();
        }
    }
    return s_own.path;
}

CopiesInUse::CopiesInUse() {
    ++s_uses;
}

CopiesInUse::~CopiesInUse() {
    --s_uses;
}

void DropOwnCopies() {
    std::lock_guard const lock(s_mutex);
    if (s_uses == 0 && s_own.lock != nullptr && PathUtilities::IsExisting(s_own.path)) {
        KXFolder::DeleteDirectory(s_own.path, 1);
    }
}

void LeaveOwnCopyFolder() {
    std::lock_guard const lock(s_mutex);
    if (s_uses == 0) {
        Leave(s_own);
    }
}

void SweepDeadCopies() {
    CString const root = Root();
    CString own;
    {
        std::lock_guard const lock(s_mutex);
        own = s_own.path;
    }
    if (root.IsEmpty()) {
        return;
    }
    for (CString const& name : NamesIn(root)) {
        CString const path = PathUtilities::Append(root, name);
        bool const isLock = name.Right(CString(kLockEnd).GetLength()) == kLockEnd;
        CString const folder = isLock ? path.Left(path.GetLength() - CString(kLockEnd).GetLength()) : path;
        if (folder == own || !IsFolderName(PathUtilities::GetFileName(folder))) {
            continue;
        }
        if (isLock) {
            SweepLocked(folder);
        } else if (!PathUtilities::IsExisting(folder + kLockEnd) && PathUtilities::IsExisting(folder)) {
            KXFolder::DeleteDirectory(folder, 1);
        }
    }
}

void SweepFormerCopies(std::vector<CString> const& serverFolders) {
    CString const cache = PathUtilities::Append(CString(platform::UserDataFolder()), _T("cache"));
    CString const temp = PathUtilities::Append(cache, _T("Temp"));
    if (!PathUtilities::IsExisting(temp)) {
        return;
    }
    for (CString folder : serverFolders) {
        folder.TrimLeft(_T('\\'));
        CString const name = folder.SpanExcluding(_T("\\"));
        CString const copies = PathUtilities::Append(temp, name);
        if (!name.IsEmpty() && KXFolder::IsDirectory(copies)) {
            KXFolder::DeleteDirectory(copies, 1);
        }
    }
    // Only what is empty goes.
    if (platform::RemoveEmptyFolder(temp)) {
        platform::RemoveEmptyFolder(cache);
    }
}

}  // namespace rampart
