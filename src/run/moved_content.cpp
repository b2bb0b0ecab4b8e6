#include "run/moved_content.h"

#include <set>
#include <string_view>
#include <utility>

#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "storage/service_code.h"

namespace rampart {

namespace {

using Contents = std::set<std::pair<__int64, __int64>>;  // sizes with exact write times

Contents ContentsOf(std::vector<CString> left) {
    CServerPathList& records = ApiUtil::GetServerPathlist();
    Contents contents;
    while (!left.empty()) {
        CString const path = std::move(left.back());
        left.pop_back();
        CServerPathList::Facts facts;
        if (records.FindFacts(path, facts) != kOk) {
            continue;
        }
        if (facts.isFolder) {
            records.VisitEntries(path, [&](std::basic_string_view<TCHAR> name, bool) {
                left.push_back(PathUtilities::Append(path, CString(name)));
                return true;
            });
        } else if (facts.isExact && !facts.isDamaged && facts.size > 0) {
            contents.emplace(facts.size, facts.exactModifiedTime);
        }
    }
    return contents;
}

}  // namespace

__int64 MovedBytes(std::vector<CString> const& gone, CStringList const& paths) {
    Contents const contents = ContentsOf(gone);
    if (contents.empty()) {
        return 0;
    }
    __int64 bytes = 0;
    for (POSITION position = paths.GetHeadPosition(); position != nullptr;) {
        CFileInfo const info(paths.GetNext(position));
        if (info.m_isFolder == 0 && contents.contains({info.m_size, info.m_exactWriteTime})) {
            bytes += info.m_size;
        }
    }
    return bytes;
}

}  // namespace rampart
