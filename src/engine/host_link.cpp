#include "engine/host_link.h"

#include "platform/message_channel.h"
#include "platform/process.h"
#include "platform/service_signals.h"

namespace rampart {

namespace {

class MutexName : public HeldName {
public:
    explicit MutexName(std::unique_ptr<platform::NamedMutex> mutex) : m_mutex(std::move(mutex)) {}

private:
    std::unique_ptr<platform::NamedMutex> const m_mutex;
};

class ChannelReceiver : public RequestReceiver {
public:
    explicit ChannelReceiver(std::unique_ptr<platform::MessageReceiver> receiver)
        : m_receiver(std::move(receiver)) {}

private:
    std::unique_ptr<platform::MessageReceiver> const m_receiver;
};

}  // namespace

HeldName::~HeldName() = default;

RequestReceiver::~RequestReceiver() = default;

std::unique_ptr<HeldName> HeldName::Take(CString const& name) {
    auto mutex = platform::NamedMutex::Create(name.View());
    return mutex != nullptr ? std::make_unique<MutexName>(std::move(mutex)) : nullptr;
}

bool HeldName::IsHeld(CString const& name) {
    return platform::NamedMutex::Exists(name.View());
}

std::unique_ptr<RequestReceiver> RequestReceiver::Open(CString const& name, Handler handler) {
    auto receiver = platform::MessageReceiver::Open(
        name.View(), [handler = std::move(handler)](platform::ChannelMessage const& message) {
            return platform::ChannelReply{1, handler(message.data)};
        });
    return receiver != nullptr ? std::make_unique<ChannelReceiver>(std::move(receiver)) : nullptr;
}

bool SendRequest(CString const& receiver, std::string const& request, unsigned int timeoutMs,
                 std::string& answer) {
    platform::ChannelReply reply;
    if (!platform::SendChannelMessage(receiver.View(), {0, {}, request}, timeoutMs, reply)) {
        return false;
    }
    answer = std::move(reply.data);
    return reply.result != 0;
}

void CatchServiceSignals() {
    platform::CatchServiceSignals();
}

void ForgetEarlierStop() {
    platform::ForgetEarlierStop();
}

ServiceSignal WaitForServiceSignal(unsigned int timeoutMs) {
    switch (platform::WaitForServiceSignal(timeoutMs)) {
        case platform::ServiceSignal::kStop:
            return ServiceSignal::kStop;
        case platform::ServiceSignal::kReload:
            return ServiceSignal::kReload;
        default:
            return ServiceSignal::kNone;
    }
}

void StopThisService() {
    platform::StopThisService();
}

void WakeServiceWait() {
    platform::WakeServiceWait();
}

}  // namespace rampart
