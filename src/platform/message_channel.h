// Data messages between the processes of one user on this machine: one question, one answer.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/text.h"

namespace rampart::platform {

struct ChannelMessage {
    uint64_t command = 0;
    Text sender;
    std::string data;
};

struct ChannelReply {
    int64_t result = 0;
    std::string data;
};

inline constexpr size_t kLargestChannelMessage = 64 << 20;  // bytes of data, there and back

// Receives under a name, as long as it lives. One receiver at a time has a name, whatever process it is in.
class MessageReceiver {
public:
    // Called on a thread of the receiver's own, for one message at a time; what it throws becomes an answer
    // of 0. It must not destroy the receiver.
    using Handler = std::function<ChannelReply(const ChannelMessage& message)>;

    // Null with kAlreadyExists when somebody receives under the name.
    static std::unique_ptr<MessageReceiver> Open(TextView name, Handler handler);
    // Waits for a handler that runs.
    virtual ~MessageReceiver() = default;
};

// Sends a message to a receiver and waits for its answer. False with kFileNotFound when nobody receives under
// the name, with another error when the message is too large, the answer takes longer than `timeoutMs` or the
// receiver ends. Any thread may call.
bool SendChannelMessage(TextView receiver, const ChannelMessage& message, uint32_t timeoutMs,
                        ChannelReply& reply);

}  // namespace rampart::platform
