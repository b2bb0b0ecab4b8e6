#include <platform_thread_object.h>

#include "platform/win32/native.h"

namespace rampart::platform {
namespace {

struct EndCall {
    void (*call)(void*);
    void* object;
};
using EndCalls = std::vector<EndCall>;

void WINAPI RunEndCalls(void* calls) {
    const std::unique_ptr<EndCalls> owned(static_cast<EndCalls*>(calls));
    while (owned != nullptr && !owned->empty()) {
        const EndCall last = owned->back();
        owned->pop_back();
        last.call(last.object);
    }
}

}  // namespace

void AtThreadEnd(void (*call)(void*), void* object) {
    static const DWORD index = FlsAlloc(&RunEndCalls);
    auto* calls = static_cast<EndCalls*>(FlsGetValue(index));
    if (calls == nullptr) {
        calls = new EndCalls;
        FlsSetValue(index, calls);
    }
    calls->push_back({call, object});
}

}  // namespace rampart::platform
