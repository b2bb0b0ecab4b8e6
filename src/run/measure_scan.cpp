#include "run/measure_scan.h"

#include "engine/vaultlib_app.h"
#include "interfaces/baselib.h"
#include "manager/backup_manage.h"
#include "run/run_state.h"
#include "run/source_scan.h"

namespace rampart {

namespace {

constexpr int kMaxPathLength = 1024;

}  // namespace

MeasureScan::MeasureScan(CBackupManage& manager, MeasureRequest const& request, ScanFilter const& filter)
    : m_manager(manager), m_request(request), m_filter(filter) {}

void MeasureScan::NoteProgress(__int64 sum, CString const& folder) const {
    CString count;
    count.Format(_T("%d"), m_request.count);
    m_manager.SetScanTaskInfo(FormatSizeToString(m_request.sizeSoFar + sum, 0), count, folder);
}

__int64 MeasureScan::MeasureFile(CString const& path) {
    CFileInfo const info(path);
    bool const temporary = FileIsTemporary(path) != 0;
    if (!m_filter.TakesFile(path) || ((info.m_exists == 0 || temporary) && !AllowTemporaryFiles())) {
        return 0;
    }
    ++m_request.addedCounter;
    EnterInUploadOrder(m_request.list, path, info.m_size);
    __int64 size = info.m_size + m_request.overhead;
    if (size < 0) {
        DebugFormat(_T("Scan: file error size: %I64d"), size);
        size = 0;
    }
    ++m_request.count;
    NoteProgress(size, PathUtilities::GetParentFolder(path));
    return size;
}

__int64 MeasureScan::MeasureFolder(CString const& path, CString& limitPath, int& ok) {
    __int64 sum = 0;
    m_folders.AddTail(path);
    while (!m_folders.IsEmpty()) {
        if (theVaultLibApp.IsLoopCancel() || IsAppEnding()) {
            return 0;
        }
        CString const folder = WithoutTrailingBackslash(m_folders.RemoveHead());
        if (m_request.count < 1) {
            NoteProgress(sum, folder + _T("\\"));
        }
        if (folder.GetLength() > kMaxPathLength || (!m_filter.IsInclude() && m_filter.DropsFolder(folder))) {
            continue;
        }
        if (!m_filter.IsInclude() || !m_filter.DropsFolder(folder)) {
            m_request.list.AddTail(folder);
        }
        if (!MeasureEntries(folder, sum)) {
            limitPath = folder;
            ok = 0;
            return 0;
        }
    }
    // A sum that a stop cut short is none.
    return IsAppEnding() || theVaultLibApp.IsLoopCancel() ? 0 : sum;
}

bool MeasureScan::MeasureEntries(CString const& folder, __int64& sum) {
    __int64 const limit = ApiUtil::GetLimitUploadNumber();
    __int64 subItems = 0;
    KXFileFind find;
    int more = find.FindFile(ApiUtil::PathToFullPath(folder) + _T("\\*.*"));
    while (more != 0 && !IsAppEnding() && !theVaultLibApp.IsLoopCancel()) {
        more = find.FindNextFileW();
        if (find.IsDots() || (find.IsTemporary() && !AllowTemporaryFiles())) {
            continue;
        }
        CString const path = PathUtilities::Append(folder, find.GetFileName());
        bool const isFolder = find.IsDirectory() != 0;
        if (!isFolder && !m_filter.TakesFileOfFolder(path, folder)) {
            continue;
        }
        if (++subItems > limit) {
            return false;
        }
        if (isFolder) {
            m_folders.AddTail(path);
            continue;
        }
        ++m_request.addedCounter;
        ++m_request.count;
        __int64 const length = find.GetLength() + m_request.overhead;
        sum += std::max<__int64>(0, length);
        EnterInUploadOrder(m_request.list, path, find.GetLength());
        NoteProgress(sum, folder);
    }
    return true;
}

}  // namespace rampart
