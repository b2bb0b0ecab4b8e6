// An object that lives as long as the process, past the destructors of all others: threads may still need it
// then.
#pragma once

#include <cstddef>
#include <new>

namespace rampart {

// The one object of this type, made at the first call.
template <class Type>
Type& NeverDestroyed() {
    alignas(Type) static std::byte storage[sizeof(Type)];
    static Type* const object = ::new (static_cast<void*>(storage)) Type;
    return *object;
}

}  // namespace rampart
