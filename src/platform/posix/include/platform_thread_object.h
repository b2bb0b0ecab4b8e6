// One object for each thread. CMake puts the folder of one platform on the include path.
#pragma once

namespace rampart::platform {

// The calling thread's object, made by `make()` at its first call and destroyed at the thread's end. Each
// place in the code has objects of its own, told apart by the type of its lambda.
template <class T, class Make>
T& ThreadObject(Make&& make) {
    thread_local T object(make());
    return object;
}

}  // namespace rampart::platform
