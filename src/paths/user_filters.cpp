#include "paths/user_filters.h"

#include <algorithm>

#include "interfaces/filterlib.h"

namespace rampart {

void UserFilters::Set(std::vector<CString> const& entries) {
    std::vector<CString> expressions;
    expressions.reserve(entries.size());
    for (CString const& entry : entries) {
        expressions.push_back(RegexFilter::ChangeFilePathToBoostRegexFilter(entry, m_isFolder));
    }
    Expressions fresh;
    if (!expressions.empty()) {
        fresh = std::make_shared<std::vector<CString> const>(std::move(expressions));
    }
    std::lock_guard lock(m_mutex);
    m_expressions.swap(fresh);
}

bool UserFilters::Matches(CString const& path) const {
    Expressions expressions;
    {
        std::lock_guard lock(m_mutex);
        expressions = m_expressions;
    }
    return expressions &&
           std::any_of(expressions->begin(), expressions->end(), [&](CString const& expression) {
               return RegexFilter::MatchUIBoostFilter(expression, path) != 0;
           });
}

}  // namespace rampart
