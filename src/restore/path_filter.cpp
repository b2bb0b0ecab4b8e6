#include "restore/path_filter.h"

#include <algorithm>

#include "interfaces/filterlib.h"

namespace rampart {
namespace {

bool Matches(const std::vector<CString>& expressions, const CString& path) {
    return std::any_of(expressions.begin(), expressions.end(), [&](const CString& expression) {
        return RegexFilter::MatchUIBoostFilter(expression, path) != 0;
    });
}

CString AsFolder(const CString& path) {
    return path.Right(1) == _T("\\") ? path : path + _T("\\");
}

void Add(const CString& pattern, bool isExclusion, std::vector<CString>& files,
         std::vector<CString>& folders) {
    const bool namesFolder = pattern.GetLength() > 1 && pattern.Right(1) == _T("\\");
    const CString entry = namesFolder ? pattern.Left(pattern.GetLength() - 1) : pattern;
    if (namesFolder || isExclusion) {
        folders.push_back(RegexFilter::ChangeFilePathToBoostRegexFilter(entry, 1));
    }
    if (!namesFolder) {
        files.push_back(RegexFilter::ChangeFilePathToBoostRegexFilter(entry, 0));
    }
}

}  // namespace

PathFilter::PathFilter(const std::vector<CString>& include, const std::vector<CString>& exclude)
    : m_hasInclusions(!include.empty()) {
    for (const CString& pattern : include) {
        Add(pattern, false, m_includedFiles, m_includedFolders);
    }
    for (const CString& pattern : exclude) {
        Add(pattern, true, m_excludedFiles, m_excludedFolders);
    }
}

bool PathFilter::TakesFile(const CString& path, bool isInside) const {
    return (!m_hasInclusions || isInside || Matches(m_includedFiles, path)) &&
           !Matches(m_excludedFiles, path);
}

bool PathFilter::ExcludesFolder(const CString& path) const {
    return !m_excludedFolders.empty() && Matches(m_excludedFolders, AsFolder(path));
}

bool PathFilter::IncludesFolder(const CString& path) const {
    return !m_includedFolders.empty() && Matches(m_includedFolders, AsFolder(path));
}

}  // namespace rampart
