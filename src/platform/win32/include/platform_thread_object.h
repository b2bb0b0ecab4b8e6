// One object for each thread. CMake puts the folder of one platform on the include path.
#pragma once

namespace rampart::platform {

// Has the calling thread end with `call(object)`.
void AtThreadEnd(void (*call)(void*), void* object);

// The calling thread's object, made by `make()` at its first call and destroyed at the thread's end. Each
// place in the code has objects of its own, told apart by the type of its lambda.
//
// The compiler's own thread_local is used for plain words only: its runtime on this system gives the memory
// of an object back before the object's destructor runs.
template <class T, class Make>
T& ThreadObject(Make&& make) {
    thread_local T* object = nullptr;
    if (object == nullptr) {
        T* const made = new T(make());
        AtThreadEnd([](void* ended) { delete static_cast<T*>(ended); }, made);
        object = made;
    }
    return *object;
}

}  // namespace rampart::platform
