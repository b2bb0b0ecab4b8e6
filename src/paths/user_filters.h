// UserFilters: the expressions of the task layer's filter entries, converted once and shared by all scans.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "framework/framework.h"

namespace rampart {

// One list of entries as expressions. Any thread may call; a match runs on a snapshot, without a lock.
class UserFilters {
public:
    // `isFolder` as for RegexFilter::ChangeFilePathToBoostRegexFilter.
    explicit UserFilters(int isFolder) : m_isFolder(isFolder) {}

    void Set(std::vector<CString> const& entries);
    // Whether an expression matches the whole path.
    bool Matches(CString const& path) const;

private:
    using Expressions = std::shared_ptr<std::vector<CString> const>;

    int const m_isFolder;
    mutable std::mutex m_mutex;
    Expressions m_expressions;  // null when there is none
};

}  // namespace rampart
