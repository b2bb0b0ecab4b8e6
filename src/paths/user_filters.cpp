#include "paths/user_filters.h"

#include <platform_thread_object.h>

#include <algorithm>
#include <deque>

#include "interfaces/filterlib.h"

namespace rampart {

namespace {

constexpr size_t kMostKept = 8;  // a scan asks for the two lists of its task

}  // namespace

UserFilters::UserFilters(std::vector<CString> entries, int isFolder)
    : m_entries(std::move(entries)), m_isFolder(isFolder) {
    for (CString const& entry : m_entries) {
        m_expressions.push_back(RegexFilter::ChangeFilePathToBoostRegexFilter(entry, isFolder));
    }
}

UserFilters const& UserFilters::Of(CStringList const& list, int isFolder) {
    auto& kept = platform::ThreadObject<std::deque<UserFilters>>([] { return std::deque<UserFilters>(); });
    auto const found = std::find_if(kept.begin(), kept.end(),
                                    [&](UserFilters const& filters) { return filters.IsOf(list, isFolder); });
    if (found != kept.end()) {
        return *found;
    }
    if (kept.size() >= kMostKept) {
        kept.pop_back();
    }
    return kept.emplace_front(std::vector<CString>(list.begin(), list.end()), isFolder);
}

bool UserFilters::IsOf(CStringList const& list, int isFolder) const {
    return m_isFolder == isFolder && std::equal(m_entries.begin(), m_entries.end(), list.begin(), list.end());
}

bool UserFilters::Matches(CString const& path) const {
    return std::any_of(m_expressions.begin(), m_expressions.end(), [&](CString const& expression) {
        return RegexFilter::MatchUIBoostFilter(expression, path) != 0;
    });
}

}  // namespace rampart
