#include "framework/handle_table.h"

#include <mutex>

#include "platform/immortal.h"

namespace rampart {
namespace {

// A handle is a running number above two low bits that are 0, as handles have them, and a bit that marks
// threads.
constexpr uintptr_t kThreadBit = 4;
constexpr uintptr_t kStep = 8;

uintptr_t Number(HANDLE handle) {
    return reinterpret_cast<uintptr_t>(handle);
}

}  // namespace

HandleTable& HandleTable::Instance() {
    static Immortal<HandleTable> table;
    return *table;
}

HANDLE HandleTable::Add(std::shared_ptr<Waitable> object, Kind kind) {
    std::unique_lock lock(m_mutex);
    const uintptr_t number = (m_last + kStep) | (kind == Kind::kThread ? kThreadBit : 0);
    m_objects.emplace(number, std::move(object));
    m_last += kStep;
    return reinterpret_cast<HANDLE>(number);
}

std::shared_ptr<Waitable> HandleTable::Find(HANDLE handle) const {
    std::shared_lock lock(m_mutex);
    const auto found = m_objects.find(Number(handle));
    return found == m_objects.end() ? nullptr : found->second;
}

bool HandleTable::Remove(HANDLE handle) {
    std::shared_ptr<Waitable> removed;  // dies outside the lock
    std::unique_lock lock(m_mutex);
    const auto found = m_objects.find(Number(handle));
    if (found == m_objects.end()) {
        return false;
    }
    removed = std::move(found->second);
    m_objects.erase(found);
    lock.unlock();
    return true;
}

bool HandleTable::IsThread(HANDLE handle) const {
    const uintptr_t number = Number(handle);
    std::shared_lock lock(m_mutex);
    return number % kStep == kThreadBit && number / kStep != 0 && number / kStep <= m_last / kStep;
}

}  // namespace rampart
