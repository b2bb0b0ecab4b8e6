#include "platform/error.h"

namespace rampart::platform {
namespace {

thread_local uint32_t lastError = kNoError;

struct ErrorSentence {
    uint32_t number;
    const TCHAR* text;
};

constexpr ErrorSentence kSentences[] = {
    {kNoError, _T("The operation completed successfully.")},
    {kFileNotFound, _T("The system cannot find the file specified.")},
    {kPathNotFound, _T("The system cannot find the path specified.")},
    {kTooManyOpenFiles, _T("The system cannot open the file.")},
    {kAccessDenied, _T("Access is denied.")},
    {kInvalidHandle, _T("The handle is invalid.")},
    {kNotEnoughMemory, _T("Not enough memory resources are available to process this command.")},
    {kNotSameDevice, _T("The system cannot move the file to a different disk drive.")},
    {kWriteProtected, _T("The media is write protected.")},
    {kNotReady, _T("The device is not ready.")},
    {kOther, _T("A device attached to the system is not functioning.")},
    {kSharingViolation,
     _T("The process cannot access the file because it is being used by another process.")},
    {kHandleDiskFull, _T("The disk is full.")},
    {kNotSupported, _T("The request is not supported.")},
    {kBadNetworkPath, _T("The network path was not found.")},
    {kInvalidParameter, _T("The parameter is incorrect.")},
    {kDiskFull, _T("There is not enough space on the disk.")},
    {kInvalidName, _T("The filename, directory name, or volume label syntax is incorrect.")},
    {kDirectoryNotEmpty, _T("The directory is not empty.")},
    {kAlreadyExists, _T("Cannot create a file when that file already exists.")},
    {kNameTooLong, _T("The filename or extension is too long.")},
    {kFileTooLarge, _T("The file size exceeds the limit allowed and cannot be saved.")},
    {kMoreData, _T("More data is available.")},
    {kWaitTimeout, _T("The wait operation timed out.")},
    {kNoMoreItems, _T("No more data is available.")},
    {kInputOutputError, _T("The request could not be performed because of an I/O device error.")},
    {kRequestAborted, _T("The request was aborted.")},
};

}  // namespace

uint32_t LastError() {
    return lastError;
}

void SetLastError(uint32_t number) {
    lastError = number;
}

Text ErrorText(uint32_t number) {
    for (const ErrorSentence& sentence : kSentences) {
        if (sentence.number == number) {
            return sentence.text;
        }
    }
    return _T("The operation failed with error ") + FromUtf8(std::to_string(number)) + _T(".");
}

}  // namespace rampart::platform
