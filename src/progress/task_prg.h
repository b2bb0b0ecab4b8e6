// CTaskPrgClass: the progress object of one task. Adds the host's display and the stop of the task's worker.
#pragma once

#include <functional>

#include "progress/progress_bar.h"

class VAULTLIB_API CTaskPrgClass : public CProgressBar {
public:
    // The host's display, which is told of each file; null if there is none. Belongs to the host. Set before
    // the first run.
    void SetHostPrg(CPrgAttachment* host) { m_pHostPrg = host; }

    // Makes the host's display an observer.
    int Create() override;
    // Sets the transfer state, then as the base, then tells the host.
    int BeginFile(CString path, __int64 size, int flag) override;
    int EndFile(CString path, int code) override;
    int EndCurrent() override;  // tells the host only
    int ShowPrg() override;
    // Cancels the run and waits for its worker. While the worker does not end, its connection is cut: after
    // 15 seconds, then after `seconds` + 8 more, and so on. 1 when it ended, 0 when there is none.
    int Stop(CString const& taskName, unsigned long seconds) override;

    rampart::Word<CPrgAttachment*> m_pHostPrg = nullptr;

protected:
    static constexpr unsigned long kStopExtraSeconds = 8;
    DWORD m_stopWaitMs = 15000;  // how long Stop leaves the worker alone

private:
    void TellHost(rampart::TextView line, const std::function<void(CPrgAttachment&)>& call);
};
