// The codes that a run meets: those of the service, and those that the engine sets itself.
#pragma once

namespace rampart {

struct Service {
    enum Code : int {
        kOk = 0,
        kSessionLost = 1,
        kUnexpected = 2,         // as a file-level result: something was thrown
        kConnectionFailed = 3,
        kSkipped = 4,
        kFatalForBatch = 5,
        kCancelled = 6,
        kLocalSpace = 8,
        kNoSpace = 10,
        kFatal = 12,
        kQueuedBatchFull = 20,   // queued; the sealed batch must be sent now
        kSkipped52 = 52,
        kQueued = 70,
        kTooBigForFree = 71,
        kTooManyItems = 73,
        kBatchRefused = 74,
        kTooManyItemsFree = 75,
        kSkipped96 = 96,
        kTwoFactor = 100,
        kNoCache = 102,          // no room in the cache: the transfer reads the source
        kOnWorker = 103,         // the engine's own: a worker thread sends the file
        kLimitWorkers = 104,     // at most six workers from now on
        kFirstWarning = 1000,
    };
};

}  // namespace rampart
