// The sources of a task: the list, the path questions of a run, and the drives that move.
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "paths/global_function.h"
#include "platform/error.h"
#include "task/backup_task.h"

namespace {

CString WithBackslash(CString path) {
    if (path.Right(1) != _T("\\")) {
        path += _T("\\");
    }
    return path;
}

// Whether `path` is `folder` or lies below it; without `deep` only directly below it.
bool IsSubPath(CString const& folderPath, CString const& path, bool deep) {
    CString folder = WithBackslash(folderPath);
    if (path.Left(folder.GetLength()).CompareNoCase(folder) != 0) {
        folder = folder.Left(folder.GetLength() - 1);
        return folder.CompareNoCase(path) == 0;
    }
    return deep || path.Find(_T('\\'), folder.GetLength()) < 0;
}

// The path as a Windows one, without its one trailing backslash.
CString WindowsForm(CString path) {
    return GlobalFunction::IsWINOSBackupType(path) ? path : GlobalFunction::ConverMacPathToWINPath(path);
}

// Up to and including the last backslash; empty if there is none behind the first character.
CString UpToLastBackslash(CString const& path) {
    int const position = path.ReverseFind(_T('\\'));
    return position > 0 ? path.Left(position + 1) : CString();
}

void ReplaceDrive(SourceInfo& source, TCHAR from, TCHAR to) {
    rampart::Guarded(_T("Error:UpdateSrcDriveLetter"), 0, [&] {
        CString oldDrive;
        CString newDrive;
        oldDrive.Format(_T("%c:"), from);
        newDrive.Format(_T("%c:"), to);
        source.path.Replace(oldDrive, newDrive);
        return 1;
    });
}

// Follows the volume of one source to its present letter. `moved` is told the letters if they changed; false
// means that there is nothing to compare or to correct.
bool FindMovedDrive(SourceInfo& source, TCHAR& from, TCHAR& to) {
    from = GetDriveFromPath(source.path);
    if (from == 0) {
        return false;
    }
    uint32_t const serial = GetDiskserial(from);
    if (source.serial == 0) {
        source.serial = serial;
        return false;
    }
    if (source.serial == serial) {
        return false;
    }
    to = GetDiskBySerial(source.serial);
    return to != 0 && to != from;
}

}  // namespace

void CBackupTask::AddSrcPath(CString path) {
    auto source = std::make_unique<SourceInfo>();
    source->path = path;
    source->isFolder = KXFolder::IsDirectory(path) ? 1 : 0;
    source->serial = static_cast<uint32_t>(GetDiskserial(GetDriveFromPath(path)));
    m_localDirList.push_back(source.release());
}

void CBackupTask::AddSrcPathList(CStringList& paths) {
    for (POSITION position = paths.GetHeadPosition(); position != nullptr;) {
        AddSrcPath(paths.GetNext(position));
    }
}

void CBackupTask::SortSrcList(CPtrList& sources, int ascending) {
    CPtrList sorted(10);
    for (POSITION from = sources.GetHeadPosition(); from != nullptr;) {
        auto* const source = static_cast<SourceInfo*>(sources.GetNext(from));
        if (source == nullptr) {
            return;
        }
        POSITION place = sorted.GetHeadPosition();
        while (place != nullptr) {
            int const order = static_cast<SourceInfo*>(sorted.GetAt(place))->path.CompareNoCase(source->path);
            if (ascending != 0 ? order > 0 : order < 0) {
                break;
            }
            sorted.GetNext(place);
        }
        if (place != nullptr) {
            sorted.InsertBefore(place, source);
        } else {
            sorted.AddTail(source);
        }
    }
    sources.RemoveAll();
    sources.AddTail(&sorted);
}

void CBackupTask::ReplaceLocalList(CPtrList& sources) {
    SortSrcList(sources, 1);
    ClearSrcList();
    for (bool const folders : {true, false}) {
        for (POSITION position = sources.GetHeadPosition(); position != nullptr;) {
            auto* const source = static_cast<SourceInfo*>(sources.GetNext(position));
            if (source != nullptr && (source->isFolder != 0) == folders) {
                m_localDirList.push_back(source);
            }
        }
    }
}

void CBackupTask::ReplaceLocalList(CStringList& paths) {
    GlobalFunction::SortStringList(paths, 1);
    std::vector<CString> folders;
    std::vector<CString> files;
    for (POSITION position = paths.GetHeadPosition(); position != nullptr;) {
        CString const path = paths.GetNext(position);
        (BackupPathIsFile(path) ? files : folders).push_back(path);
    }
    ClearSrcList();
    for (std::vector<CString> const* group : {&folders, &files}) {
        for (CString const& path : *group) {
            AddSrcPath(path);
        }
    }
}

SourceInfo* CBackupTask::GetSrcItem(CString const& path) {
    for (SourceInfo* source : m_localDirList) {
        if (source != nullptr && source->path.CompareNoCase(path) == 0) {
            return source;
        }
    }
    return nullptr;
}

int CBackupTask::IsInSourceList(CString const& path) {
    return GetSrcItem(path) != nullptr;
}

int CBackupTask::IsSameSrcList(std::vector<SourceInfo*>& other) {
    if (m_localDirList.size() != other.size()) {
        return 0;
    }
    for (size_t i = 0; i < other.size(); ++i) {
        SourceInfo const* const mine = m_localDirList[i];
        SourceInfo const* const theirs = other[i];
        if (mine == nullptr || theirs == nullptr || mine->serial != theirs->serial ||
            mine->isFolder != theirs->isFolder || mine->path.CompareNoCase(theirs->path) != 0) {
            return 0;
        }
    }
    return 1;
}

int CBackupTask::IsInBackupList(CString path) {
    if (PathUtilities::GetFileName(path).CompareNoCase(_T("Thumbs.db")) == 0 &&
        !KXFolder::IsDirectory(path)) {
        return 0;
    }
    for (SourceInfo const* source : m_localDirList) {
        if (source != nullptr &&
            (source->path.CompareNoCase(path) == 0 || IsSubPath(source->path, path, true))) {
            return 1;
        }
    }
    return 0;
}

CString CBackupTask::GetTopFolder() {
    CString path = WindowsForm(GetFirstSrcPath());
    if (path.Right(1) == _T("\\")) {
        path = path.Left(path.GetLength() - 1);
    }
    return UpToLastBackslash(path);
}

CString CBackupTask::GetBackupParentPath() {
    CString const path = WindowsForm(GetFirstSrcPath());
    return m_localDirList.size() < 2 ? path : UpToLastBackslash(path);
}

int CBackupTask::UpdateSrcDriveLetter() {
    SourceInfo* const first = m_localDirList.empty() ? nullptr : m_localDirList.front();
    TCHAR from = 0;
    TCHAR to = 0;
    if (first != nullptr && GetTopFolder().Find(_T(':')) > 0 && GetDriveFromPath(first->path) != 0) {
        if (!FindMovedDrive(*first, from, to)) {
            return 0;
        }
        for (SourceInfo* source : m_localDirList) {
            if (source != nullptr) {
                ReplaceDrive(*source, from, to);
            }
        }
        return 1;
    }
    int changed = 0;
    for (SourceInfo* source : m_localDirList) {
        if (source != nullptr && FindMovedDrive(*source, from, to)) {
            ReplaceDrive(*source, from, to);
            changed = 1;
        }
    }
    return changed;
}
