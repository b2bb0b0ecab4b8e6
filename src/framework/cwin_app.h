// CWinApp: the application object of a program or library.
#pragma once

#include "framework/cstring.h"
#include "framework/cwin_thread.h"

// Stands for the thread that made it, and never starts one.
class VAULTLIB_API CWinApp : public CWinThread {
public:
    explicit CWinApp(LPCTSTR name = nullptr);

    BOOL InitInstance() override { return TRUE; }
    int ExitInstance() override { return 0; }

    CString m_strAppName;
};
