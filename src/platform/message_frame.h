// How a message and its answer travel over a connection of any kind: a header, then its texts.
#pragma once

#include "platform/error.h"
#include "platform/message_channel.h"

namespace rampart::platform {

inline constexpr uint32_t kMessageMagic = 0x31504d52;
inline constexpr uint32_t kReceiveTimeoutMs = 10'000;  // for a sender that began a message and does not go on
inline constexpr size_t kLongestSender = 64 << 10;

// Both ends are on one machine, so numbers travel as they lie in memory.
struct MessageHeader {
    uint32_t magic = kMessageMagic;
    uint32_t senderSize = 0;
    uint64_t command = 0;
    uint64_t dataSize = 0;
};

struct ReplyHeader {
    uint32_t magic = kMessageMagic;
    uint32_t reserved = 0;
    int64_t result = 0;
    uint64_t dataSize = 0;
};

// One end of a connection. Both calls move all bytes or fail with LastError set.
class MessageConnection {
public:
    virtual ~MessageConnection() = default;
    virtual bool Send(const void* bytes, size_t size) = 0;
    virtual bool Receive(void* bytes, size_t size) = 0;
};

// Whether a message is small enough to be sent; otherwise LastError is kInvalidParameter.
bool IsSendable(const ChannelMessage& message);

// The sender's side: the message there, the answer back.
bool ExchangeMessage(MessageConnection& connection, const ChannelMessage& message, ChannelReply& reply);

// The receiver's side: takes a message, if it is one, and sends what the handler answers.
void AnswerMessage(MessageConnection& connection, const MessageReceiver::Handler& handler);

// A plain word for the name of a receiver; a long or odd name gives way to a number made of it.
std::string PlainReceiverName(TextView name);

}  // namespace rampart::platform
