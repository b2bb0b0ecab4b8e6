#include "run/server_path_map.h"

#include "run/run_state.h"

namespace rampart {

namespace {

CString FirstElement(CString const& rest) {
    int const end = rest.Find(_T('\\'));
    return end < 0 ? rest : rest.Left(end);
}

}  // namespace

ServerPathMap::ServerPathMap(std::vector<SourceInfo*> const& sources) : m_sources(sources) {
    if (sources.empty() || sources.front() == nullptr) {
        return;
    }
    CString const first = WithoutTrailingBackslash(sources.front()->path);
    int const position = first.ReverseFind(_T('\\'));
    if (position >= 1) {
        m_parent = first.Left(position + 1);
    }
}

bool ServerPathMap::IsBelowParent(CString const& path) const {
    return !m_parent.IsEmpty() && path.GetLength() > m_parent.GetLength() &&
           path.Left(m_parent.GetLength()).CompareNoCase(m_parent) == 0;
}

CString ServerPathMap::DriveFolder(TCHAR letter) const {
    CString name(letter);
    auto taken = [&] {
        for (SourceInfo const* source : m_sources) {
            if (source != nullptr && IsBelowParent(source->path) &&
                FirstElement(source->path.Mid(m_parent.GetLength())).CompareNoCase(name) == 0) {
                return true;
            }
        }
        return false;
    };
    while (taken()) {
        name += _T("_");
    }
    return name;
}

CString ServerPathMap::ToServer(CString const& localPath) const {
    if (IsBelowParent(localPath)) {
        return localPath.Mid(m_parent.GetLength() - 1);
    }
    TCHAR const drive = GetDriveFromPath(localPath);
    CString rest = localPath;
    rest.Remove(_T(':'));
    rest = drive == 0 ? rest : DriveFolder(drive) + rest.Mid(1);
    rest.TrimLeft(_T('\\'));
    return WithoutTrailingBackslash(_T("\\") + rest);
}

CString ServerPathMap::ToLocal(CString const& serverRest) const {
    CString rest = serverRest;
    rest.TrimLeft(_T('\\'));
    CString const first = FirstElement(rest);
    bool const isDrive = !first.IsEmpty() && first == DriveFolder(first[0]);
    if (!isDrive && !m_parent.IsEmpty()) {
        return m_parent + rest;
    }
    CString const below = rest.Mid(first.GetLength());
    return first.Left(1) + _T(":") + (below.IsEmpty() ? CString(_T("\\")) : below);
}

}  // namespace rampart
