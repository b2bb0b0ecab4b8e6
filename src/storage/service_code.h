// The codes that every operation of the storage service answers, in one table.
#pragma once

#include <cstdint>

namespace rampart {

enum ServiceCode : int {
    kOk = 0,
    kSessionLost = 1,
    kRefused = 2,           // user name or password
    kConnectionFailed = 3,  // worth a second try: the network, or a vault that another process kept busy
    kSkipped = 4,
    kFatalForBatch = 5,
    kCancelled = 6,
    kInvalidRequest = 7,
    kLocalSpace = 8,
    kFailed = 9,
    kNoSpace = 10,  // the account's quota or the vault's disk
    kNotFound = 11,
    kBatchAborted = 12,
    kNameTaken = 18,
    kBatchFull = 20,  // the file opens the next batch: the present one must be sent now
    kVaultDamaged = 40,
    kVaultReadOnly = 41,
    kVaultMissing = 42,          // no vault at that place
    kVaultNewer = 43,            // made by a later version of this program
    kContentMissing = 44,        // a named chunk is not stored (any more): send it again
    kContentDamaged = 45,        // stored bytes do not have the digest they should have
    kSkippedWithWarning52 = 52,  // as kSkipped
    kBatchQueued = 70,
    kFileTooBig = 71,  // for a free account
    kItemLimit = 73,
    kBatchRefused = 74,
    kFreeItemLimit = 75,
    kSkippedWithWarning96 = 96,  // as kSkipped
    kSecondFactorNeeded = 100,
    kReadFromSource = 102,
    kOnWorker = 103,
    kWorkerLimit = 104,

    // From here on: the file is skipped with a warning.
    kFirstWarning = 1000,
    kSourceUnreadable = 1001,
    kSourceChanged = 1002,  // while it was read
    kSourceVanished = 1003,
    kSourceNotAFile = 1004,
    kNameNotStorable = 1005,
};

// Whether the code says that a local file could not be read as it is.
constexpr bool IsSourceFailure(int code) {
    return code >= kSourceUnreadable && code <= kSourceNotAFile;
}

// A sentence in English for a code; never null, also for a code that the table lacks.
const char* ServiceCodeText(int code);

}  // namespace rampart
