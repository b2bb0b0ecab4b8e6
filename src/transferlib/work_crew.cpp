#include "transferlib/work_crew.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <memory>
#include <system_error>

namespace rampart {
namespace {

constexpr unsigned kMostHelpers = 4;

}  // namespace

WorkCrew::WorkCrew() : m_helpers(std::clamp(std::thread::hardware_concurrency(), 2u, kMostHelpers + 1) - 1) {}

WorkCrew::~WorkCrew() {
    {
        std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_given.notify_all();
    for (std::thread& thread : m_threads) {
        thread.join();
    }
}

void WorkCrew::Give(std::function<void()> task) {
    {
        std::lock_guard lock(m_mutex);
        m_tasks.push_back(std::move(task));
        if (m_threads.size() < m_helpers) {
            try {
                m_threads.emplace_back([this] { Run(); });
            } catch (const std::system_error&) {
                // No thread can be had: the others take the task, or who waits for it helps.
            }
        }
    }
    m_given.notify_one();
}

void WorkCrew::Run() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_given.wait(lock, [&] { return m_ending || !m_tasks.empty(); });
        if (m_tasks.empty()) {
            return;
        }
        const std::function<void()> task = std::move(m_tasks.front());
        m_tasks.pop_front();
        lock.unlock();
        task();
        lock.lock();
    }
}

bool WorkCrew::HelpOnce() {
    std::function<void()> task;
    {
        std::lock_guard lock(m_mutex);
        if (m_tasks.empty()) {
            return false;
        }
        task = std::move(m_tasks.front());
        m_tasks.pop_front();
    }
    task();
    return true;
}

void WorkCrew::ForEach(size_t count, const std::function<void(size_t)>& body) {
    struct Shared {
        std::atomic<size_t> next{0};
        std::mutex mutex;  // guards what follows
        std::condition_variable ended;
        size_t working = 0;
        std::exception_ptr failure;
    };
    Shared shared;
    const auto work = [&] {
        try {
            for (size_t i = shared.next++; i < count; i = shared.next++) {
                body(i);
            }
        } catch (...) {
            shared.next = count;
            std::lock_guard lock(shared.mutex);
            shared.failure = std::current_exception();
        }
    };
    const size_t helpers = std::min(count, m_helpers + 1) - (count > 0 ? 1 : 0);
    shared.working = helpers;
    for (size_t i = 0; i < helpers; ++i) {
        Give([&] {
            work();
            std::lock_guard lock(shared.mutex);
            --shared.working;
            shared.ended.notify_all();
        });
    }
    work();
    while (HelpOnce()) {  // so that it ends without any helper too
    }
    std::unique_lock lock(shared.mutex);
    shared.ended.wait(lock, [&] { return shared.working == 0; });
    if (shared.failure) {
        std::rethrow_exception(shared.failure);
    }
}

}  // namespace rampart
