#include "framework/guarded.h"
#include "framework/safe_point.h"
#include "interfaces/snapcopylib.h"
#include "platform/error.h"
#include "platform/file_system.h"

using namespace rampart;

namespace {

constexpr int kAttempts = 4;
constexpr DWORD kFirstPauseMs = 250;  // doubled after each attempt
constexpr unsigned long kGoOn = 0;

platform::CopyProgress ProgressOf(CopyRoutine routine, void* context) {
    if (!routine) {
        return nullptr;
    }
    return [=](uint64_t total, uint64_t moved) {
        return routine(static_cast<__int64>(total), static_cast<__int64>(moved), context) == kGoOn;
    };
}

bool IsUnchanged(const platform::FileStatus& before, const platform::FileStatus& after) {
    return before.size == after.size && before.writeTime == after.writeTime &&
           before.fileId == after.fileId && before.volumeId == after.volumeId;
}

enum class Outcome { kCopied, kChangedMeanwhile, kFailed };

// Where the file system can share content, the copy shows one moment; elsewhere it counts only if the file
// was the same before and after.
Outcome CopyOnce(CString const& from, CString const& to, const platform::CopyProgress& progress) {
    platform::FileStatus before, after;
    bool shared = false;
    if (!platform::QueryStatus(from, before) || !platform::CopyFileContent(from, to, progress, &shared)) {
        return Outcome::kFailed;
    }
    if (shared) {
        return Outcome::kCopied;
    }
    if (!platform::QueryStatus(from, after)) {
        return Outcome::kFailed;
    }
    return IsUnchanged(before, after) ? Outcome::kCopied : Outcome::kChangedMeanwhile;
}

int Copy(CString const& from, CString const& to, const platform::CopyProgress& progress, CString& message) {
    for (int attempt = 0; attempt < kAttempts; attempt++) {
        if (attempt > 0) {
            Sleep(kFirstPauseMs << (attempt - 1));
        }
        switch (CopyOnce(from, to, progress)) {
            case Outcome::kCopied:
                return 1;
            case Outcome::kChangedMeanwhile:
                break;
            case Outcome::kFailed:
                message = CString(TextView(platform::ErrorText(platform::LastError())));
                return 0;
        }
    }
    message =
        _T("The file was being written to all the time, so that no consistent copy of it could be made.");
    platform::RemoveFile(to);
    platform::SetLastError(platform::kSharingViolation);
    return 0;
}

}  // namespace

int VSSCopyFile(CString const& from, CString const& to, int, CopyRoutine routine, void* context,
                CString& message) {
    message = CString();
    if (from.IsEmpty() || to.IsEmpty()) {
        message = CString(TextView(platform::ErrorText(platform::kPathNotFound)));
        return 0;
    }
    message = _T("The copy failed unexpectedly.");
    return Guarded(_T("Error: VSSCopyFile"), 0, [&] {
        const int copied = Copy(from, to, ProgressOf(routine, context), message);
        if (copied) {
            message = CString();
        }
        return copied;
    });
}
