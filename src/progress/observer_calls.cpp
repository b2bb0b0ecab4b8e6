#include "progress/observer_calls.h"

#include <algorithm>

#include "progress/prg_attachment.h"

namespace rampart {

// Keeps those who remove an observer waiting while it lives.
class ObserverCalls::Visit {
public:
    explicit Visit(ObserverCalls& calls) : m_calls(calls) {
        MutexLock lock(calls.m_mutex);
        for (void* observer : calls.m_observers) {
            m_present.push_back(static_cast<CPrgAttachment*>(observer));
        }
        calls.m_visitors.push_back(std::this_thread::get_id());
    }
    Visit(Visit const&) = delete;
    Visit& operator=(Visit const&) = delete;
    ~Visit() {
        MutexLock lock(m_calls.m_mutex);
        auto& visitors = m_calls.m_visitors;
        visitors.erase(std::find(visitors.begin(), visitors.end(), std::this_thread::get_id()));
        m_calls.m_visitEnded.notify_all();
    }
    const std::vector<CPrgAttachment*>& Present() const { return m_present; }

private:
    ObserverCalls& m_calls;
    std::vector<CPrgAttachment*> m_present;
};

bool ObserverCalls::Add(CPrgAttachment* observer) {
    MutexLock lock(m_mutex);
    if (m_observers.Find(observer)) {
        return false;
    }
    m_observers.AddTail(observer);
    return true;
}

bool ObserverCalls::Remove(CPrgAttachment* observer) {
    std::unique_lock lock(m_mutex);
    const POSITION position = m_observers.Find(observer);
    if (!position) {
        return false;
    }
    m_observers.RemoveAt(position);
    observer->m_bStop = 1;
    observer->m_bPause = 0;
    if (!IsInside(std::this_thread::get_id())) {
        m_visitEnded.wait(lock, [this] { return m_visitors.empty(); });
    }
    return true;
}

void ObserverCalls::ForEach(const std::function<void(CPrgAttachment&)>& call) {
    {
        MutexLock lock(m_mutex);
        if (m_observers.IsEmpty()) {
            return;
        }
    }
    Visit visit(*this);
    for (CPrgAttachment* observer : visit.Present()) {
        if (Contains(observer)) {
            call(*observer);
        }
    }
}

void ObserverCalls::Mark(const std::function<void(CPrgAttachment&)>& change) {
    MutexLock lock(m_mutex);
    for (void* observer : m_observers) {
        change(*static_cast<CPrgAttachment*>(observer));
    }
}

bool ObserverCalls::Contains(CPrgAttachment* observer) {
    MutexLock lock(m_mutex);
    return m_observers.Find(observer) != nullptr;
}

bool ObserverCalls::IsInside(std::thread::id thread) const {
    return std::find(m_visitors.begin(), m_visitors.end(), thread) != m_visitors.end();
}

}  // namespace rampart
