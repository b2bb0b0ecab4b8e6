// The id of this machine and user, kept in a small file, and the cached data that the GUI and the service
// share.
#include <array>
#include <cstdlib>
#include <memory>

#include "interfaces/transferlib.h"
#include "manager/backup_manage.h"
#include "paths/path_manage.h"
#include "platform/clock.h"
#include "platform/process.h"
#include "task/engine_text.h"
#include "task/machine_name.h"

using rampart::DebugLine;
using rampart::FormatText;

namespace {

constexpr TCHAR const* kIdFile = _T("PCInfo.dat");
constexpr TCHAR const* kTempFolder = _T("Temp");
constexpr UINT kOpenOrCreate = CFile::modeCreate | CFile::modeNoTruncate | CFile::modeReadWrite;

bool HoldsSomething(CString const& file) {
    return KXFile::FileExists(file) && KXFile::GetFileLength(file) > 0;
}

// Files of the folder itself, and all folders but the one for temporary data. What cannot be copied stays
// behind.
void CopyCache(CString from, CString to, CString const& complaint) {
    from = PathUtilities::RemoveBackslash(from);
    to = PathUtilities::RemoveBackslash(to);
    if (from.IsEmpty() || to.IsEmpty() || from.CompareNoCase(to) == 0) {
        return;
    }
    KXFolder folder(from);
    CString const* const files = folder.GetSubFiles();
    for (int index = 0; index < folder.m_subFileCount; ++index) {
        KXFile::CopyFileW(files[index], PathUtilities::Append(to, PathUtilities::GetFileName(files[index])));
    }
    CString const* const folders = folder.GetSubFolders();
    for (int index = 0; index < folder.m_subFolderCount; ++index) {
        CString const name = PathUtilities::GetFileName(folders[index]);
        if (name.CompareNoCase(kTempFolder) != 0 &&
            !KXFolder::CopyFolder(folders[index], PathUtilities::Append(to, name))) {
            DebugLine(complaint);
        }
    }
}

// The id in a little-endian file of four bytes; what is shorter holds none.
using IdBytes = std::array<BYTE, 4>;

uint32_t FromBytes(IdBytes const& bytes) {
    return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

IdBytes ToBytes(uint32_t id) {
    return {static_cast<BYTE>(id), static_cast<BYTE>(id >> 8), static_cast<BYTE>(id >> 16),
            static_cast<BYTE>(id >> 24)};
}

uint32_t NewId() {
    uint32_t const tick = rampart::platform::TickCount();
    srand(tick);
    return tick + static_cast<uint32_t>(rand());
}

// Reads the id, or makes one and keeps it. `isNew` tells which.
uint32_t ReadOrCreateId(CString const& path, bool& isNew) {
    isNew = false;
    KXFile file;
    if (file.Open(path, kOpenOrCreate)) {
        IdBytes bytes{};
        if (file.Read(bytes.data(), static_cast<UINT>(bytes.size())) == bytes.size()) {
            return FromBytes(bytes);
        }
    } else {
        DebugLine(_T("Error: InitMyID cannot open ") + path + _T(": ") + GetLastErrorMsg());
    }
    isNew = true;
    uint32_t const id = NewId();
    if (file.IsOpen()) {
        IdBytes const bytes = ToBytes(id);
        file.SeekToBegin();
        file.Write(bytes.data(), static_cast<UINT>(bytes.size()));
        file.Flush();
    }
    return id;
}

// Programs of a user that start together must not make an id each: the tasks of one would be a stranger's to
// the other. Null after some seconds, which is better than no id.
std::unique_ptr<rampart::platform::NamedMutex> LockId() {
    constexpr int kTries = 250;
    constexpr uint32_t kStepMs = 20;
    for (int tries = 0; tries < kTries; ++tries) {
        if (auto mutex = rampart::platform::NamedMutex::Create(_T("KorvaneRampartId"))) {
            return mutex;
        }
        rampart::platform::SleepMilliseconds(kStepMs);
    }
    return nullptr;
}

CString OwnIdPath() {
    CString path;
    CPathManage::GetOrCreateInAppDataPath(kIdFile, path);
    return path;
}

}  // namespace

void CBackupManage::InitMyID() {
    rampart::Guarded(_T("Error: InitMyID"), [&] {
        std::unique_ptr<rampart::platform::NamedMutex> const lock = LockId();
        CString const ownPath = OwnIdPath();
        DebugLine(_T("ManageTask: InitMyID start"));
        DebugLine(_T("ManageTask: InitMyID get GUI Path: ") + m_guiWindowsUserAppDataPath);
        DebugLine(_T("ManageTask: InitMyID get service user's path-") + ownPath);
        ShareCaches(ownPath);
        DebugLine(_T("ManageTask: InitMyID read path-") + ownPath);
        bool isNew = false;
        m_myID = ReadOrCreateId(ApiUtil::PathToFullPath(ownPath), isNew);
        if (isNew) {
            m_myIDCreated = 1;
        }
        DebugLine(FormatText(
            isNew ? _T("ManageTask: InitMyID createID-%d") : _T("ManageTask: InitMyID getID-%d"), m_myID));
        CopyServiceCacheToCurrentUserCache();
    });
    m_pcName = rampart::MachineName();
}

// The two sides of one machine hold the same id and cache once one of them has them; the own side wins.
void CBackupManage::ShareCaches(CString const& ownPath) {
    CString const guiPath = m_guiWindowsUserAppDataPath + kIdFile;
    CString const ownFolder = KXFolder::GetParentFolderFromFullPath(ownPath);
    CString const ownGlobal = ApiFunctions::GetGlobalPath(0);
    bool const hasGui = !m_guiWindowsUserAppDataPath.IsEmpty();
    auto tellGlobal = [&](TCHAR const* what) {
        DebugLine(_T("ManageTask: InitMyID GUI global path-") + m_guiGlobalDataPath);
        DebugLine(_T("ManageTask: InitMyID SVC global path-") + ownGlobal);
        DebugLine(what);
    };
    if (HoldsSomething(ownPath)) {
        DebugLine(_T("ManageTask: InitMyID check file if exist in GUI"));
        if (!hasGui || HoldsSomething(guiPath)) {
            return;
        }
        DebugLine(_T("InitMyID can't find PCInfo.dat file in GUI path"));
        DebugLine(FormatText(_T("InitMyID GUI:%s, Service:%s"), m_guiWindowsUserAppDataPath, ownFolder));
        CopyCache(ownFolder, m_guiWindowsUserAppDataPath,
                  _T("MyID: failed to CopyFolder to ") + m_guiWindowsUserAppDataPath);
        tellGlobal(_T("ManageTask: InitMyID copy service to GUI"));
        CopyCache(ownGlobal, m_guiGlobalDataPath, _T("MyID: failed to CopyFolder to ") + m_guiGlobalDataPath);
    } else if (hasGui && HoldsSomething(guiPath)) {
        DebugLine(_T("ManageTask: InitMyID doesn't exist on service, check user pcinfo path-") + guiPath);
        CopyCache(m_guiWindowsUserAppDataPath, ownFolder,
                  _T("MyID: failed to CopyFolder from ") + m_guiWindowsUserAppDataPath);
        tellGlobal(_T("ManageTask: InitMyID copy GUI to service"));
        CopyCache(m_guiGlobalDataPath, ownGlobal,
                  _T("MyID: failed to CopyFolder from ") + m_guiGlobalDataPath);
    }
}

void CBackupManage::CopyServiceCacheToCurrentUserCache() {
    if (m_guiWindowsUserAppDataPath.IsEmpty() || HoldsSomething(m_guiWindowsUserAppDataPath + kIdFile)) {
        return;
    }
    rampart::Guarded(_T("Error: CopyServiceCacheToCurrentUserCache"), [&] {
        CString const ownFolder = KXFolder::GetParentFolderFromFullPath(OwnIdPath());
        CString const ownGlobal = ApiFunctions::GetGlobalPath(0);
        DebugLine(_T("CopyServiceCacheToCurrentUserCache can't file in GUI"));
        DebugLine(FormatText(_T("CopyServiceCacheToCurrentUserCache GUI:%s, Service:%s"),
                             m_guiWindowsUserAppDataPath, ownFolder));
        CopyCache(ownFolder, m_guiWindowsUserAppDataPath,
                  _T("MyID: failed to CopyFolder to ") + m_guiWindowsUserAppDataPath);
        DebugLine(_T("ManageTask: copy cache GUI global path-") + m_guiGlobalDataPath);
        DebugLine(_T("ManageTask: copy cache SVC global path-") + ownGlobal);
        CopyCache(ownGlobal, m_guiGlobalDataPath,
                  _T("copy cache: failed to CopyFolder to ") + m_guiGlobalDataPath);
    });
}
