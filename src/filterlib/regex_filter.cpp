#include <platform_thread_object.h>
#include <atomic>
#include <functional>
#include <unordered_map>

#include "filterlib/expression_set.h"
#include "filterlib/filter_text.h"
#include "filterlib/wildcard.h"
#include "framework/guarded.h"
#include "framework/sync.h"
#include "interfaces/baselib.h"
#include "interfaces/filterlib.h"
#include "platform/immortal.h"

using namespace rampart;

namespace {

constexpr TextView kExpressionMark = _T("regex:");

struct CompiledLists {
    std::shared_ptr<const ExpressionSet> files;
    std::shared_ptr<const ExpressionSet> folders;
};

// The lists in force. A thread keeps what it read last, and takes the lock only after a change.
class AccountFilters {
public:
    void Replace(CompiledLists lists) {
        MutexLock lock(m_mutex);
        m_hasFiles = lists.files->Size() > 0;
        m_hasFolders = lists.folders->Size() > 0;
        m_lists = std::move(lists);
        m_generation.fetch_add(1, std::memory_order_release);
    }

    bool MatchesFile(TextView path) {
        return m_hasFiles.load(std::memory_order_acquire) && Matches(OfThread().files, path);
    }

    bool MatchesFolder(TextView path) {
        return m_hasFolders.load(std::memory_order_acquire) && Matches(OfThread().folders, path);
    }

private:
    static bool Matches(const std::shared_ptr<const ExpressionSet>& set, TextView path) {
        return set && set->Matches(FilterText(path));
    }

    const CompiledLists& OfThread() {
        auto& lists = platform::ThreadObject<CompiledLists>([] { return CompiledLists(); });
        thread_local uint32_t generation = 0;
        if (const uint32_t present = m_generation.load(std::memory_order_acquire); present != generation) {
            MutexLock lock(m_mutex);
            lists = m_lists;
            generation = present;
        }
        return lists;
    }

    std::atomic<bool> m_hasFiles{false};
    std::atomic<bool> m_hasFolders{false};
    std::atomic<uint32_t> m_generation{0};
    Mutex m_mutex;
    CompiledLists m_lists RAMPART_GUARDED_BY(m_mutex);
};

// The process has one pair of lists.
AccountFilters& Account() {
    static Immortal<AccountFilters> filters;
    return *filters;
}

// Results kept for the entries of the tasks' lists, which are asked for every file. Emptied when it has grown
// out of all proportion to such lists.
template <class Value>
class EntryCache {
public:
    template <class Make>
    Value Get(TextView entry, Make&& make) {
        {
            MutexLock lock(m_mutex);
            if (const auto found = m_values.find(entry); found != m_values.end()) {
                return found->second;
            }
        }
        Value value = make();
        MutexLock lock(m_mutex);
        if (m_values.size() >= kMostEntries) {
            m_values.clear();
        }
        return m_values.emplace(Text(entry), std::move(value)).first->second;
    }

private:
    static constexpr size_t kMostEntries = 4096;
    struct Hash : std::hash<TextView> {
        using is_transparent = void;
    };

    Mutex m_mutex;
    std::unordered_map<Text, Value, Hash, std::equal_to<>> m_values RAMPART_GUARDED_BY(m_mutex);
};

std::shared_ptr<const RE2> CompiledExpression(TextView expression) {
    static Immortal<EntryCache<std::shared_ptr<const RE2>>> cache;
    return cache->Get(expression, [&] {
        auto compiled = std::make_shared<const RE2>(std::string(FilterText(expression)), FilterOptions());
        if (!compiled->ok()) {
            LogErrorMessage(_T("Error: filter expression not understood- ") + CString(expression));
        }
        return compiled;
    });
}

CString ExpressionOf(TextView entry, bool isFolder) {
    static Immortal<EntryCache<CString>> files, folders;
    return (isFolder ? folders : files)->Get(entry, [&] {
        return CString(TextView(ExpressionOfEntry(entry, isFolder)));
    });
}

template <class Add>
void ForEachPart(TextView text, Add&& add) {
    while (!text.empty()) {
        const size_t bar = std::min(text.find(_T('|')), text.size());
        CString part(text.substr(0, bar));
        if (!part.Trim().IsEmpty()) {
            add(part);
        }
        text.remove_prefix(std::min(bar + 1, text.size()));
    }
}

}  // namespace

int RegexFilter::InitBoostRegex(std::vector<CString> const& fileFilters,
                                std::vector<CString> const& folderFilters) {
    return Guarded(_T("Error: InitBoostRegex"), 0, [&] {
        std::vector<CString> rejected;
        CompiledLists lists;
        lists.files = std::make_shared<const ExpressionSet>(fileFilters, rejected);
        lists.folders = std::make_shared<const ExpressionSet>(folderFilters, rejected);
        for (CString const& expression : rejected) {
            LogErrorMessage(_T("Error: filter expression not understood- ") + expression);
        }
        const size_t taken = lists.files->Size() + lists.folders->Size();
        Account().Replace(std::move(lists));
        return static_cast<int>(taken);
    });
}

int RegexFilter::MatchBoostFileFilter(CString const& path) {
    return Guarded(_T("Error: MatchBoostFileFilter"), 0, [&] { return Account().MatchesFile(path) ? 1 : 0; });
}

int RegexFilter::MatchBoostFolderFilter(CString const& path) {
    return Guarded(_T("Error: MatchBoostFolderFilter"), 0,
                   [&] { return Account().MatchesFolder(path) ? 1 : 0; });
}

int RegexFilter::MatchUIBoostFilter(CString const& expression, CString const& text) {
    return Guarded(_T("Error: MatchUIBoostFilter"), 0, [&] {
        if (expression.IsEmpty()) {
            return 0;
        }
        const std::shared_ptr<const RE2> compiled = CompiledExpression(expression);
        const std::string_view utf8 = FilterText(text);
        return compiled->ok() && RE2::FullMatch(re2::StringPiece(utf8.data(), utf8.size()), *compiled) ? 1
                                                                                                       : 0;
    });
}

CString RegexFilter::ChangeFilePathToBoostRegexFilter(CString const& path, int isFolder) {
    return Guarded(_T("Error: ChangeFilePathToBoostRegexFilter"), CString(),
                   [&] { return ExpressionOf(path, isFolder != 0); });
}

void RegexFilter::StoreRegexFilterToVector(CString const& text, std::vector<CString>& out, int isFolder) {
    Guarded(_T("Error: StoreRegexFilterToVector"), [&] {
        ForEachPart(text, [&](CString const& part) { out.push_back(ExpressionOf(part, isFolder != 0)); });
    });
}

void RegexFilter::StoreRegexServerFilterToVector(CString const& text, std::vector<CString>& out,
                                                 int isFolder) {
    Guarded(_T("Error: StoreRegexServerFilterToVector"), [&] {
        ForEachPart(text, [&](CString const& part) {
            const bool isExpression = StartsWithNoCase(part, kExpressionMark);
            out.push_back(isExpression ? part.Mid(static_cast<int>(kExpressionMark.size()))
                                       : ExpressionOf(part, isFolder != 0));
        });
    });
}
