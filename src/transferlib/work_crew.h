// A few threads for hashing and compressing beside the thread that moves bytes.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace rampart {

// The threads start with the first task and end with the object, after the tasks that were given.
class WorkCrew {
public:
    // As many helpers as the machine can use beside the caller.
    WorkCrew();
    ~WorkCrew();
    WorkCrew(const WorkCrew&) = delete;
    WorkCrew& operator=(const WorkCrew&) = delete;

    // `task` must not throw; it runs on any of the threads.
    void Give(std::function<void()> task);
    // Runs one waiting task on the calling thread; false if none waits.
    bool HelpOnce();
    // Calls `body` for each number below `count`, on this thread and the others, and waits for all. The first
    // exception that was thrown comes out.
    void ForEach(size_t count, const std::function<void(size_t)>& body);

private:
    void Run();

    const size_t m_helpers;
    std::mutex m_mutex;  // guards what follows
    std::condition_variable m_given;
    std::deque<std::function<void()>> m_tasks;
    std::vector<std::thread> m_threads;
    bool m_ending = false;
};

}  // namespace rampart
