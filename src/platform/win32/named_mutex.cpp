// A semaphore of one, because a mutex of this system belongs to a thread, and its owner may be any.
#include "platform/process.h"
#include "platform/win32/native.h"
#include "platform/win32/standard_folders.h"

namespace rampart::platform {
namespace {

struct SemaphoreState {
    ULONG current = 0;
    ULONG maximum = 0;
};
constexpr DWORD kQueryState = 1;

// Reads a semaphore without taking it. The function has no import library of its own.
bool ReadState(HANDLE semaphore, SemaphoreState& state) {
    using Query = LONG(WINAPI*)(HANDLE, int, void*, ULONG, ULONG*);
    static const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySemaphore")));
    return query != nullptr && query(semaphore, 0, &state, sizeof state, nullptr) >= 0;
}

std::wstring ObjectName(TextView name) {
    const std::wstring part = SharedNamePart(name);
    return part.empty() ? part : L"Global\\" + SharedNamePrefix() + part;
}

class WindowsNamedMutex : public NamedMutex {
public:
    explicit WindowsNamedMutex(SystemHandle semaphore) : m_semaphore(std::move(semaphore)) {}
    ~WindowsNamedMutex() override { ReleaseSemaphore(m_semaphore.Get(), 1, nullptr); }

private:
    const SystemHandle m_semaphore;
};

}  // namespace

std::unique_ptr<NamedMutex> NamedMutex::Create(TextView name) {
    const std::wstring object = ObjectName(name);
    if (object.empty()) {
        SetLastError(kInvalidName);
        return nullptr;
    }
    SystemHandle semaphore(CreateSemaphoreW(nullptr, 1, 1, object.c_str()));
    if (!semaphore) {
        FailWithSystemError();
        return nullptr;
    }
    if (WaitForSingleObject(semaphore.Get(), 0) != WAIT_OBJECT_0) {
        SetLastError(kAlreadyExists);
        return nullptr;
    }
    return std::make_unique<WindowsNamedMutex>(std::move(semaphore));
}

bool NamedMutex::Exists(TextView name) {
    const SystemHandle semaphore(OpenSemaphoreW(kQueryState, FALSE, ObjectName(name).c_str()));
    SemaphoreState state;
    return semaphore && ReadState(semaphore.Get(), state) && state.current == 0;
}

}  // namespace rampart::platform
