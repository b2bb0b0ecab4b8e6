// Sizes and times of local files, sizes with regard to the filters.
#include "interfaces/transferlib.h"
#include "paths/path_manage.h"
#include "paths/temporary_files.h"
#include "platform/file_system.h"

namespace {

constexpr int64_t kNanosecondsInSecond = 1'000'000'000;
constexpr int64_t kLeaveTime = -1;

CTime ToSeconds(int64_t nanoseconds) {
    const int64_t seconds = nanoseconds / kNanosecondsInSecond;
    return static_cast<__int64>(nanoseconds % kNanosecondsInSecond < 0 ? seconds - 1 : seconds);
}

int64_t ToNanoseconds(CTime const* time) {
    return time ? time->GetTime() * kNanosecondsInSecond : kLeaveTime;
}

}  // namespace

unsigned __int64 CPathManage::GetFileSize(CString& path, CString type, CStringList* list) {
    return rampart::Guarded(_T("Error:GetFileSize"), 0, [&]() -> unsigned __int64 {
        if (FilterFolder(path, list, type) || FilterFile(path, list, type)) {
            return 0;
        }
        return GetFileSizeSimple(path);
    });
}

unsigned __int64 CPathManage::GetFileSizeSimple(CString& path) {
    return rampart::Guarded(_T("Error:GetFileSizeSimple"), 0, [&] {
        return static_cast<unsigned __int64>(CFileInfo(ApiUtil::PathToFullPath(path)).m_size);
    });
}

unsigned __int64 CPathManage::GetFolderSize(CString& path, CString type, CStringList* list) {
    return rampart::Guarded(_T("Error:GetFolderSize"), 0, [&] {
        unsigned __int64 size = 0;
        KXFileFind find;
        int more = find.FindFile(ApiUtil::PathToFullPath(path) + _T("\\*.*"));
        while (more) {
            more = find.FindNextFileW();
            if (find.IsDots() ||
                (find.IsTemporary() && !find.IsDirectory() && !rampart::AllowTemporaryFiles())) {
                continue;
            }
            CString entry = find.GetFilePath();
            if (!find.IsDirectory()) {
                size += GetFileSize(entry, type, list);
            } else if (!FilterFolder(entry, list, type)) {
                size += GetFolderSize(entry, type, list);
            }
        }
        return size;
    });
}

unsigned __int64 CPathManage::GetPathSize(CString& path, CString type, CStringList* list) {
    return rampart::Guarded(_T("Error:GetPathSize"), 0, [&]() -> unsigned __int64 {
        const CFileInfo info(ApiUtil::PathToFullPath(path));
        if (!info.m_exists) {
            return 0;
        }
        return info.m_isFolder ? GetFolderSize(path, type, list) : GetFileSize(path, type, list);
    });
}

int CPathManage::GetFileTime(CString& path, CTime* created, CTime* accessed, CTime* modified) {
    return rampart::Guarded(_T("Error:GetFileTime"), 0, [&] {
        const auto file =
            rampart::platform::FileHandle::Open(ApiUtil::PathToFullPath(path), rampart::platform::kOpenRead);
        rampart::platform::FileStatus status;
        if (!file || !file->QueryStatus(status)) {
            return 0;
        }
        if (created) {
            *created = ToSeconds(status.creationTime);
        }
        if (accessed) {
            *accessed = ToSeconds(status.accessTime);
        }
        if (modified) {
            *modified = ToSeconds(status.writeTime);
        }
        return 1;
    });
}

int CPathManage::SetFileTime(CString& path, CTime* created, CTime* accessed, CTime* modified) {
    return rampart::Guarded(_T("Error:SetFileTime"), 0, [&] {
        const auto file =
            rampart::platform::FileHandle::Open(ApiUtil::PathToFullPath(path), rampart::platform::kOpenWrite);
        return file && file->SetTimes(ToNanoseconds(created), ToNanoseconds(accessed),
                                      ToNanoseconds(modified))
                   ? 1
                   : 0;
    });
}
