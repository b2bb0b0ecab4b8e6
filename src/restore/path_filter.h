// What of the stored tree is wanted, by the patterns that tasks have.
#pragma once

#include <vector>

#include "framework/framework.h"

namespace rampart {

class PathFilter {
public:
    // Patterns in engine form; one that names folders ends in a backslash. An exclusion without a slash
    // leaves out files and folders of that name alike.
    PathFilter(const std::vector<CString>& include, const std::vector<CString>& exclude);

    bool IsEmpty() const { return !m_hasInclusions && m_excludedFiles.empty() && m_excludedFolders.empty(); }
    bool HasInclusions() const { return m_hasInclusions; }
    // A file by its engine path. `isInside`: a folder above it is included as a whole.
    bool TakesFile(const CString& path, bool isInside) const;
    bool ExcludesFolder(const CString& path) const;
    bool IncludesFolder(const CString& path) const;

private:
    bool m_hasInclusions = false;
    std::vector<CString> m_includedFiles;  // expressions
    std::vector<CString> m_includedFolders;
    std::vector<CString> m_excludedFiles;
    std::vector<CString> m_excludedFolders;
};

}  // namespace rampart
