#include "run/entries_gone.h"

#include <algorithm>
#include <unordered_map>

#include "framework/case_folding.h"
#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "run/server_match.h"
#include "storage/service_code.h"

namespace rampart {

namespace {

using View = std::basic_string_view<TCHAR>;

// The local names by what they are without regard to case.
class FoldedNames {
public:
    explicit FoldedNames(std::vector<CString> const& names) {
        for (CString const& name : names) {
            m_names.emplace(FoldCase(name.View()), &name);
        }
    }

    // Whether the record `recordName` is the one that a local name of another case goes by.
    bool HasRecordsOwner(CString const& serverFolder, CString const& folder,
                         CString const& recordName) const {
        auto const [first, last] = m_names.equal_range(FoldCase(recordName.View()));
        return std::any_of(first, last, [&](auto const& entry) {
            CString const& name = *entry.second;
            CServerPathList::Facts facts;
            return ApiUtil::GetServerPathlist().FindFacts(PathUtilities::Append(serverFolder, name), facts) ==
                       kOk &&
                   PathUtilities::GetFileName(facts.inexactPath) == recordName &&
                   !IsRecordOfSibling(PathUtilities::Append(serverFolder, name), facts.inexactPath,
                                      PathUtilities::Append(folder, name));
        });
    }

private:
    std::unordered_multimap<Text, CString const*> m_names;
};

}  // namespace

std::vector<CString> EntriesGone(CString const& serverFolder, CString const& folder,
                                 std::vector<CString>& names) {
    std::sort(names.begin(), names.end(),
              [](CString const& a, CString const& b) { return a.View() < b.View(); });
    std::vector<CString> missing;
    int const code = ApiUtil::GetServerPathlist().VisitEntries(serverFolder, [&](View name, bool) {
        auto const place = std::lower_bound(names.begin(), names.end(), name,
                                            [](CString const& a, View b) { return a.View() < b; });
        if (place == names.end() || place->View() != name) {
            missing.emplace_back(name);
        }
        return true;
    });
    if (code != kOk || missing.empty()) {
        return {};
    }
    FoldedNames const folded(names);
    std::vector<CString> gone;
    for (CString const& name : missing) {
        if (!folded.HasRecordsOwner(serverFolder, folder, name)) {
            gone.push_back(PathUtilities::Append(serverFolder, name));
        }
    }
    return gone;
}

}  // namespace rampart
