#include <cstdlib>
#include <cstring>

#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "platform/message_channel.h"

using namespace rampart;

namespace {

constexpr uint32_t kAnswerTimeoutMs = 60'000;

}  // namespace

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
