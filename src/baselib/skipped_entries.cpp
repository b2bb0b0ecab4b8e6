#include <atomic>
#include <mutex>

#include "baselib/file_kind.h"
#include "baselib/path_text.h"
#include "framework/guarded.h"
#include "interfaces/baselib.h"

using namespace rampart;

namespace {

std::atomic<bool> s_keepsSpecial{false};

// The sink and its context belong together, so they change under a lock; a listing pays for it only when it
// has something to say.
Mutex s_mutex;
SkippedEntrySink s_sink RAMPART_GUARDED_BY(s_mutex) = nullptr;
void* s_context RAMPART_GUARDED_BY(s_mutex) = nullptr;

}  // namespace

void SetSkippedEntrySink(SkippedEntrySink sink, void* context) {
    MutexLock lock(s_mutex);
    s_sink = sink;
    s_context = context;
}

void NoteSkippedEntry(SkippedEntry const& entry) {
    SkippedEntrySink sink;
    void* context;
    {
        MutexLock lock(s_mutex);
        sink = s_sink;
        context = s_context;
    }
    if (sink) {
        Guarded(_T("Error: NoteSkippedEntry"), [&] { sink(entry, context); });
    }
}

void KeepSpecialFiles(bool isKept) {
    s_keepsSpecial = isKept;
}

bool KeepsSpecialFiles() {
    return s_keepsSpecial;
}

namespace rampart {

bool QueryKnownKind(TextView path, platform::FileStatus& status) {
    return !path.empty() && platform::QueryStatus(WithoutTrailingBackslashes(path), status) &&
           !ReasonToSkip(status.attributes);
}

LPCTSTR ReasonToSkip(uint32_t attributes) {
    constexpr uint32_t kFolderLink = platform::kReparsePoint | platform::kDirectory;
    if ((attributes & kFolderLink) == kFolderLink) {
        return _T("link to a folder");
    }
    const bool isKept = s_keepsSpecial && (attributes & platform::kSocket) == 0;
    return (attributes & platform::kSpecial) != 0 && !isKept ? _T("named pipe, socket or device") : nullptr;
}

FileKind KindOf(const platform::FileStatus& status) {
    return status.IsLink() ? FileKind::kLink : status.IsSpecial() ? FileKind::kSpecial : FileKind::kFile;
}

void NoteSkipped(TextView folder, TextView name, LPCTSTR reason) {
    NoteSkippedEntry({PathUtilities::Append(CString(folder), CString(name)), reason, false});
}

void NoteUnreadable(TextView path) {
    const uint32_t error = platform::LastError();
    NoteSkippedEntry({CString(path), GetLastErrorMsgEx(error), true});
    platform::SetLastError(error);
}

}  // namespace rampart
