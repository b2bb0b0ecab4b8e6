#include "framework/cfile_exception.h"

#include <array>

#include "platform/error.h"

namespace {

constexpr std::array<const char*, CFileException::endOfFile + 1> kFileCauseTexts = {
    "no failure",
    "file: unspecified failure",
    "file: not found",
    "file: the path is not valid",
    "file: too many open files",
    "file: access denied",
    "file: none is open",
    "file: the current folder cannot be removed",
    "file: the folder is full",
    "file: cannot seek there",
    "file: hardware failure",
    "file: in use by somebody else",
    "file: locked",
    "file: disk full",
    "file: end reached",
};

std::string Describe(int cause, LONG systemError, const CString& fileName) {
    const bool known = cause >= 0 && static_cast<size_t>(cause) < kFileCauseTexts.size();
    std::string text =
        kFileCauseTexts[static_cast<size_t>(known ? cause : int{CFileException::genericException})];
    if (systemError != 0) {
        text += " (" +
                rampart::platform::ToUtf8(rampart::platform::ErrorText(static_cast<uint32_t>(systemError))) +
                ")";
    }
    if (!fileName.IsEmpty()) {
        text += ": " + fileName.ToUtf8();
    }
    return text;
}

}  // namespace

CFileException::CFileException(int cause, LONG systemError, const CString& fileName)
    : CException(Describe(cause, systemError, fileName)),
      m_cause(cause),
      m_lOsError(systemError),
      m_strFileName(fileName) {}

int CFileException::OsErrorToException(LONG systemError) {
    namespace platform = rampart::platform;
    switch (static_cast<uint32_t>(systemError)) {
        case platform::kNoError:
            return none;
        case platform::kFileNotFound:
            return fileNotFound;
        case platform::kPathNotFound:
        case platform::kBadNetworkPath:
        case platform::kInvalidName:
        case platform::kNameTooLong:
            return badPath;
        case platform::kTooManyOpenFiles:
            return tooManyOpenFiles;
        case platform::kAccessDenied:
        case platform::kWriteProtected:
            return accessDenied;
        case platform::kInvalidHandle:
            return invalidFile;
        case platform::kSharingViolation:
            return sharingViolation;
        case platform::kHandleDiskFull:
        case platform::kDiskFull:
            return diskFull;
        case platform::kNotReady:
        case platform::kInputOutputError:
            return hardIO;
        default:
            return genericException;
    }
}

void AfxThrowFileException(int cause, LONG systemError, const CString& fileName) {
    throw CFileException(cause, systemError, fileName);
}
