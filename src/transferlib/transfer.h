// A transfer that is under way on a thread: how it hears of a cancel, a pause of all transfers and a cut of
// its connection.
#pragma once

#include <atomic>
#include <cstdint>

#include "framework/cstring.h"
#include "interfaces/progresslib.h"

namespace rampart {

// 1 holds all transfers of the process at their next piece, 0 lets them go on.
void SetTransfersSuspended(bool suspended);

// Makes the transfers that run on that thread end with kConnectionFailed at their next piece. False if none
// runs there.
bool CutTransfersOfThread(unsigned long threadId);

// Lives on the thread that transfers, for the time of one file or batch.
class Transfer {
public:
    // `callback` may be null, `cancelled` too: a flag that another thread sets.
    explicit Transfer(ProgressCallBack* callback, const std::atomic<bool>* cancelled = nullptr);
    ~Transfer();
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    // Between two pieces: tells `bytes` more of `file`, of which `done` out of `total` are moved, and waits
    // while transfers are suspended. kOk, kCancelled or kConnectionFailed.
    int Advance(const CString& file, int64_t bytes, int64_t done, int64_t total);
    int Advance(ProgressCallBack* callback, const CString& file, int64_t bytes, int64_t done, int64_t total);

private:
    friend bool CutTransfersOfThread(unsigned long threadId);
    struct RunningList;

    int State() const;

    ProgressCallBack* const m_callback;
    const std::atomic<bool>* const m_cancelled;
    const unsigned long m_threadId;
    std::atomic<bool> m_cut{false};
};

}  // namespace rampart
