// CSimplePrg: the progress object for work that has no list.
#pragma once

#include "framework/framework.h"
#include "interfaces/progresslib.h"

class VAULTLIB_API CSimplePrg : public CTruePrgCallback {
public:
    virtual int Create() { return 0; }
    virtual int DoModal() { return 0; }
    virtual int InitFileList(CStringList&) { return 0; }
    virtual int AddFileList(CStringList&) { return 0; }
    virtual int BeginFile(CString, __int64, int) { return 0; }
    virtual int EndFile(CString, int) { return 0; }
};
