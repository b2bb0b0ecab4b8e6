// CLoopItem: the modal wait loop of a host. The base does nothing; a host derives from it.
//
// Work that must not block the host's window runs on a worker while the caller sits in EnterLoopMode. The
// worker calls WaitForEnterLoopMode first, reports with SetLoopMsg, polls IsLoopCancel, and leaves by
// LeaveLoopMode exactly once. Called from several threads.
#pragma once

#include "framework/framework.h"
#include "manager/scan_files_info.h"

class VAULTLIB_API CLoopItem {
public:
    virtual ~CLoopItem() = default;
    virtual unsigned int EnterLoopMode(CWinThread*, unsigned int, int) { return 0; }
    virtual unsigned int WaitForEnterLoopMode(CWinThread*) { return 0; }
    virtual int LeaveLoopMode(unsigned long) { return 1; }
    virtual int SetLoopMsg(SCANFILESINFO const&, unsigned long) { return 1; }
    virtual int SetLoopMsg(CString, unsigned long) { return 1; }
    virtual int SetLoopType(unsigned int, unsigned long) { return 1; }
    virtual int IsLoopCancel(unsigned long) { return 0; }
    virtual int IsLoopRetry(unsigned long) { return 0; }
    virtual int SetLoopCancel(unsigned long) { return 0; }
};

class VAULTLIB_API EncryLoopMode {
public:
    EncryLoopMode& operator=(EncryLoopMode const&) { return *this; }
};
