#include "baselib/file_kind.h"
#include "interfaces/baselib.h"

using namespace rampart;

KXFile::KXFile(CString const& path, UINT flags) {
    KXFile::Open(path, flags);
}

int KXFile::Open(LPCTSTR path, UINT flags, CFileException* exception) {
    try {
        return CFile::Open(path, flags, exception);
    } catch (const std::exception&) {
        return 0;
    }
}

int KXFile::FileExists(CString const& path) {
    platform::FileStatus status;
    return QueryKnownKind(path, status) && !status.IsDirectory() ? 1 : 0;
}

__int64 KXFile::GetFileLength(CString const& path) {
    platform::FileStatus status;
    return QueryKnownKind(path, status) && !status.IsDirectory() ? static_cast<__int64>(status.size) : 0;
}

int KXFile::CopyFileW(CString const& from, CString const& to) {
    return !from.IsEmpty() && !to.IsEmpty() && platform::CopyFileContent(from, to, nullptr) ? 1 : 0;
}

int KXFile::DeleteFileW(CString const& path) {
    return !path.IsEmpty() && platform::RemoveFile(path) ? 1 : 0;
}
