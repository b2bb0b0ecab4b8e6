// What a task leaves out: the account-wide expressions and the task's own entries.
#include "interfaces/filterlib.h"
#include "interfaces/transferlib.h"
#include "paths/path_manage.h"
#include "paths/user_filters.h"
#include "platform/volumes.h"

CString CPathManage::s_productName;
std::vector<CString> CPathManage::s_fileFilters;
std::vector<CString> CPathManage::s_folderFilters;
std::vector<CString> CPathManage::s_uiFilterFiles;
std::vector<CString> CPathManage::s_uiFilterFolders;
CString CPathManage::s_fullFileFilter;
CString CPathManage::s_fullFolderFilter;
CCriticalSection CPathManage::s_filterLock;

namespace {

CString const kSeparator(_T("|"));

bool NamesFile(CStringList const* list, CString const& path) {
    return list && !list->IsEmpty() && rampart::UserFilters::Of(*list, 0).Matches(path);
}

bool NamesFolder(CStringList const* list, CString const& path) {
    return list && !list->IsEmpty() && rampart::UserFilters::Of(*list, 1).Matches(path);
}

std::vector<CString> ToVector(CStringList const& list) {
    return std::vector<CString>(list.begin(), list.end());
}

void AddPiece(CString piece, std::vector<CString>& out) {
    piece.Trim();
    if (!piece.IsEmpty() && !VectorFindNoCase(piece, out)) {
        out.push_back(piece);
    }
}

// The list of a setting from the service. A setting that yields nothing gives the default's.
std::vector<CString> ExpressionsOf(CString const& setting, CString const& defaultText, int isFolder) {
    std::vector<CString> expressions;
    if (!setting.IsEmpty()) {
        RegexFilter::StoreRegexServerFilterToVector(setting, expressions, isFolder);
        if (expressions.empty()) {
            RegexFilter::StoreRegexFilterToVector(defaultText, expressions, isFolder);
        }
    }
    return expressions;
}

}  // namespace

int CPathManage::Init() {
    return rampart::Guarded(_T("Error:Init"), 0, [] {
        rampart::CriticalLock lock(s_filterLock);
        s_productName = DictUtil::GetValue(_T("ProductName"), CString());
        s_fullFileFilter =
            DictUtil::GetConfigString(_T("Define"), _T("fullfileFilter"), CString(), CString());
        s_fullFolderFilter =
            DictUtil::GetConfigString(_T("Define"), _T("fullFolderFilter"), CString(), CString());
        return 1;
    });
}

void CPathManage::InitRegexFilter() {
    rampart::Guarded(_T("Error:InitRegexFilter"), [] {
        std::vector<CString> files = ExpressionsOf(ApiUtil::GetFileFilterSetting(), s_fullFileFilter, 0);
        std::vector<CString> folders =
            ExpressionsOf(ApiUtil::GetFolderFilterSetting(), s_fullFolderFilter, 1);
        {
            rampart::CriticalLock lock(s_filterLock);
            s_fileFilters.swap(files);
            s_folderFilters.swap(folders);
        }
        InitClientRegexFilter();
    });
}

void CPathManage::InitClientRegexFilter() {
    rampart::Guarded(_T("Error:InitClientRegexFilter"), [] {
        std::vector<CString> files;
        std::vector<CString> folders;
        {
            rampart::CriticalLock lock(s_filterLock);
            files = s_fileFilters;
            folders = s_folderFilters;
        }
        // Whatever the account says: these hold no files.
        for (rampart::platform::Text const& folder : rampart::platform::SystemFolders()) {
            folders.push_back(
                RegexFilter::ChangeFilePathToBoostRegexFilter(CString(rampart::TextView(folder)), 1));
        }
        RegexFilter::InitBoostRegex(files, folders);
    });
}

Enum_Filter_Type CPathManage::GetFilterType(CString const& type) {
    if (type.CompareNoCase(_T("0")) == 0) {
        return Filter_Exclude;
    }
    return type.CompareNoCase(_T("1")) == 0 ? Filter_Include : Filter_None;
}

int CPathManage::FilterFile(CString const& path, CStringList* list, CString const& type) {
    return rampart::Guarded(_T("Error:FilterFile"), 0, [&] {
        if (IsInCacheFolder(path) || IsInVault(path) || RegexFilter::MatchBoostFileFilter(path)) {
            return 1;
        }
        switch (GetFilterType(type)) {
            case Filter_Exclude:
                return ExcludeFilterFile(path, list);
            case Filter_Include:
                return IncludeFilterFile(path, list);
            default:
                return 0;
        }
    });
}

int CPathManage::FilterFolder(CString const& path, CStringList* list, CString const& type) {
    return rampart::Guarded(_T("Error:FilterFolder"), 0, [&] {
        if (IsInCacheFolder(path) || IsInVault(path)) {
            return 1;
        }
        CString folder = path;
        if (folder.IsEmpty() || folder[folder.GetLength() - 1] != _T('\\')) {
            folder += _T('\\');
        }
        if (RegexFilter::MatchBoostFolderFilter(folder)) {
            return 1;
        }
        switch (GetFilterType(type)) {
            case Filter_Exclude:
                return ExcludeFilterFolder(folder, list);
            case Filter_Include:
                return IncludeFilterFolder(folder, list);
            default:
                return 0;
        }
    });
}

int CPathManage::ExcludeFilterFile(CString const& path, CStringList* list) {
    {
        rampart::CriticalLock lock(s_filterLock);
        if (s_fileFilters.empty()) {
            return 0;  // the exclude mode works only beside account-wide expressions
        }
    }
    return NamesFile(list, path) ? 1 : 0;
}

int CPathManage::ExcludeFilterFolder(CString const& path, CStringList* list) {
    {
        rampart::CriticalLock lock(s_filterLock);
        if (s_folderFilters.empty()) {
            return 0;
        }
    }
    return NamesFolder(list, path) ? 1 : 0;
}

int CPathManage::IncludeFilterFile(CString const& path, CStringList* list) {
    return NamesFile(list, path) ? 0 : 1;
}

int CPathManage::IncludeFilterFolder(CString const& path, CStringList* list) {
    return NamesFolder(list, path) ? 0 : 1;
}

void CPathManage::StoreFilterToVector(CString const& text, std::vector<CString>& out) {
    rampart::Guarded(_T("Error: StoreFilterNameToVector"), [&] {
        CString rest = text;
        rest.MakeLower();
        rest.Trim();
        rest.TrimLeft(kSeparator);
        for (int end = rest.Find(kSeparator); end >= 0; end = rest.Find(kSeparator)) {
            AddPiece(rest.Left(end), out);
            rest = rest.Mid(end + 1);
        }
        AddPiece(rest, out);
    });
}

void CPathManage::RestoreUIFilterToVector(CStringList const& list) {
    rampart::Guarded(_T("Error:RestoreUIFilterToVector"), [&] {
        const std::vector<CString> entries = ToVector(list);
        rampart::CriticalLock lock(s_filterLock);
        s_uiFilterFiles = entries;
    });
}

void CPathManage::RestoreUIFiltedPathToVector(CStringList const& list) {
    rampart::Guarded(_T("Error:RestoreUIFiltedPathToVector"), [&] {
        const std::vector<CString> entries = ToVector(list);
        rampart::CriticalLock lock(s_filterLock);
        s_uiFilterFolders = entries;
    });
}

std::vector<CString> CPathManage::GetUIFilterFile() {
    rampart::CriticalLock lock(s_filterLock);
    return s_uiFilterFiles;
}

std::vector<CString> CPathManage::GetUIFilterFolder() {
    rampart::CriticalLock lock(s_filterLock);
    return s_uiFilterFolders;
}
