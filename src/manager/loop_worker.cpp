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

UINT LoopWorker(LPVOID argument) {
    LoopStay const stay;
    Guarded(_T("Error: loop worker"), [&] { (*static_cast<std::function<void()> const*>(argument))(); });
    return 0;
}

}  // namespace

bool RunUnderLoop(unsigned int loopType, int canCancel, std::function<void()> const& work) {
    CWinThread* const thread = AfxBeginThread(&LoopWorker, const_cast<std::function<void()>*>(&work));
    if (thread == nullptr) {
        return false;
    }
    HANDLE const handle = thread->m_hThread;
    theVaultLibApp.EnterLoopMode(thread, loopType, canCancel);
    MyWaitForSingleObject(handle, kWaitForever);
    return true;
}

}  // namespace rampart
