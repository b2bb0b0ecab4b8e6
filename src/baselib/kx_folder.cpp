#include "baselib/file_kind.h"
#include "baselib/folder_walk.h"
#include "baselib/path_text.h"
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "platform/volumes.h"

using namespace rampart;

KXFolder::KXFolder(CString const& path) {
    const auto reader = platform::DirectoryReader::Open(WithoutTrailingBackslashes(path), false);
    if (!reader) {
        NoteUnreadable(path);
        return;
    }
    platform::DirectoryEntry entry;
    while (reader->Next(entry)) {
        if (const LPCTSTR reason = ReasonToSkip(entry.status.attributes)) {
            NoteSkipped(path, entry.name, reason);
            continue;
        }
        (entry.status.IsDirectory() ? m_folders : m_files)
            .push_back(PathUtilities::Append(path, CString(TextView(entry.name))));
    }
    if (platform::LastError() != platform::kNoMoreItems) {
        NoteUnreadable(path);
    }
    m_subFileCount = static_cast<int>(m_files.size());
    m_subFolderCount = static_cast<int>(m_folders.size());
}

CString* KXFolder::GetSubFiles() {
    return m_files.data();
}

CString* KXFolder::GetSubFolders() {
    return m_folders.data();
}

int KXFolder::RCreateDirectory(CString const& path) {
    if (path.IsEmpty()) {
        return 0;
    }
    // Called for every file, nearly always for a folder that is there.
    const TextView folder = WithoutTrailingBackslashes(path);
    platform::FileStatus status;
    return (platform::QueryStatus(folder, status) && status.IsDirectory()) || platform::CreateFolders(folder)
               ? 1
               : 0;
}

int KXFolder::DeleteDirectory(CString const& path, int) {
    return Guarded(_T("Error: DeleteDirectory"), 0, [&] {
        const TextView target = WithoutTrailingBackslashes(path);
        if (target.size() <= RootLength(target)) {
            LogErrorMessage(_T("Error: DeleteDirectory refused- ") + path);
            platform::SetLastError(platform::kInvalidParameter);
            return 0;
        }
        platform::FileStatus status;
        const bool isFolder = platform::QueryStatus(target, status) && status.IsDirectory() &&
                              (status.attributes & platform::kReparsePoint) == 0;
        return (isFolder ? RemoveWholeFolder(target) : RemoveFileByForce(target)) ? 1 : 0;
    });
}

int KXFolder::ForceDelFile(CString const& path) {
    return !path.IsEmpty() && RemoveFileByForce(path) ? 1 : 0;
}

int KXFolder::CopyFolder(CString const& from, CString const& to) {
    return Guarded(_T("Error: CopyFolder"), 0,
                   [&] { return !from.IsEmpty() && !to.IsEmpty() && CopyWholeFolder(from, to) ? 1 : 0; });
}

int KXFolder::IsDirectory(CString const& path) {
    if (path.IsEmpty()) {
        platform::SetLastError(platform::kPathNotFound);
        return 0;
    }
    platform::SetLastError(platform::kNoError);
    platform::FileStatus status;
    return platform::QueryStatus(WithoutTrailingBackslashes(path), status) && status.IsDirectory() &&
                   (status.attributes & platform::kReparsePoint) == 0
               ? 1
               : 0;
}

int KXFolder::IsDriveRoot(CString const& path) {
    return GetDriveFromPath(path) != 0 && RootLength(path) == path.View().size() ? 1 : 0;
}

__int64 KXFolder::GetFolderSize(CString const& path, int) {
    return Guarded(_T("Error: GetFolderSize"), 0LL,
                   [&] { return path.IsEmpty() ? 0LL : static_cast<__int64>(SizeOfFolder(path)); });
}

CString KXFolder::GetNameFromFullPath(CString const& path) {
    return CString(LastComponent(path));
}

CString KXFolder::GetParentFolderFromFullPath(CString const& path) {
    return CString(ParentOf(path));
}

int KXFolder::ConnectUNC(CString const& path, unsigned long& error) {
    error = platform::kNoError;
    if (path.IsEmpty() || !platform::IsNetworkPath(path)) {
        return 1;
    }
    if (platform::ConnectNetworkPath(path)) {
        return 1;
    }
    error = platform::LastError();
    return 0;
}
