// Waiting on a thread that has windows: their messages go on being dispatched, so that neither the user nor a
// program that sends one hangs.
#pragma once

#include <cstdint>
#include <memory>

namespace rampart::platform {

class MessageWait {
public:
    // Null when the calling thread has no message queue, or none that can be waited on. ~0 as time-out waits
    // for ever.
    static std::unique_ptr<MessageWait> Begin(uint32_t timeoutMs);
    virtual ~MessageWait() = default;
    // True when woken, false when the time is over, which runs from Begin on. Only on the thread that began.
    virtual bool Wait() = 0;
    // Ends the call of Wait that goes on, or the next one. Any thread.
    virtual void Wake() = 0;
};

}  // namespace rampart::platform
