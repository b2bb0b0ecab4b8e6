#include <optional>

#include "baselib/file_kind.h"
#include "baselib/name_pattern.h"
#include "baselib/path_text.h"
#include "interfaces/baselib.h"

using namespace rampart;
using platform::DirectoryEntry;

// The listing stands one entry ahead of the caller, who is to hear whether more follow.
struct KXFileFind::Impl {
    std::unique_ptr<platform::DirectoryReader> reader;
    CString folder;
    Text pattern;  // empty matches every name
    DirectoryEntry entries[2];
    int present = 0;
    bool hasPresent = false;
    bool hasNext = false;
    bool isComplete = false;
    bool hasUnknown = false;  // an entry of which nothing is known but its name

    DirectoryEntry& Next() { return entries[1 - present]; }
    const DirectoryEntry* Present() const { return hasPresent ? &entries[present] : nullptr; }

    // Fetches the next entry that can be backed up.
    void Fetch() {
        hasNext = false;
        DirectoryEntry& entry = Next();
        while (reader && reader->Next(entry)) {
            if (!pattern.empty() && !MatchesPattern(entry.name, pattern)) {
                continue;
            }
            if (const LPCTSTR reason = ReasonToSkip(entry.status.attributes)) {
                NoteSkipped(folder, entry.name, reason);
                continue;
            }
            if (!entry.hasStatus && !entry.status.IsDirectory()) {
                NoteUnreadable(PathUtilities::Append(folder, CString(TextView(entry.name))));
                hasUnknown = true;
                continue;
            }
            hasNext = true;
            return;
        }
        if (reader && platform::LastError() != platform::kNoMoreItems) {
            NoteUnreadable(folder);
        } else if (reader) {
            isComplete = pattern.empty() && !hasUnknown;
        }
        reader = nullptr;
    }

    // A pattern without wildcards names one entry.
    void FetchSingle(TextView path, TextView name) {
        DirectoryEntry& entry = Next();
        hasNext = QueryKnownKind(path, entry.status);
        entry.hasStatus = hasNext;
        entry.name = name;
    }
};

KXFileFind::KXFileFind() = default;

KXFileFind::~KXFileFind() = default;

int KXFileFind::FindFile(CString const& pattern, DWORD) {
    Close();
    const TextView text = pattern;
    const size_t backslash = text.rfind(kBackslash);
    TextView folder = backslash == TextView::npos ? TextView() : text.substr(0, backslash);
    while (!folder.empty() && folder.back() == kBackslash) {
        folder.remove_suffix(1);
    }
    const TextView name = backslash == TextView::npos ? text : text.substr(backslash + 1);
    if (folder.empty() || name.empty()) {
        platform::SetLastError(platform::kPathNotFound);
        return 0;
    }
    m_impl = std::make_unique<Impl>();
    m_impl->folder = CString(folder);
    if (name.find_first_of(_T("*?")) == TextView::npos) {
        m_impl->FetchSingle(text, name);
        return m_impl->hasNext ? 1 : 0;
    }
    if (name != _T("*") && name != _T("*.*")) {
        m_impl->pattern = name;
    }
    m_impl->reader = platform::DirectoryReader::Open(folder, true);
    if (!m_impl->reader) {
        NoteUnreadable(folder);
        return 0;
    }
    m_impl->Fetch();
    return m_impl->hasNext ? 1 : 0;
}

int KXFileFind::FindNextFileW() {
    if (!m_impl || !m_impl->hasNext) {
        if (m_impl) {
            m_impl->hasPresent = false;
        }
        return 0;
    }
    m_impl->present = 1 - m_impl->present;
    m_impl->hasPresent = true;
    m_impl->Fetch();
    return m_impl->hasNext ? 1 : 0;
}

void KXFileFind::Close() {
    m_impl = nullptr;
}

CString KXFileFind::GetFileName() const {
    const DirectoryEntry* entry = m_impl ? m_impl->Present() : nullptr;
    return entry ? CString(TextView(entry->name)) : CString();
}

CString KXFileFind::GetFilePath() const {
    const DirectoryEntry* entry = m_impl ? m_impl->Present() : nullptr;
    if (!entry) {
        return CString();
    }
    CString path;
    path.Preallocate(m_impl->folder.GetLength() + 1 + static_cast<int>(entry->name.size()));
    path += m_impl->folder;
    path += kBackslash;
    path += TextView(entry->name);
    return path;
}

__int64 KXFileFind::GetLength() const {
    const DirectoryEntry* entry = m_impl ? m_impl->Present() : nullptr;
    return entry && !entry->status.IsDirectory() ? static_cast<__int64>(entry->status.size) : 0;
}

CTime KXFileFind::GetLastWriteTime() const {
    constexpr int64_t kNanoseconds = 1'000'000'000;
    const DirectoryEntry* entry = m_impl ? m_impl->Present() : nullptr;
    const int64_t time = entry ? entry->status.writeTime : 0;
    return CTime(time / kNanoseconds - (time % kNanoseconds < 0 ? 1 : 0));
}

int KXFileFind::IsDots() const {
    return 0;  // a listing never holds "." and ".."
}

int KXFileFind::IsDirectory() const {
    const DirectoryEntry* entry = m_impl ? m_impl->Present() : nullptr;
    return entry && entry->status.IsDirectory() ? 1 : 0;
}

int KXFileFind::IsTemporary() const {
    const DirectoryEntry* entry = m_impl ? m_impl->Present() : nullptr;
    return entry && (entry->status.attributes & platform::kTemporary) != 0 ? 1 : 0;
}

FileKind KXFileFind::Kind() const {
    const DirectoryEntry* entry = m_impl ? m_impl->Present() : nullptr;
    return entry ? KindOf(entry->status) : FileKind::kFile;
}

__int64 KXFileFind::GetExactWriteTime() const {
    const DirectoryEntry* entry = m_impl ? m_impl->Present() : nullptr;
    return entry ? entry->status.writeTime : 0;
}

__int64 KXFileFind::GetChangeTime() const {
    const DirectoryEntry* entry = m_impl ? m_impl->Present() : nullptr;
    return entry ? entry->status.changeTime : 0;
}

bool KXFileFind::IsComplete() const {
    return m_impl && m_impl->isComplete;
}

int KXFileFind::IsHidden() const {
    const DirectoryEntry* entry = m_impl ? m_impl->Present() : nullptr;
    return entry && (entry->status.attributes & platform::kHidden) != 0 ? 1 : 0;
}
