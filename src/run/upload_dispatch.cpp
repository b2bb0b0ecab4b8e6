#include "run/upload_dispatch.h"

#include "run/service_codes.h"

namespace rampart {

namespace {

constexpr TCHAR const* kUploadFailKey = _T("IDS_STRLOGUPLOADFAIL");

bool IsSkipCode(__int64 code) {
    return code == Service::kSkipped || code == Service::kSkipped52 || code == Service::kSkipped96 ||
           code == Service::kNoCache || code >= Service::kFirstWarning;
}

}  // namespace

FileAction ActionOf(__int64 code, bool threaded) {
    if (threaded && code == Service::kOnWorker) {
        return FileAction::kOnWorker;
    }
    if (threaded && code == Service::kLimitWorkers) {
        return FileAction::kLimitWorkers;
    }
    if (IsSkipCode(code)) {
        return FileAction::kSkip;
    }
    switch (code) {
        case Service::kQueued:
            return FileAction::kQueued;
        case Service::kQueuedBatchFull:
            return FileAction::kSendBatch;
        case Service::kOk:
            return FileAction::kDone;
        default:
            return threaded ? FileAction::kFailed : FileAction::kDone;
    }
}

bool EndsUpload(__int64 code, bool threaded) {
    switch (code) {
        case Service::kFatalForBatch:
        case Service::kFatal:
        case Service::kTooManyItems:
        case Service::kBatchRefused:
        case Service::kTooManyItemsFree:
        case Service::kTwoFactor:
            return true;
        case Service::kCancelled:
            return !threaded;
        default:
            return false;
    }
}

CodeReport ReportOf(__int64 code, bool cacheError) {
    switch (code) {
        case Service::kOk:
        case Service::kCancelled:
        case Service::kQueuedBatchFull:
        case Service::kQueued:
            return {ReportAction::kNone, nullptr, false};
        case Service::kSkipped:
        case Service::kSkipped52:
        case Service::kSkipped96:
            return {ReportAction::kWarn, nullptr, false};
        case Service::kFatalForBatch:
            return {ReportAction::kFail, nullptr, true};
        case Service::kLocalSpace:
            return {ReportAction::kFail, cacheError ? _T("IDS_STRNOCACHESPACE") : kUploadFailKey, false};
        case Service::kTooBigForFree:
            return {ReportAction::kFail, _T("MaxSingleFileforFreeUser"), false};
        case Service::kTooManyItems:
            return {ReportAction::kFail, _T("SubItemLimitation"), false};
        case Service::kTooManyItemsFree:
            return {ReportAction::kFail, _T("FreeSubItemLimitation"), false};
        case Service::kTwoFactor:
            return {ReportAction::kDebugOnly, nullptr, false};
        case Service::kConnectionFailed:
            return {ReportAction::kFailCounted, kUploadFailKey, false};
        default:
            return {code >= Service::kFirstWarning ? ReportAction::kWarn : ReportAction::kFail, kUploadFailKey, false};
    }
}

}  // namespace rampart
