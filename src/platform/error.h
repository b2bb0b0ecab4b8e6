// Error numbers of the operating system as the engine knows them, kept for each thread.
#pragma once

#include <cstdint>

#include "platform/text.h"

namespace rampart::platform {

enum ErrorNumber : uint32_t {
    kNoError = 0,
    kFileNotFound = 2,
    kPathNotFound = 3,
    kTooManyOpenFiles = 4,
    kAccessDenied = 5,
    kInvalidHandle = 6,
    kNotEnoughMemory = 8,
    kNotReady = 21,
    kSharingViolation = 32,
    kHandleDiskFull = 39,
    kBadNetworkPath = 53,
    kInvalidParameter = 87,
    kDiskFull = 112,
    kDirectoryNotEmpty = 145,
    kAlreadyExists = 183,
    kMoreData = 234,
    kNoMoreItems = 259,
    kInputOutputError = 1117,
    kOther = 31,
};

// Number of the last failure on the calling thread. Functions of this room that fail set it; success leaves it alone
// unless the function says otherwise.
uint32_t LastError();
void SetLastError(uint32_t number);

// A sentence in English for a number; never empty.
Text ErrorText(uint32_t number);

}  // namespace rampart::platform
