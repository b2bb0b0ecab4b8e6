// The "Paths and settings" group of GlobalFunction.
#include <algorithm>

#include "engine/vaultlib_app.h"
#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "paths/global_function.h"

namespace {

constexpr LPCTSTR kLongPathPrefix = _T("\\\\?\\");
constexpr int kLongPathPrefixLength = 4;
constexpr LPCTSTR kAdministratorType = _T("A");

CString DictionaryText(LPCTSTR key) {
    return DictUtil::GetValue(key, CString());
}

// The edition in which the application's folder lies directly below the root.
bool IsApplicationFolderMode() {
    return theVaultLibApp.m_isKPBranding != 0;
}

bool MakeServerFolder(CString const& path, CString const& name, CString const& note) {
    __int64 code = 0;
    return GlobalFunction::CreateSrvFolder(path, name, note, &code) != 0;
}

// The folder of the application on the server, made; empty on failure.
CString MakeApplicationFolder() {
    const CString folder = GlobalFunction::GetSvrAppFolderPath();
    const bool hasParent =
        IsApplicationFolderMode() ||
        MakeServerFolder(PathUtilities::GetParentFolder(folder), DictionaryText(_T("IDS_STRQUILDATACAP")),
                         DictionaryText(_T("IDS_STRQUILDATANOTE")));
    const bool isMade = hasParent && MakeServerFolder(folder, DictionaryText(_T("IDS_STRAPPFOLDERCAP")),
                                                      DictionaryText(_T("IDS_STRAPPFOLDERNOTE")));
    return isMade ? folder : CString();
}

// Section of the per-user settings.
CString SettingsSection() {
    return DictionaryText(_T("IDS_REGKEYPATH")) + _T("\\") + DictionaryText(_T("IDS_STRPRODUCT"));
}

}  // namespace

CString GlobalFunction::GetSvrAppFolderPath() {
    CString folder = _T("\\");
    if (IsApplicationFolderMode()) {
        return folder + DictionaryText(_T("IDS_STRAPPFOLDER"));
    }
    if (ApiUtil::GetUsertype() == kAdministratorType) {
        folder += DictionaryText(_T("IDS_STRADMINROOTFOLDER")) + _T("\\");
    }
    folder += DictionaryText(_T("IDS_STRQUILFOLDER"));
    return PathUtilities::Append(folder, DictionaryText(_T("ServerStoreTaskPath")));
}

CString GlobalFunction::GetSvrAppFolder(CString name, CString note) {
    return rampart::Guarded(_T("Error:GetSvrAppFolder"), CString(), [&] {
        CString folder = MakeApplicationFolder();
        if (folder.IsEmpty()) {
            return folder;
        }
        folder += _T("\\") + name;
        return MakeServerFolder(folder, name, note) ? folder : CString();
    });
}

int GlobalFunction::IsEncryptionPath(CString path) {
    return rampart::Guarded(_T("Error:IsEncryptionPath"), 0, [&] {
        const CString folder = DictionaryText(_T("IDS_STRENCRYFOLDER"));
        return !folder.IsEmpty() && rampart::StartsWithNoCase(path, folder) ? 1 : 0;
    });
}

int GlobalFunction::IsWINOSBackupType(CString path) {
    return !path.IsEmpty() && path[0] == _T('/') ? 0 : 1;
}

void GlobalFunction::AddColonToPath(CString& path) {
    rampart::Guarded(_T("Error:AddColonToPath"), [&] {
        path.Trim();
        int place = 1;
        if (path.Left(kLongPathPrefixLength) == kLongPathPrefix) {
            const int next = path.Find(_T('\\'), kLongPathPrefixLength);
            place = next >= 0 ? next : 1;
        }
        path.Insert(place, _T(':'));
    });
}

CString GlobalFunction::ConverMacPathToWINPath(CString path) {
    return rampart::Guarded(_T("Error:ConverMacPathToWINPath"), CString(), [&] {
        CString result;
        if (!path.IsEmpty() && path[0] == _T('/')) {
            result = _T("\\");
        }
        int start = 0;
        for (CString part = path.Tokenize(_T("/"), start); start >= 0; part = path.Tokenize(_T("/"), start)) {
            result = result.IsEmpty() ? part : PathUtilities::Append(result, part);
        }
        return result;
    });
}

void GlobalFunction::SortStringList(CStringList& list, int ascending) {
    rampart::Guarded(_T("Error:SortStringList"), [&] {
        std::vector<CString> sorted(list.begin(), list.end());
        std::stable_sort(sorted.begin(), sorted.end(), [&](CString const& left, CString const& right) {
            return ascending ? left.CompareNoCase(right) < 0 : right.CompareNoCase(left) < 0;
        });
        std::copy(sorted.begin(), sorted.end(), list.begin());
    });
}

int GlobalFunction::SaveFlag(CString name, unsigned long value) {
    return SaveStringToRegstry(name, rampart::FormatText(_T("%lu"), value));
}

int GlobalFunction::LoadFlag(CString name, unsigned long& value) {
    return rampart::Guarded(_T("Error:LoadFlag"), 0, [&] {
        CString text;
        if (!LoadStringFromRegstry(name, text)) {
            return 0;
        }
        value = static_cast<unsigned long>(ApiUtil::StrToInt64(text));
        return 1;
    });
}

int GlobalFunction::SaveStringToRegstry(CString name, CString value) {
    return rampart::Guarded(_T("Error:SaveStringToRegstry"), 0,
                            [&] { return CRegSettingUtil::SetRegInfo(SettingsSection(), name, value); });
}

int GlobalFunction::LoadStringFromRegstry(CString name, CString& value) {
    return rampart::Guarded(_T("Error:LoadStringFromRegstry"), 0, [&] {
        return CRegSettingUtil::GetRegInfo(SettingsSection(), name, value) ? 1 : 0;
    });
}
