#include "framework/guarded.h"
#include "framework/safe_point.h"
#include "interfaces/baselib.h"
#include "interfaces/snapcopylib.h"
#include "platform/error.h"
#include "platform/file_system.h"
#include "platform/volume_snapshot.h"

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

bool CopyFromSnapshot(CString const& from, CString const& to, const platform::CopyProgress& progress) {
    const auto snapshot = platform::VolumeSnapshot::Take(from);
    if (!snapshot) {
        const uint32_t error = platform::LastError();
        if (error != platform::kNotSupported) {
            GetManageDebugLog().AddDebugInfo(
                FormatText(_T("VSSCopyFile: no snapshot for %s, error %u"), LPCTSTR(from), error), 0);
        }
        return false;
    }
    return snapshot->CopyFileContent(from, to, progress);
}

// A file that is being written to, or that another program keeps for itself, is copied as it was at one
// moment; where the system keeps no such moment, it may be at rest a little later.
bool CopyInSomeWay(CString const& from, CString const& to, const platform::CopyProgress& progress) {
    for (int attempt = 0; attempt < kAttempts; attempt++) {
        if (attempt > 0) {
            Sleep(kFirstPauseMs << (attempt - 1));
        }
        if (platform::CopyFileContent(from, to, progress, /*mustRest=*/true)) {
            return true;
        }
        if (platform::LastError() != platform::kSharingViolation) {
            return false;
        }
        if (attempt == 0) {
            if (CopyFromSnapshot(from, to, progress)) {
                return true;
            }
            if (platform::LastError() == platform::kRequestAborted) {
                return false;
            }
        }
    }
    return false;
}

int Copy(CString const& from, CString const& to, const platform::CopyProgress& progress, CString& message) {
    if (CopyInSomeWay(from, to, progress)) {
        return 1;
    }
    message = CString(TextView(platform::ErrorText(platform::LastError())));
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
