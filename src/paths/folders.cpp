// Where the engine keeps its own data: application data, temporary folders, the cache.
#include "baselib/product_folder.h"
#include "interfaces/transferlib.h"
#include "paths/copy_folder.h"
#include "paths/path_manage.h"
#include "platform/volumes.h"

CString CPathManage::s_cacheFolder;
int CPathManage::s_cacheFolderLength = 0;

namespace {

constexpr LPCTSTR kTempName = _T("Temp");
constexpr __int64 kBytesInKilobyte = 1024;
constexpr __int64 kKilobytesInUnit = 102400;  // 100 MB, the unit in which disk room is compared here

// Without a backslash behind it.
CString s_vaultFolder;

// Guards s_cacheFolder, its length and s_vaultFolder.
std::mutex& CacheFolderMutex() {
    static std::mutex mutex;
    return mutex;
}

CString ApplicationDataFolder() {
    return CString(rampart::platform::TextView(rampart::ProductDataFolder()));
}

CString LocalTempFolder() {
    return PathUtilities::Append(ApplicationDataFolder(), kTempName);
}

CString CacheTempFolder() {
    return PathUtilities::Append(ApiUtil::GetManageCacheDirMan().GetCacheDir(), kTempName);
}

// Makes an empty file unless there is one.
bool EnsureFile(CString const& path) {
    if (KXFile::FileExists(path)) {
        return true;
    }
    KXFile file;
    return file.Open(ApiUtil::PathToFullPath(path),
                     CFile::modeCreate | CFile::modeNoTruncate | CFile::modeWrite);
}

__int64 InUnits(__int64 bytes) {
    return bytes / kBytesInKilobyte / kKilobytesInUnit;
}

__int64 SystemDriveFreeBytes() {
    CString drive;
    rampart::platform::DiskSpace space{};
    if (!GetSystemDriver(drive) || !rampart::platform::QueryDiskSpace(drive + _T("\\"), space)) {
        return 0;
    }
    return static_cast<__int64>(space.availableBytes);
}

}  // namespace

int CPathManage::GetOrCreateInAppDataPath(CString name, CString& out) {
    return rampart::Guarded(_T("Error:GetOrCreateInAppDataPath"), 0, [&] {
        const CString folder = ApplicationDataFolder();
        if (!KXFolder::RCreateDirectory(folder)) {
            return 0;
        }
        if (name.IsEmpty()) {
            out = folder + _T("\\");
        } else {
            out = PathUtilities::Append(folder, name);
            EnsureFile(out);
        }
        return 1;
    });
}

int CPathManage::GetTempFolder(CString& out, int, int useCache) {
    return rampart::Guarded(_T("Error:GetTempFolder"), 0, [&] {
        out = useCache ? CacheTempFolder() : LocalTempFolder();
        return KXFolder::RCreateDirectory(out);
    });
}

int CPathManage::GetTempPathW(CString name, CString& out, int create) {
    return rampart::Guarded(_T("Error:GetTempPath"), 0, [&] {
        const CString folder = CacheTempFolder();
        if (!KXFolder::RCreateDirectory(folder)) {
            return 0;
        }
        out = PathUtilities::Append(folder, name);
        return !create || EnsureFile(out) ? 1 : 0;
    });
}

int CPathManage::CreateFolderforFile(CString path) {
    return rampart::Guarded(_T("Error:CreateFolderforFile"), 0, [&] {
        const int end = path.ReverseFind(_T('\\'));
        return end > 0 ? KXFolder::RCreateDirectory(path.Left(end + 1)) : 0;
    });
}

void CPathManage::UpdateCacheFolder() {
    rampart::Guarded(_T("Error:UpdateCacheFolder"), [] {
        GetManageDebugLog().AddDebugInfo(_T("ApiUtil::GetManageCacheDirMan()-UpdateCacheFolder"), 0);
        const CString folder = ApiUtil::GetManageCacheDirMan().GetCacheDir() + _T("\\");
        std::lock_guard lock(CacheFolderMutex());
        s_cacheFolder = folder;
        s_cacheFolderLength = folder.GetLength();
    });
}

void CPathManage::SetVaultFolder(CString const& folder) {
    rampart::Guarded(_T("Error:SetVaultFolder"), [&] {
        CString const vault = PathUtilities::RemoveBackslash(folder);
        std::lock_guard lock(CacheFolderMutex());
        s_vaultFolder = vault;
    });
}

int CPathManage::IsInVault(CString const& path) {
    CString vault;
    {
        std::lock_guard lock(CacheFolderMutex());
        int const length = s_vaultFolder.GetLength();
        bool const isLike = length > 0 && rampart::StartsWithNoCase(path, s_vaultFolder) &&
                            (path.GetLength() == length || path[length] == _T('\\'));
        if (!isLike) {
            return 0;
        }
        vault = s_vaultFolder;
    }
    // In another case it may be another folder.
    CString const same = path.Left(vault.GetLength());
    return same == vault || IsSameFileLocal(same, vault) ? 1 : 0;
}

int CPathManage::IsInCacheFolder(CString const& path) {
    std::lock_guard lock(CacheFolderMutex());
    return !s_cacheFolder.IsEmpty() && rampart::StartsWithNoCase(path, s_cacheFolder) ? 1 : 0;
}

int CPathManage::NeedRemoveTempData() {
    return rampart::Guarded(_T("Error:NeedRemoveTempData"), 0, [] {
        CString temp;
        GetTempFolder(temp, 0, 0);
        if (temp.IsEmpty()) {
            return 0;
        }
        const __int64 used = KXFolder::GetFolderSize(temp, 0) + KXFolder::GetFolderSize(CacheTempFolder(), 0);
        const __int64 freeUnits = InUnits(SystemDriveFreeBytes());
        return freeUnits <= 0 || freeUnits < InUnits(used) ? 1 : 0;
    });
}

int CPathManage::RemoveTempData(int flag) {
    return rampart::Guarded(_T("Error:RemoveTempData"), 0, [&] {
        KXFolder::DeleteDirectory(LocalTempFolder(), flag);
        rampart::SweepDeadCopies();
        rampart::DropOwnCopies();
        return 1;
    });
}

CString CPathManage::GetNameBeforeExtension(CString const& name) {
    return rampart::Guarded(_T("Error:GetNameBeforeExtension"), CString(), [&] {
        return name.Left(name.GetLength() - PathUtilities::GetExtension(name).GetLength());
    });
}

CString CPathManage::GetProductName() {
    rampart::CriticalLock lock(s_filterLock);
    return s_productName;
}
