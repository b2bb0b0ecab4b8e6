#include "platform/frame_socket.h"

#include <gtest/gtest.h>

#include <array>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <future>
#include <thread>

#include "platform/error.h"

namespace rampart::platform {
namespace {

using Tcp = boost::asio::ip::tcp;

// A listener that hands out its peers one by one.
class Listener {
public:
    uint16_t Port() const { return m_listener->Port(); }
    std::unique_ptr<FrameSocket> Take() {
        auto peer = m_arrived.get_future().get();
        m_arrived = {};
        return peer;
    }
    std::unique_ptr<FrameSocket> Connect() const {
        return FrameSocket::Connect({"127.0.0.1", Port()}, 10'000);
    }

private:
    std::promise<std::unique_ptr<FrameSocket>> m_arrived;
    std::unique_ptr<FrameListener> m_listener = FrameListener::Open(
        0, [this](std::unique_ptr<FrameSocket> peer) { m_arrived.set_value(std::move(peer)); });
};

// A peer that sees the bytes of the wire.
class RawPeer {
public:
    explicit RawPeer(uint16_t port) {
        m_socket.connect(Tcp::endpoint(boost::asio::ip::address_v4::loopback(), port));
    }
    void Send(const std::string& bytes) { boost::asio::write(m_socket, boost::asio::buffer(bytes)); }
    std::string Receive(size_t size) {
        std::string bytes(size, '\0');
        boost::asio::read(m_socket, boost::asio::buffer(bytes));
        return bytes;
    }
    void Leave() { m_socket.close(); }

private:
    boost::asio::io_context m_context;
    Tcp::socket m_socket{m_context};
};

std::string Text(const std::vector<char>& message) {
    return {message.begin(), message.end()};
}

TEST(FrameSocket, TheWireCarriesLengthAndBytes) {
    Listener listener;
    RawPeer raw(listener.Port());
    const auto peer = listener.Take();
    std::vector<char> message;
    raw.Send({5, 0, 0});
    raw.Send({0, 'h', 'e'});
    raw.Send(std::string("llo") + std::string(4, '\0') + std::string({2, 0, 0, 0, 'o', 'k'}));
    ASSERT_TRUE(peer->Read(message));
    EXPECT_EQ(Text(message), "hello");
    ASSERT_TRUE(peer->Read(message));
    EXPECT_EQ(Text(message), "");
    ASSERT_TRUE(peer->Read(message));
    EXPECT_EQ(Text(message), "ok");

    const std::string sent(0x010203, 'x');
    ASSERT_TRUE(peer->Write(sent.data(), sent.size(), kNoTimeLimit));
    EXPECT_EQ(raw.Receive(4), (std::string{3, 2, 1, 0}));
    EXPECT_EQ(raw.Receive(sent.size()), sent);
}

TEST(FrameSocket, ALengthAboveTheLimitEndsTheConnection) {
    Listener listener;
    for (const std::string& length : {std::string{1, 0, 0, 4}, std::string(4, '\xff')}) {
        RawPeer raw(listener.Port());
        const auto peer = listener.Take();
        std::vector<char> message;
        raw.Send(length);
        EXPECT_FALSE(peer->Read(message));
        EXPECT_EQ(LastError(), kFileTooLarge);
        EXPECT_FALSE(peer->IsOpen());
        EXPECT_THROW(raw.Receive(1), boost::system::system_error);
    }
    const auto peer = listener.Connect();
    const std::vector<char> large(size_t{kLargestFrame} + 1);
    EXPECT_FALSE(peer->Write(large.data(), large.size(), kNoTimeLimit));
    EXPECT_TRUE(peer->IsOpen()) << "nothing of it was sent";
}

TEST(FrameSocket, APeerThatLeavesWithinAMessageEndsTheRead) {
    Listener listener;
    RawPeer raw(listener.Port());
    const auto peer = listener.Take();
    raw.Send({100, 0, 0, 0, 'x'});
    raw.Leave();
    std::vector<char> message;
    EXPECT_FALSE(peer->Read(message));
    EXPECT_FALSE(peer->IsOpen());
    EXPECT_FALSE(peer->Write("x", 1, kNoTimeLimit));
}

TEST(FrameSocket, CloseEndsWhatWaits) {
    Listener listener;
    const auto client = listener.Connect();
    const auto peer = listener.Take();
    std::promise<void> begun;
    std::thread reader([&] {
        std::vector<char> message;
        EXPECT_FALSE(client->Read(message));
        EXPECT_EQ(LastError(), kRequestAborted);
    });
    std::thread writer([&] {
        const std::vector<char> more(kLargestFrame);  // than the system takes while nobody reads
        begun.set_value();
        EXPECT_FALSE(client->Write(more.data(), more.size(), kNoTimeLimit));
    });
    begun.get_future().get();
    client->Close();
    reader.join();
    writer.join();
    EXPECT_FALSE(client->IsOpen());
}

TEST(FrameSocket, AMessageThatIsNotTakenInTimeEndsTheConnection) {
    Listener listener;
    const auto client = listener.Connect();
    const auto peer = listener.Take();
    const std::vector<char> more(kLargestFrame);
    EXPECT_FALSE(client->Write(more.data(), more.size(), 50));
    EXPECT_EQ(LastError(), kWaitTimeout);
    EXPECT_FALSE(client->IsOpen());
}

TEST(FrameSocket, OnlyTheLoopbackIsUsed) {
    uint16_t port = 0;
    {
        Listener listener;
        port = listener.Port();
        EXPECT_EQ(FrameListener::Open(port, [](auto) {}), nullptr);
        EXPECT_EQ(LastError(), kAlreadyExists);
        EXPECT_EQ(FrameSocket::Connect({"127.0.0.2", port}, 10'000), nullptr)
            << "another name of this machine";
        for (const char* address : {"10.0.0.1", "0.0.0.0", "localhost", ""}) {
            EXPECT_EQ(FrameSocket::Connect({address, port}, 10'000), nullptr) << address;
            EXPECT_EQ(LastError(), kInvalidParameter) << address;
        }
        const auto client = listener.Connect();
        const auto peer = listener.Take();
        EXPECT_EQ(client->Peer().address, "127.0.0.1");
        EXPECT_EQ(client->Peer().port, port);
        std::vector<char> message;
        peer->Close();  // so that the listener's port has an old connection
        EXPECT_FALSE(client->Read(message));
    }
    EXPECT_EQ(FrameSocket::Connect({"127.0.0.1", port}, 10'000), nullptr);
    EXPECT_EQ(LastError(), kFileNotFound);
    EXPECT_NE(FrameListener::Open(port, [](auto) {}), nullptr) << "free again at once";
}

}  // namespace
}  // namespace rampart::platform
