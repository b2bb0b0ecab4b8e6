// A named pipe for each receiver, which only this user and the system may open, and only on this machine.
#include "platform/message_channel.h"

#include "platform/message_frame.h"
#include "platform/process.h"
#include "platform/win32/native.h"
#include "platform/win32/standard_folders.h"

// native.h comes first
#include <sddl.h>

namespace rampart::platform {
namespace {

constexpr DWORD kPipeBuffer = 64 * 1024;
constexpr size_t kLargestPiece = 1024 * 1024;  // in one call of the system
constexpr DWORD kRestMs = 100;                 // before a wait for senders that failed is tried again

std::wstring PipeName(TextView receiver) {
    return L"\\\\.\\pipe\\" + SharedNamePrefix() + FromUtf8(PlainReceiverName(receiver));
}

// Lets this user and the system in, and nobody else: without it every user of the machine may read a pipe.
class OwnUserOnly {
public:
    OwnUserOnly() {
        const std::wstring user = UserSid();
        const std::wstring rights = L"D:P(A;;GA;;;SY)(A;;GA;;;" + user + L")";
        if (!user.empty() &&
            ConvertStringSecurityDescriptorToSecurityDescriptorW(
                rights.c_str(), SDDL_REVISION_1, &m_attributes.lpSecurityDescriptor, nullptr) == 0) {
            m_attributes.lpSecurityDescriptor = nullptr;
        }
    }
    OwnUserOnly(const OwnUserOnly&) = delete;
    OwnUserOnly& operator=(const OwnUserOnly&) = delete;
    ~OwnUserOnly() { LocalFree(m_attributes.lpSecurityDescriptor); }
    explicit operator bool() const { return m_attributes.lpSecurityDescriptor != nullptr; }
    SECURITY_ATTRIBUTES* Get() { return &m_attributes; }

private:
    // Empty with the system's last error set on a failure.
    static std::wstring UserSid() {
        HANDLE token = nullptr;
        if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == 0) {
            return {};
        }
        const SystemHandle owned(token);
        alignas(TOKEN_USER) BYTE buffer[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
        DWORD size = 0;
        wchar_t* text = nullptr;
        if (GetTokenInformation(token, TokenUser, buffer, sizeof buffer, &size) == 0 ||
            ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(buffer)->User.Sid, &text) == 0) {
            return {};
        }
        std::wstring sid(text);
        LocalFree(text);
        return sid;
    }

    SECURITY_ATTRIBUTES m_attributes = {sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
};

// One end of a pipe that was opened for overlapped calls, each of which has its time.
class PipeConnection : public MessageConnection {
public:
    PipeConnection(HANDLE pipe, uint32_t timeoutMs)
        : m_pipe(pipe), m_timeoutMs(timeoutMs), m_event(NewEvent()) {}

    bool Send(const void* bytes, size_t size) override {
        const char* next = static_cast<const char*>(bytes);
        while (size > 0) {
            DWORD moved = 0;
            const auto piece = static_cast<DWORD>(std::min(size, kLargestPiece));
            if (!Run([&](OVERLAPPED& call) { return WriteFile(m_pipe, next, piece, nullptr, &call); },
                     moved)) {
                return false;
            }
            next += moved;
            size -= moved;
        }
        return true;
    }

    bool Receive(void* bytes, size_t size) override {
        char* next = static_cast<char*>(bytes);
        while (size > 0) {
            DWORD moved = 0;
            const auto piece = static_cast<DWORD>(std::min(size, kLargestPiece));
            if (!Run([&](OVERLAPPED& call) { return ReadFile(m_pipe, next, piece, nullptr, &call); },
                     moved)) {
                return false;
            }
            next += moved;
            size -= moved;
        }
        return true;
    }

    // Until the other end has gone, or time is up: what is left in a pipe is lost when this end closes it.
    void WaitForEnd() {
        char byte = 0;
        Receive(&byte, 1);
    }

private:
    template <class Call>
    bool Run(Call&& start, DWORD& moved) {
        OVERLAPPED call = {};
        call.hEvent = m_event.Get();
        if (start(call) == 0 && ::GetLastError() != ERROR_IO_PENDING) {
            return FailOnPipe(::GetLastError());
        }
        if (WaitForSingleObject(m_event.Get(), m_timeoutMs) != WAIT_OBJECT_0) {
            CancelIoEx(m_pipe, &call);
            if (GetOverlappedResult(m_pipe, &call, &moved, TRUE) == 0) {
                SetLastError(kWaitTimeout);
                return false;
            }
        } else if (GetOverlappedResult(m_pipe, &call, &moved, FALSE) == 0) {
            return FailOnPipe(::GetLastError());
        }
        return moved != 0 || FailOnPipe(ERROR_BROKEN_PIPE);
    }

    static bool FailOnPipe(DWORD error) {
        const bool isGone =
            error == ERROR_BROKEN_PIPE || error == ERROR_PIPE_NOT_CONNECTED || error == ERROR_NO_DATA;
        return FailWithSystemError(isGone ? DWORD{kInputOutputError} : error);
    }

    const HANDLE m_pipe;
    const DWORD m_timeoutMs;
    const SystemHandle m_event;
};

class WindowsMessageReceiver : public MessageReceiver {
public:
    WindowsMessageReceiver(std::unique_ptr<NamedMutex> name, SystemHandle pipe, Handler handler)
        : m_name(std::move(name)),
          m_pipe(std::move(pipe)),
          m_stop(NewEvent()),
          m_connected(NewEvent()),
          m_handler(std::move(handler)),
          m_thread([this] { Serve(); }) {}

    ~WindowsMessageReceiver() override {
        SetEvent(m_stop.Get());
        m_thread.join();
    }

private:
    void Serve() {
        DWORD restMs = 0;
        while (WaitForSingleObject(m_stop.Get(), restMs) != WAIT_OBJECT_0) {
            const bool isThere = WaitForSender();
            restMs = isThere ? 0 : kRestMs;
            if (isThere) {
                PipeConnection connection(m_pipe.Get(), kReceiveTimeoutMs);
                AnswerMessage(connection, m_handler);
                connection.WaitForEnd();
            }
            DisconnectNamedPipe(m_pipe.Get());
        }
    }

    // False when the receiver ends, and when no sender could be waited for.
    bool WaitForSender() {
        OVERLAPPED call = {};
        call.hEvent = m_connected.Get();
        ResetEvent(m_connected.Get());
        if (ConnectNamedPipe(m_pipe.Get(), &call) == 0 && ::GetLastError() != ERROR_IO_PENDING) {
            // There already, or gone again, which its message will show.
            return ::GetLastError() == ERROR_PIPE_CONNECTED || ::GetLastError() == ERROR_NO_DATA;
        }
        const HANDLE waits[2] = {m_stop.Get(), m_connected.Get()};
        DWORD ignored = 0;
        if (WaitForMultipleObjects(2, waits, FALSE, INFINITE) == WAIT_OBJECT_0 + 1) {
            return GetOverlappedResult(m_pipe.Get(), &call, &ignored, FALSE) != 0;
        }
        CancelIoEx(m_pipe.Get(), &call);
        GetOverlappedResult(m_pipe.Get(), &call, &ignored, TRUE);
        return false;
    }

    const std::unique_ptr<NamedMutex> m_name;
    const SystemHandle m_pipe;
    const SystemHandle m_stop;
    const SystemHandle m_connected;
    const Handler m_handler;
    std::thread m_thread;  // last, so that all else is there when it runs
};

// Null with LastError set. Waits while the receiver answers others.
SystemHandle OpenPipe(const std::wstring& name, uint32_t timeoutMs) {
    const uint64_t end = GetTickCount64() + timeoutMs;
    while (true) {
        SystemHandle pipe(CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION,
                                      nullptr));
        if (pipe) {
            return pipe;
        }
        if (::GetLastError() != ERROR_PIPE_BUSY) {
            FailWithSystemError();
            return pipe;
        }
        const uint64_t now = GetTickCount64();
        // The shortest wait that is not "as long as the receiver likes".
        const auto left = static_cast<DWORD>(now >= end ? 1 : std::clamp<uint64_t>(end - now, 1, INT32_MAX));
        if (WaitNamedPipeW(name.c_str(), left) == 0 && ::GetLastError() == ERROR_SEM_TIMEOUT && now >= end) {
            SetLastError(kWaitTimeout);
            return pipe;
        }
    }
}

}  // namespace

std::unique_ptr<MessageReceiver> MessageReceiver::Open(TextView name, Handler handler) {
    auto mutex = NamedMutex::Create(_T("Receiver-") + FromUtf8(PlainReceiverName(name)));
    if (!mutex) {
        return nullptr;
    }
    OwnUserOnly rights;
    if (!rights) {
        FailWithSystemError();
        return nullptr;
    }
    SystemHandle pipe(CreateNamedPipeW(
        PipeName(name).c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
        PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, /*nMaxInstances=*/1,
        kPipeBuffer, kPipeBuffer, 0, rights.Get()));
    if (!pipe) {
        FailWithSystemError();
        return nullptr;
    }
    return std::make_unique<WindowsMessageReceiver>(std::move(mutex), std::move(pipe), std::move(handler));
}

bool SendChannelMessage(TextView receiver, const ChannelMessage& message, uint32_t timeoutMs,
                        ChannelReply& reply) {
    if (!IsSendable(message)) {
        return false;
    }
    const SystemHandle pipe = OpenPipe(PipeName(receiver), timeoutMs);
    if (!pipe) {
        return false;
    }
    PipeConnection connection(pipe.Get(), timeoutMs);
    return ExchangeMessage(connection, message, reply);
}

}  // namespace rampart::platform
