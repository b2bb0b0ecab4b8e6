#include "framework/waitable.h"

#include <chrono>

#include "framework/handle_table.h"
#include "framework/safe_point.h"
#include "platform/message_wait.h"

namespace rampart {

void Waitable::Signal() {
    std::lock_guard lock(m_mutex);
    m_signaled = true;
    // Inside the lock: the last who waits may destroy this object as soon as the lock is free.
    if (m_manualReset) {
        m_changed.notify_all();
    } else {
        m_changed.notify_one();
    }
    for (platform::MessageWait* wait : m_messageWaits) {
        wait->Wake();
    }
}

void Waitable::Reset() {
    std::lock_guard lock(m_mutex);
    m_signaled = false;
}

bool Waitable::Wait(DWORD timeoutMs) {
    std::unique_lock lock(m_mutex);
    const auto signaled = [this] { return m_signaled; };
    if (timeoutMs == kWaitForever) {
        m_changed.wait(lock, signaled);
    } else if (!m_signaled && !m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), signaled)) {
        return false;
    }
    m_signaled = m_manualReset;
    return true;
}

// On the list of those that a signal wakes; a window that throws leaves nothing there.
class Waitable::MessageWaiter {
public:
    MessageWaiter(Waitable& object, platform::MessageWait& messages)
        : m_object(object), m_messages(messages) {
        std::lock_guard lock(m_object.m_mutex);
        m_object.m_messageWaits.push_back(&m_messages);
    }
    MessageWaiter(const MessageWaiter&) = delete;
    MessageWaiter& operator=(const MessageWaiter&) = delete;
    ~MessageWaiter() {
        std::lock_guard lock(m_object.m_mutex);
        std::erase(m_object.m_messageWaits, &m_messages);
    }

private:
    Waitable& m_object;
    platform::MessageWait& m_messages;
};

bool Waitable::Wait(platform::MessageWait& messages) {
    const MessageWaiter waiter(*this, messages);
    bool isOver = false;
    while (!Wait(0)) {
        if (isOver) {
            return false;
        }
        isOver = !messages.Wait();
    }
    return true;
}

HANDLE OpenHandle(std::shared_ptr<Waitable> object) {
    return HandleTable::Instance().Add(std::move(object), HandleTable::Kind::kObject);
}

std::shared_ptr<Waitable> FromHandle(HANDLE handle) {
    return HandleTable::Instance().Find(handle);
}

HANDLE CreateEventHandle(bool manualReset, bool signaled) {
    return OpenHandle(std::make_shared<Waitable>(manualReset, signaled));
}

namespace {

// Null for a thread too: only its end signals it.
std::shared_ptr<Waitable> EventOf(HANDLE handle) {
    const HandleTable& table = HandleTable::Instance();
    return table.IsThread(handle) ? nullptr : table.Find(handle);
}

template <class Wait>
DWORD WaitWith(HANDLE handle, Wait&& wait) {
    SafePoint();
    const HandleTable& table = HandleTable::Instance();
    if (const std::shared_ptr<Waitable> object = table.Find(handle)) {
        return wait(*object) ? kWaitSignaled : kWaitTimedOut;
    }
    return table.IsThread(handle) ? kWaitSignaled : kWaitFailed;
}

}  // namespace

BOOL SetEvent(HANDLE event) {
    const std::shared_ptr<Waitable> object = EventOf(event);
    if (object) {
        object->Signal();
    }
    return object != nullptr;
}

BOOL ResetEvent(HANDLE event) {
    const std::shared_ptr<Waitable> object = EventOf(event);
    if (object) {
        object->Reset();
    }
    return object != nullptr;
}

BOOL CloseHandle(HANDLE handle) {
    HandleTable& table = HandleTable::Instance();
    return table.IsThread(handle) || table.Remove(handle);
}

DWORD WaitForObject(HANDLE handle, DWORD timeoutMs) {
    return WaitWith(handle, [&](Waitable& object) { return object.Wait(timeoutMs); });
}

DWORD WaitForObjectWithMessages(HANDLE handle, DWORD timeoutMs) {
    const auto messages = platform::MessageWait::Begin(timeoutMs);
    return messages ? WaitWith(handle, [&](Waitable& object) { return object.Wait(*messages); })
                    : WaitForObject(handle, timeoutMs);
}

}  // namespace rampart
