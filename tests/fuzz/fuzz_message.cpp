// What another process of the user may send to a receiver, or answer to a sender.
#include "fuzz/fuzz_input.h"
#include "platform/message_frame.h"

namespace rampart::fuzz {
namespace {

using namespace platform;

// Gives the input's bytes and keeps what is sent.
class ScriptedConnection : public MessageConnection {
public:
    explicit ScriptedConnection(std::string_view bytes) : m_bytes(bytes) {}

    bool Send(const void* bytes, size_t size) override {
        m_sent.append(static_cast<const char*>(bytes), size);
        return true;
    }
    bool Receive(void* bytes, size_t size) override {
        if (size > m_bytes.size()) {
            return false;
        }
        std::memcpy(bytes, m_bytes.data(), size);
        m_bytes.remove_prefix(size);
        return true;
    }
    const std::string& Sent() const { return m_sent; }

private:
    std::string_view m_bytes;
    std::string m_sent;
};

void Answer(std::string_view bytes) {
    ScriptedConnection receiver(bytes);
    ChannelMessage received;
    bool isReceived = false;
    AnswerMessage(receiver, [&](const ChannelMessage& message) {
        received = message;
        isReceived = true;
        return ChannelReply{42, message.data};
    });
    if (!isReceived) {
        return;
    }
    ChannelReply reply;
    ScriptedConnection sender(receiver.Sent());
    Require(ExchangeMessage(sender, received, reply), "an answer is understood");
    Require(reply.result == 42 && reply.data == received.data, "an answer comes back");

    ScriptedConnection relay(sender.Sent());
    AnswerMessage(relay, [&](const ChannelMessage& message) {
        Require(message.command == received.command && message.data == received.data &&
                    message.sender == received.sender,
                "a message that is passed on comes through");
        return ChannelReply();
    });
    Require(!relay.Sent().empty(), "a message that is passed on is answered");
}

}  // namespace
}  // namespace rampart::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace rampart::fuzz;
    const std::string_view bytes = Input(data, size).Rest();
    Answer(bytes);
    ScriptedConnection connection(bytes);
    ChannelReply reply;
    ExchangeMessage(connection, {}, reply);
    return 0;
}
