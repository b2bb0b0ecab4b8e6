#include "manager/loop_worker.h"

#include "engine/vaultlib_app.h"
#include "framework/framework.h"
#include "interfaces/baselib.h"

namespace rampart {

namespace {

// The worker's part of the protocol: it leaves the loop on every way out.
class LoopStay {
public:
    LoopStay() { theVaultLibApp.WaitForEnterLoopMode(nullptr); }
    ~LoopStay() { theVaultLibApp.LeaveLoopMode(); }
    LoopStay(LoopStay const&) = delete;
    LoopStay& operator=(LoopStay const&) = delete;
};

struct LoopWork {
    TextView line;
    std::function<void()> const& work;
};

UINT LoopWorker(LPVOID argument) {
    LoopStay const stay;
    auto const& loop = *static_cast<LoopWork const*>(argument);
    Guarded(loop.line, loop.work);
    return 0;
}

}  // namespace

bool RunUnderLoop(TextView line, unsigned int loopType, int canCancel, std::function<void()> const& work) {
    LoopWork loop{line, work};
    CWinThread* const thread = AfxBeginThread(&LoopWorker, &loop);
    if (thread == nullptr) {
        return false;
    }
    HANDLE const handle = thread->m_hThread;
    theVaultLibApp.EnterLoopMode(thread, loopType, canCancel);
    MyWaitForSingleObject(handle, kWaitForever);
    return true;
}

}  // namespace rampart
