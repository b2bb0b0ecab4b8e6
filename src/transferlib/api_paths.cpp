// Paths of the interface: the engine's own folders, and server paths of a special kind.
#include "baselib/path_text.h"
#include "baselib/product_folder.h"
#include "framework/sync.h"
#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "platform/process.h"
#include "transferlib/path_info.h"
#include "transferlib/service_connection.h"

using namespace rampart;

CServerPathList& ApiUtil::GetServerPathlist() {
    static CServerPathList list;
    return list;
}

MyPathInfo* ApiUtil::GetPathInfoEx(CString path, int share, int) {
    return GetServerPathlist().FindPath(path, share, 0, nullptr, 1);
}

// A vault belongs to one account and has no shared area.
int ApiUtil::IsSharePath(CString const&) {
    return 0;
}

// Nothing is encrypted by the client yet.
int ApiUtil::NeedEncrypted(CString const&) {
    return 0;
}

CString ApiUtil::PathToFullPath(CString const& path) {
    if (RootLength(path) > 0) {
        return path;
    }
    return PathUtilities::Append(CString(TextView(platform::UserDataFolder())), path);
}

CString ApiFunctions::GetGlobalPath(int) {
    return CString(TextView(platform::UserDataFolder()));
}

int ApiFunctions::FindPathNoCase(CString const& path, CString const& folder) {
    const TextView inside = WithoutTrailingBackslashes(path);
    const TextView outside = WithoutTrailingBackslashes(folder);
    return !outside.empty() && inside.size() > outside.size() && IsInFolder(inside, outside) ? 0 : 1;
}

CManageCacheDirMan& ApiUtil::GetManageCacheDirMan() {
    static CManageCacheDirMan manager;
    return manager;
}

CString CManageCacheDirMan::GetCacheDir() const {
    const CString folder = PathUtilities::Append(CString(ProductDataFolder()), _T("cache"));
    static Mutex mutex;
    static CString made;  // asked for with every file
    MutexLock lock(mutex);
    if (made != folder && KXFolder::RCreateDirectory(folder)) {
        made = folder;
    }
    return folder;
}
