// The process's table of handles. Its numbers are never given twice, so that an old handle cannot name a new
// object.
#pragma once

#include <cstdint>
#include <memory>
#include <shared_mutex>
#include <unordered_map>

#include "framework/waitable.h"

namespace rampart {

// All operations may be called from any thread.
class HandleTable {
public:
    enum class Kind { kObject, kThread };

    static HandleTable& Instance();

    HANDLE Add(std::shared_ptr<Waitable> object, Kind kind);
    // Null if the handle names nothing.
    std::shared_ptr<Waitable> Find(HANDLE handle) const;
    // False if it named nothing.
    bool Remove(HANDLE handle);
    // Whether the handle was given for a thread, be it there or gone.
    bool IsThread(HANDLE handle) const;

private:
    mutable std::shared_mutex m_mutex;  // guards what follows
    std::unordered_map<uintptr_t, std::shared_ptr<Waitable>> m_objects;
    uintptr_t m_last = 0;
};

}  // namespace rampart
