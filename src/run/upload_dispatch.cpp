#include "run/upload_dispatch.h"

#include "storage/service_code.h"

namespace rampart {

namespace {

constexpr TCHAR const* kUploadFailKey = _T("IDS_STRLOGUPLOADFAIL");

bool IsSkipCode(__int64 code) {
    return code == kSkipped || code == kSkippedWithWarning52 || code == kSkippedWithWarning96 ||
           code == kReadFromSource || code >= kFirstWarning;
}

}  // namespace

FileAction ActionOf(__int64 code, bool threaded) {
    if (threaded && code == kOnWorker) {
        return FileAction::kOnWorker;
    }
    if (threaded && code == kWorkerLimit) {
        return FileAction::kLimitWorkers;
    }
    if (IsSkipCode(code)) {
        return FileAction::kSkip;
    }
    switch (code) {
        case kBatchQueued:
            return FileAction::kQueued;
        case kBatchFull:
            return FileAction::kSendBatch;
        case kOk:
            return FileAction::kDone;
        default:
            return threaded ? FileAction::kFailed : FileAction::kDone;
    }
}

bool EndsUpload(__int64 code, bool threaded) {
    switch (code) {
        case kFatalForBatch:
        case kBatchAborted:
        case kItemLimit:
        case kBatchRefused:
        case kFreeItemLimit:
        case kSecondFactorNeeded:
            return true;
        case kCancelled:
            return !threaded;
        default:
            return false;
    }
}

CodeReport ReportOf(__int64 code, bool cacheError) {
    switch (code) {
        case kOk:
        case kCancelled:
        case kBatchFull:
        case kBatchQueued:
            return {ReportAction::kNone, nullptr, false};
        case kSkipped:
        case kSkippedWithWarning52:
        case kSkippedWithWarning96:
            return {ReportAction::kWarn, nullptr, false};
        case kFatalForBatch:
            return {ReportAction::kFail, nullptr, true};
        case kLocalSpace:
            return {ReportAction::kFail, cacheError ? _T("IDS_STRNOCACHESPACE") : kUploadFailKey, false};
        case kFileTooBig:
            return {ReportAction::kFail, _T("MaxSingleFileforFreeUser"), false};
        case kItemLimit:
            return {ReportAction::kFail, _T("SubItemLimitation"), false};
        case kFreeItemLimit:
            return {ReportAction::kFail, _T("FreeSubItemLimitation"), false};
        case kSecondFactorNeeded:
            return {ReportAction::kDebugOnly, nullptr, false};
        case kConnectionFailed:
            return {ReportAction::kFailCounted, kUploadFailKey, false};
        default:
            return {code >= kFirstWarning ? ReportAction::kWarn : ReportAction::kFail, kUploadFailKey, false};
    }
}

}  // namespace rampart
