// Questions that every long loop of a run asks.
#pragma once

#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "paths/temporary_files.h"
#include "progress/task_prg.h"
#include "task/engine_text.h"

namespace rampart {

inline bool IsCancelled(CTaskPrgClass const* progress) {
    return progress != nullptr && progress->m_bCancel != 0;
}

inline bool IsRunEnding(CTaskPrgClass const* progress) {
    return IsCancelled(progress) || IsAppEnding();
}

inline constexpr __int64 kMegabyte = 0x100000;

// Priority of the threads of a run.
inline constexpr int kBelowNormal = -1;

template <typename... Args>
void DebugFormat(TCHAR const* format, Args const&... args) {
    CString line;
    line.Format(format, args...);
    DebugLine(line);
}

// Bytes that an encrypted file takes on the server beyond its local size.
inline constexpr __int64 kEncryptionOverhead = 128;

inline __int64 OverheadOf(CString const& serverPath) {
    return ApiUtil::NeedEncrypted(serverPath) ? kEncryptionOverhead : 0;
}

inline bool IsThumbsFile(CString const& name) {
    return name.CompareNoCase(_T("Thumbs.db")) == 0;
}

// The part behind the last backslash.
inline CString LastElement(CString const& path) {
    return path.Mid(path.ReverseFind(_T('\\')) + 1);
}

inline CString WithoutTrailingBackslash(CString path) {
    return path.Right(1) == _T("\\") ? path.Left(path.GetLength() - 1) : path;
}

}  // namespace rampart
