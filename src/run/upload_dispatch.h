// What a service code does to the file at hand and to the upload.
#pragma once

#include "framework/framework.h"

namespace rampart {

enum class FileAction {
    kDone,          // to the end of the file
    kSkip,          // left out and counted; the run goes on and is not failed
    kQueued,        // the open batch holds it
    kSendBatch,     // the sealed batch must go first; the file is in the next one
    kOnWorker,      // its end is told by its worker (threaded road only)
    kLimitWorkers,  // fewer workers from now on (threaded road only)
    kFailed,        // its cache file goes (threaded road only)
};

FileAction ActionOf(__int64 code, bool threaded);

// Codes that end the upload of the run.
bool EndsUpload(__int64 code, bool threaded);

// How a code is told to the user.
enum class ReportAction { kNone, kWarn, kFail, kDebugOnly, kFailCounted };

struct CodeReport {
    ReportAction action;
    TCHAR const* key;   // dictionary key of the text; null for "%s: %s" with a path and the code's text
    bool byServerPath;  // with a null key: the server path instead of the local one
};

CodeReport ReportOf(__int64 code, bool cacheError);

}  // namespace rampart
