// CMainWnd: the main window of a host. The base does nothing; a host derives from it. Called from several
// threads.
#pragma once

#include "framework/framework.h"

using TimerCallback = void (*)(CWnd*, unsigned int, unsigned __int64, unsigned long);

class VAULTLIB_API CMainWnd {
public:
    virtual ~CMainWnd() = default;
    virtual unsigned __int64 SetTimer(unsigned __int64, unsigned int /*elapseMs*/, TimerCallback) {
        return 0;
    }
    virtual void RefreshUsageAlertString(int) {}
    virtual int IsVisible() { return 0; }
    virtual void SetTrayTips(CString) {}
    virtual int MyPostMessage(unsigned int, unsigned __int64, __int64) { return 1; }
    virtual int RefreshTrayTips() { return 1; }
    virtual void RefreshTabState() {}
    virtual void StartTrayAnimation() {}
    virtual void StopTrayAnimation() {}
    virtual void UpdateTaskInfoUI(int) {}
    virtual CWnd* GetCWnd() { return nullptr; }
};
