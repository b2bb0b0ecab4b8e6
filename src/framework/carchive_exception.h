// CArchiveException: an archive cannot be read or written.
#pragma once

#include "framework/cexception.h"

class VAULTLIB_API CArchiveException : public CException {
public:
    enum {
        none = 0,
        genericException = 1,
        readOnly = 2,   // written to although it loads
        endOfFile = 3,  // ended early
        writeOnly = 4,  // read from although it stores
        badIndex = 5,
        badClass = 6,
        badSchema = 7,
    };

    explicit CArchiveException(int cause = none);

    int m_cause;
};

[[noreturn]] VAULTLIB_API void AfxThrowArchiveException(int cause);
