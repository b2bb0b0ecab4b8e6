#include <cstdlib>
#include <cstring>

#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "platform/message_channel.h"

using namespace rampart;

namespace {

constexpr uint32_t kAnswerTimeoutMs = 60'000;

platform::ChannelReply Answer(const ProcessMessageReceiver::Handler& handler,
                              const platform::ChannelMessage& message) {
    return Guarded(_T("Error: ProcessMessageReceiver"), platform::ChannelReply(), [&] {
        std::string bytes = message.data;  // a handler may write where it reads
        COPYDATASTRUCT received;
        received.dwData = static_cast<ULONG_PTR>(message.command);
        received.cbData = static_cast<DWORD>(bytes.size());
        received.lpData = bytes.empty() ? nullptr : bytes.data();
        std::vector<unsigned char> reply;
        const __int64 result = handler(received, CString(TextView(message.sender)), reply);
        return platform::ChannelReply{result, std::string(reply.begin(), reply.end())};
    });
}

}  // namespace

struct ProcessMessageReceiver::Impl {
    std::unique_ptr<platform::MessageReceiver> receiver;
};

ProcessMessageReceiver::ProcessMessageReceiver(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}

ProcessMessageReceiver::~ProcessMessageReceiver() = default;

std::unique_ptr<ProcessMessageReceiver> ProcessMessageReceiver::Open(CString const& receiver,
                                                                     Handler handler) {
    return Guarded(_T("Error: ProcessMessageReceiver"), nullptr,
                   [&]() -> std::unique_ptr<ProcessMessageReceiver> {
                       auto opened = platform::MessageReceiver::Open(
                           receiver, [handler = std::move(handler)](const platform::ChannelMessage& message) {
                               return Answer(handler, message);
                           });
                       if (!opened) {
                           return nullptr;
                       }
                       return std::unique_ptr<ProcessMessageReceiver>(
                           new ProcessMessageReceiver(std::make_unique<Impl>(Impl{std::move(opened)})));
                   });
}

__int64 SendProcessMsgRetBuf(CString const& receiver, CString const& sender, COPYDATASTRUCT& message,
                             unsigned char** reply, __int64* replySize) {
    if (reply) {
        *reply = nullptr;
    }
    if (replySize) {
        *replySize = 0;
    }
    return Guarded(_T("Error: SendProcessMsgRetBuf"), 0LL, [&]() -> __int64 {
        platform::ChannelMessage question{message.dwData, sender.ToText(), {}};
        if (message.lpData) {
            question.data.assign(static_cast<const char*>(message.lpData), message.cbData);
        }
        platform::ChannelReply answer;
        if (!platform::SendChannelMessage(receiver, question, kAnswerTimeoutMs, answer)) {
            return 0;
        }
        if (reply && replySize && !answer.data.empty()) {
            *reply = static_cast<unsigned char*>(malloc(answer.data.size()));
            if (*reply) {
                memcpy(*reply, answer.data.data(), answer.data.size());
                *replySize = static_cast<__int64>(answer.data.size());
            }
        }
        return answer.result;
    });
}
