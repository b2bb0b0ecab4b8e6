// ObserverCalls: calls to the observers of an object, safe against one that leaves meanwhile.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <thread>
#include <vector>

#include "framework/cptr_list.h"
#include "framework/sync.h"

namespace rampart {

// Works on a list of Observer* that nobody else changes. Any thread may call.
template <class Observer>
class ObserverCalls {
public:
    explicit ObserverCalls(CPtrList& observers) : m_observers(observers) {}
    ObserverCalls(ObserverCalls const&) = delete;
    ObserverCalls& operator=(ObserverCalls const&) = delete;

    // False for one that is there already.
    bool Add(Observer* observer) {
        MutexLock lock(m_mutex);
        if (m_observers.Find(observer)) {
            return false;
        }
        m_observers.AddTail(observer);
        return true;
    }

    // Returns when no other thread is inside one of the observers; a call from inside an observer does not
    // wait. `change` is called before the wait, under the lock of the list. False for one that is not there.
    template <class Change>
    bool Remove(Observer* observer, Change&& change) {
        std::unique_lock lock(m_mutex);
        const POSITION position = m_observers.Find(observer);
        if (!position) {
            return false;
        }
        m_observers.RemoveAt(position);
        change(*observer);
        if (!IsInside(std::this_thread::get_id())) {
            m_visitEnded.wait(lock, [this] { return m_visitors.empty(); });
        }
        return true;
    }
    bool Remove(Observer* observer) {
        return Remove(observer, [](Observer&) {});
    }

    // Calls each observer without a lock; what it throws passes through.
    template <class Call>
    void ForEach(Call&& call) {
        {
            MutexLock lock(m_mutex);
            if (m_observers.IsEmpty()) {
                return;
            }
        }
        Visit visit(*this);
        for (Observer* observer : visit.Present()) {
            if (Contains(observer)) {
                call(*observer);
            }
        }
    }

    // For a change of the observers' words only: calls each under the lock of the list.
    template <class Change>
    void Mark(Change&& change) {
        MutexLock lock(m_mutex);
        for (void* observer : m_observers) {
            change(*static_cast<Observer*>(observer));
        }
    }

private:
    // Keeps those who remove an observer waiting while it lives.
    class Visit {
    public:
        explicit Visit(ObserverCalls& calls) : m_calls(calls) {
            MutexLock lock(calls.m_mutex);
            for (void* observer : calls.m_observers) {
                m_present.push_back(static_cast<Observer*>(observer));
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
        const std::vector<Observer*>& Present() const { return m_present; }

    private:
        ObserverCalls& m_calls;
        std::vector<Observer*> m_present;
    };

    bool Contains(Observer* observer) {
        MutexLock lock(m_mutex);
        return m_observers.Find(observer) != nullptr;
    }

    bool IsInside(std::thread::id thread) const RAMPART_REQUIRES(m_mutex) {
        return std::find(m_visitors.begin(), m_visitors.end(), thread) != m_visitors.end();
    }

    Mutex m_mutex;
    std::condition_variable_any m_visitEnded;
    CPtrList& m_observers RAMPART_GUARDED_BY(m_mutex);
    std::vector<std::thread::id> m_visitors RAMPART_GUARDED_BY(m_mutex);  // threads inside ForEach
};

}  // namespace rampart
