// UserFilters: the filter entries of one task as expressions.
#pragma once

#include <vector>

#include "framework/framework.h"

namespace rampart {

// One list of entries, converted once.
class UserFilters {
public:
    // `isFolder` as for RegexFilter::ChangeFilePathToBoostRegexFilter.
    UserFilters(std::vector<CString> entries, int isFolder);

    // Those of a list, kept for the calling thread, which asks for each of its files; valid until its next
    // call.
    static UserFilters const& Of(CStringList const& list, int isFolder);

    // Whether an expression matches the whole path.
    bool Matches(CString const& path) const;

private:
    bool IsOf(CStringList const& list, int isFolder) const;

    std::vector<CString> m_entries;
    int m_isFolder;
    std::vector<CString> m_expressions;
};

}  // namespace rampart
