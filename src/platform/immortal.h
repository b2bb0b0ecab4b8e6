// Immortal: an object that is made on first use and never destroyed, so that other threads and destructors
// may use it until the process is gone.
#pragma once

#include <new>
#include <utility>

namespace rampart {

template <class Type>
class Immortal {
public:
    template <class... Arguments>
    explicit Immortal(Arguments&&... arguments) {
        ::new (static_cast<void*>(&m_value)) Type(std::forward<Arguments>(arguments)...);
    }
    Immortal(const Immortal&) = delete;
    Immortal& operator=(const Immortal&) = delete;
    ~Immortal() {}

    Type& operator*() { return m_value; }
    Type* operator->() { return &m_value; }

private:
    union {
        Type m_value;
    };
};

}  // namespace rampart
