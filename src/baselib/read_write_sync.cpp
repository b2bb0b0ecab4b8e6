#include <algorithm>
#include <condition_variable>
#include <thread>

#include "framework/safe_point.h"
#include "interfaces/baselib.h"

using namespace rampart;

// Writers go before readers that have not begun. A thread that reads or writes already may begin to read at
// any time.
struct CReadWriteSync::Impl {
    struct Reader {
        std::thread::id thread;
        int depth;
    };

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Reader> readers;  // one entry a thread
    std::thread::id writer;       // of the thread that writes
    int writeDepth = 0;
    int waitingWriters = 0;

    std::vector<Reader>::iterator Find(std::thread::id thread) {
        return std::find_if(readers.begin(), readers.end(),
                            [&](const Reader& reader) { return reader.thread == thread; });
    }

    void BeginRead() {
        const std::thread::id self = std::this_thread::get_id();
        std::unique_lock lock(mutex);
        if (const auto own = Find(self); own != readers.end()) {
            own->depth++;
            return;
        }
        changed.wait(lock, [&] { return writeDepth > 0 ? writer == self : waitingWriters == 0; });
        readers.push_back({self, 1});
    }

    void EndRead() {
        std::lock_guard lock(mutex);
        const auto own = Find(std::this_thread::get_id());
        if (--own->depth == 0) {
            *own = readers.back();
            readers.pop_back();
            changed.notify_all();
        }
    }

    void BeginWrite() {
        const std::thread::id self = std::this_thread::get_id();
        std::unique_lock lock(mutex);
        if (writeDepth > 0 && writer == self) {
            writeDepth++;
            return;
        }
        waitingWriters++;
        changed.wait(lock, [&] {
            const bool othersRead =
                readers.size() > 1 || (readers.size() == 1 && readers.front().thread != self);
            return writeDepth == 0 && !othersRead;
        });
        waitingWriters--;
        writer = self;
        writeDepth = 1;
    }

    void EndWrite() {
        std::lock_guard lock(mutex);
        if (--writeDepth == 0) {
            writer = {};
            changed.notify_all();
        }
    }
};

CReadWriteSync::CReadWriteSync() : m_impl(std::make_unique<Impl>()) {}

CReadWriteSync::~CReadWriteSync() = default;

// A thread that holds the lock is not suspended, so that nobody waits for one that stands still.
CReadSync::CReadSync(CReadWriteSync& lock) : m_lock(lock) {
    SafePointHold::Begin();
    m_lock.m_impl->BeginRead();
}

CReadSync::~CReadSync() {
    m_lock.m_impl->EndRead();
    SafePointHold::End();
}

CWriteSync::CWriteSync(CReadWriteSync& lock) : m_lock(lock) {
    SafePointHold::Begin();
    m_lock.m_impl->BeginWrite();
}

CWriteSync::~CWriteSync() {
    m_lock.m_impl->EndWrite();
    SafePointHold::End();
}
