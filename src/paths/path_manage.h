// CPathManage: what a task leaves out, and where the engine keeps its own data. Static; the object has no
// state.
#pragma once

#include <vector>

#include "framework/framework.h"
#include "interfaces/baselib.h"

enum Enum_Filter_Type {
    Filter_None = 0,     // stored text "2" or anything unknown
    Filter_Exclude = 1,  // "0"
    Filter_Include = 2,  // "1"
};

class VAULTLIB_API CPathManage {
public:
    // ---- Filters ----
    static int Init();              // process start: product word and default filter texts
    static void InitRegexFilter();  // account-wide lists from the service's settings, compiled
    static void InitClientRegexFilter();
    static Enum_Filter_Type GetFilterType(CString const& type);
    // 1 if the path is to be left out, by the account's filters or by the entries of `list`, which are the
    // task's own: tasks that run at once do not meet. Those of RestoreUIFilterToVector and
    // RestoreUIFiltedPathToVector serve the getters below alone.
    static int FilterFile(CString const& path, CStringList* list, CString const& type);
    static int FilterFolder(CString const& path, CStringList* list, CString const& type);
    static void StoreFilterToVector(CString const& text, std::vector<CString>& out);
    static void RestoreUIFilterToVector(CStringList const& list);
    static void RestoreUIFiltedPathToVector(CStringList const& list);
    static std::vector<CString> GetUIFilterFile();
    static std::vector<CString> GetUIFilterFolder();
    static bool LoadFilterInfoFromPackageXML(XMLNode& node);
    static bool SaveFilterInfoToPackageXML(XMLNode& node);
    static int InitByArchive(CArchive& archive);
    static int SaveToArchive(CArchive& archive);

    // ---- Folders and temporary data ----
    static int GetOrCreateInAppDataPath(CString name, CString& out);
    static int GetTempFolder(CString& out, int, int useCache);
    static int GetTempPathW(CString name, CString& out, int create);
    static int CreateFolderforFile(CString path);
    static void UpdateCacheFolder();
    // Engine path of the vault's folder; empty when the vault is none on this machine.
    static void SetVaultFolder(CString const& folder);
    static int IsInCacheFolder(CString const& path);
    // A folder, or what lies in it. A vault is not stored in itself: what is read of it in this process would
    // also take the catalog's locks away.
    static int IsInVault(CString const& path);
    static int NeedRemoveTempData();
    // Copies of processes that have ended go, and this one's unless a run is under way.
    static int RemoveTempData(int flag);
    static unsigned __int64 GetFileSize(CString& path, CString type, CStringList* list);
    static unsigned __int64 GetFileSizeSimple(CString& path);
    static unsigned __int64 GetFolderSize(CString& path, CString type, CStringList* list);
    static unsigned __int64 GetPathSize(CString& path, CString type, CStringList* list);
    static int GetFileTime(CString& path, CTime* created, CTime* accessed, CTime* modified);
    static int SetFileTime(CString& path, CTime* created, CTime* accessed, CTime* modified);
    static CString GetNameBeforeExtension(CString const& name);
    static CString GetProductName();

    static CString s_productName;
    static std::vector<CString> s_fileFilters;
    static std::vector<CString> s_folderFilters;
    static std::vector<CString> s_uiFilterFiles;
    static std::vector<CString> s_uiFilterFolders;
    static CString s_fullFileFilter;
    static CString s_fullFolderFilter;
    static CCriticalSection s_filterLock;
    static CString s_cacheFolder;  // with trailing backslash
    static int s_cacheFolderLength;

private:
    static int ExcludeFilterFile(CString const& path, CStringList* list);
    static int ExcludeFilterFolder(CString const& path, CStringList* list);
    static int IncludeFilterFile(CString const& path, CStringList* list);
    static int IncludeFilterFolder(CString const& path, CStringList* list);
};
