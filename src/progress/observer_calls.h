// ObserverCalls: calls to the observers of a progress object, safe against one that leaves meanwhile.
#pragma once

#include <condition_variable>
#include <functional>
#include <thread>
#include <vector>

#include "framework/framework.h"

class CPrgAttachment;

namespace rampart {

// Works on a list of CPrgAttachment* that nobody else changes. Any thread may call.
class ObserverCalls {
public:
    explicit ObserverCalls(CPtrList& observers) : m_observers(observers) {}
    ObserverCalls(ObserverCalls const&) = delete;
    ObserverCalls& operator=(ObserverCalls const&) = delete;

    // False for one that is there already.
    bool Add(CPrgAttachment* observer);
    // Ends the observer's store loops, and returns when no other thread is inside one of the observers. A
    // call from inside an observer does not wait.
    bool Remove(CPrgAttachment* observer);
    // Calls each observer without a lock; what it throws passes through.
    void ForEach(const std::function<void(CPrgAttachment&)>& call);
    // For a change of the observers' words only: calls each under the lock of the list.
    void Mark(const std::function<void(CPrgAttachment&)>& change);

private:
    class Visit;
    bool Contains(CPrgAttachment* observer);
    bool IsInside(std::thread::id thread) const RAMPART_REQUIRES(m_mutex);

    Mutex m_mutex;
    std::condition_variable_any m_visitEnded;
    CPtrList& m_observers RAMPART_GUARDED_BY(m_mutex);
    std::vector<std::thread::id> m_visitors RAMPART_GUARDED_BY(m_mutex);  // threads inside ForEach
};

}  // namespace rampart
