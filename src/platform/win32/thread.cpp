#include "platform/thread.h"

#include <memory>

#include "platform/win32/native.h"

// native.h comes first
#include <process.h>

namespace rampart::platform {
namespace {

unsigned __stdcall Main(void* data) {
    const std::unique_ptr<std::function<void()>> body(static_cast<std::function<void()>*>(data));
    (*body)();
    return 0;
}

}  // namespace

// Not by std::thread: in mingw's library a detach that meets the end or the begin of its thread frees the
// thread's data twice, or the thread never begins.
bool StartDetachedThread(std::function<void()> body) {
    auto data = std::make_unique<std::function<void()>>(std::move(body));
    const uintptr_t thread = _beginthreadex(nullptr, 0, &Main, data.get(), 0, nullptr);
    if (thread == 0) {
        return FailWithSystemError(ERROR_NOT_ENOUGH_MEMORY);
    }
    static_cast<void>(data.release());  // the thread's own
    CloseHandle(reinterpret_cast<HANDLE>(thread));
    return true;
}

}  // namespace rampart::platform
