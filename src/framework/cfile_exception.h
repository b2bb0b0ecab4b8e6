// CFileException: a file operation failed.
#pragma once

#include "framework/cexception.h"
#include "framework/cstring.h"

class VAULTLIB_API CFileException : public CException {
public:
    enum {
        none = 0,
        genericException = 1,
        fileNotFound = 2,
        badPath = 3,
        tooManyOpenFiles = 4,
        accessDenied = 5,
        invalidFile = 6,
        removeCurrentDir = 7,
        directoryFull = 8,
        badSeek = 9,
        hardIO = 10,
        sharingViolation = 11,
        lockViolation = 12,
        diskFull = 13,
        endOfFile = 14,
    };

    explicit CFileException(int cause = none, LONG systemError = 0, const CString& fileName = CString());

    // The cause that stands for a system error number of platform/error.h; 0 gives `none`.
    static int OsErrorToException(LONG systemError);

    int m_cause;
    LONG m_lOsError;  // the system's error number, 0 if there was none
    CString m_strFileName;
};

[[noreturn]] VAULTLIB_API void AfxThrowFileException(int cause, LONG systemError = 0,
                                                     const CString& fileName = CString());
