#include "platform/message_frame.h"

#include "platform/fnv_hash.h"

namespace rampart::platform {
namespace {

constexpr size_t kLongestName = 64;

bool ReceiveText(MessageConnection& connection, uint64_t size, size_t limit, std::string& text) {
    if (size > limit) {
        SetLastError(kInvalidParameter);
        return false;
    }
    text.resize(size);
    return connection.Receive(text.data(), text.size());
}

bool ReceiveMessage(MessageConnection& connection, ChannelMessage& message) {
    MessageHeader header;
    std::string sender;
    if (!connection.Receive(&header, sizeof header) || header.magic != kMessageMagic ||
        !ReceiveText(connection, header.senderSize, kLongestSender, sender) ||
        !ReceiveText(connection, header.dataSize, kLargestChannelMessage, message.data)) {
        return false;
    }
    message.command = header.command;
    message.sender = FromUtf8(sender);
    return true;
}

}  // namespace

bool IsSendable(const ChannelMessage& message) {
    if (message.data.size() > kLargestChannelMessage || ToUtf8(message.sender).size() > kLongestSender) {
        SetLastError(kInvalidParameter);
        return false;
    }
    return true;
}

bool ExchangeMessage(MessageConnection& connection, const ChannelMessage& message, ChannelReply& reply) {
    const std::string sender = ToUtf8(message.sender);
    MessageHeader header;
    header.command = message.command;
    header.senderSize = static_cast<uint32_t>(sender.size());
    header.dataSize = message.data.size();
    ReplyHeader answer;
    if (!connection.Send(&header, sizeof header) || !connection.Send(sender.data(), sender.size()) ||
        !connection.Send(message.data.data(), message.data.size()) ||
        !connection.Receive(&answer, sizeof answer) || answer.magic != kMessageMagic ||
        !ReceiveText(connection, answer.dataSize, kLargestChannelMessage, reply.data)) {
        return false;
    }
    reply.result = answer.result;
    return true;
}

void AnswerMessage(MessageConnection& connection, const MessageReceiver::Handler& handler) {
    ChannelReply reply;
    try {
        ChannelMessage message;
        if (!ReceiveMessage(connection, message)) {
            return;
        }
        reply = handler(message);
    } catch (...) {
        reply = {};
    }
    ReplyHeader header;
    header.result = reply.result;
    header.dataSize = reply.data.size();
    if (connection.Send(&header, sizeof header)) {
        connection.Send(reply.data.data(), reply.data.size());
    }
}

std::string PlainReceiverName(TextView name) {
    std::string text = ToUtf8(name);
    bool plain = !text.empty() && text.size() <= kLongestName;
    for (const char byte : text) {
        plain = plain && (isalnum(static_cast<unsigned char>(byte)) != 0 || byte == '-' || byte == '_');
    }
    return plain ? "message-" + text : "message." + std::to_string(Fnv64(text));
}

}  // namespace rampart::platform
