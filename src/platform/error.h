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
    kNotSameDevice = 17,
    kWriteProtected = 19,
    kNotReady = 21,
    kOther = 31,
    kSharingViolation = 32,
    kHandleDiskFull = 39,
    kNotSupported = 50,
    kBadNetworkPath = 53,
    kInvalidParameter = 87,
    kDiskFull = 112,
    kInvalidName = 123,
    kDirectoryNotEmpty = 145,
    kAlreadyExists = 183,
    kNameTooLong = 206,
    kFileTooLarge = 223,
    kMoreData = 234,
    kWaitTimeout = 258,
    kNoMoreItems = 259,
    kInputOutputError = 1117,
    kRequestAborted = 1235,  // stopped by the caller
};

// Number of the last failure on the calling thread. Functions of this room that fail set it; success leaves
// it alone unless the function says otherwise.
uint32_t LastError();
void SetLastError(uint32_t number);

// A sentence in English for a number; never empty.
Text ErrorText(uint32_t number);

}  // namespace rampart::platform
