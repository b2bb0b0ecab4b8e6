#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <map>
#include <thread>

#include "platform/error.h"
#include "support/socket_inbox.h"

namespace rampart {
namespace {

using test::Connect;
using test::Send;
using test::SocketInbox;

// A client and a server's peer, both started.
class Sockets : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(Connect(m_client, m_server));
        m_peer = m_server.TakePeer();
        m_client.AddObserver(&m_clientInbox);
        m_peer->AddObserver(&m_peerInbox);
        ASSERT_TRUE(m_client.Start());
        ASSERT_TRUE(m_peer->Start());
    }

    test::LoopbackServer m_server;
    SocketInbox m_clientInbox, m_peerInbox;
    std::unique_ptr<SocketConnection> m_peer;
    SocketConnection m_client;
};

TEST_F(Sockets, MessagesArriveWholeAndInOrder) {
    const std::string large(10'000'000, 'x');
    EXPECT_TRUE(Send(m_client, "one"));
    EXPECT_TRUE(Send(m_client, ""));
    EXPECT_TRUE(Send(m_client, large));
    EXPECT_EQ(m_peerInbox.messages.Take(), "one");
    EXPECT_EQ(m_peerInbox.messages.Take(), "");
    EXPECT_TRUE(m_peerInbox.messages.Take() == large);
    EXPECT_TRUE(Send(*m_peer, "back"));
    EXPECT_EQ(m_clientInbox.messages.Take(), "back");
}

TEST_F(Sockets, MessagesOfManyThreadsDoNotMix) {
    constexpr int kThreads = 4, kMessages = 200;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; thread++) {
        threads.emplace_back([this, thread] {
            for (int number = 0; number < kMessages; number++) {
                const std::string tail(static_cast<size_t>(number * 97 % 5000),
                                       static_cast<char>('a' + thread));
                EXPECT_TRUE(
                    Send(m_client, std::to_string(thread) + " " + std::to_string(number) + " " + tail));
            }
        });
    }
    std::map<int, int> next;
    for (int count = 0; count < kThreads * kMessages; count++) {
        const std::string message = m_peerInbox.messages.Take();
        const int thread = message[0] - '0';
        const int number = next[thread]++;
        const std::string tail(static_cast<size_t>(number * 97 % 5000), static_cast<char>('a' + thread));
        ASSERT_EQ(message, std::to_string(thread) + " " + std::to_string(number) + " " + tail);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(Sockets, AnEndIsToldOnceAtBothEnds) {
    m_client.SetSocketIndex(7);
    SockAddrIn server;
    ASSERT_TRUE(m_client.GetPeerName(server));
    EXPECT_EQ(server, SockAddrIn(_T("127.0.0.1"), m_server.Port()));
    EXPECT_NE(m_client.ReInitSocketCommunition(), 0);
    ASSERT_EQ(m_clientInbox.events.Count(), 1u) << "told before the call returns";
    const SocketEventParams own = m_clientInbox.events.Take();
    EXPECT_EQ(own.m_socketIndex, 7);
    EXPECT_EQ(own.m_peer, server);
    EXPECT_EQ(own.m_error, platform::kRequestAborted);
    EXPECT_NE(m_peerInbox.events.Take().m_error, platform::kRequestAborted);
    EXPECT_FALSE(m_peer->IsValid());
    EXPECT_FALSE(Send(*m_peer, "x"));
    EXPECT_NE(m_peer->ReInitSocketCommunition(), 0);
    EXPECT_NE(m_client.ReInitSocketCommunition(), 0);
    EXPECT_FALSE(m_client.IsValid());
    EXPECT_FALSE(m_client.GetPeerName(server));
    EXPECT_FALSE(Send(m_client, "x"));
    EXPECT_EQ(m_clientInbox.events.Count() + m_peerInbox.events.Count(), 0u);
}

TEST_F(Sockets, AConnectionFollowsAnother) {
    for (int round = 0; round < 20; round++) {
        ASSERT_TRUE(Connect(m_client, m_server));
        EXPECT_EQ(m_clientInbox.events.Count(), static_cast<size_t>(round + 1))
            << "the end of the one before";
        ASSERT_TRUE(m_client.Start());
        m_peer = m_server.TakePeer();
        m_peer->AddObserver(&m_peerInbox);
        ASSERT_TRUE(m_peer->Start());
        ASSERT_TRUE(Send(*m_peer, "hello"));
        EXPECT_EQ(m_clientInbox.messages.Take(), "hello");
    }
}

TEST_F(Sockets, WhatAnEndMayNotDo) {
    EXPECT_FALSE(m_client.Start()) << "a second receive thread";
    EXPECT_FALSE(Connect(*m_peer, m_server)) << "a server's end";
    EXPECT_TRUE(m_peer->IsValid());
    SocketConnection other;
    EXPECT_FALSE(other.Start());
    EXPECT_FALSE(other.IsValid());
    EXPECT_FALSE(other.ConnectToServer(_T("127.0.0.1"), _T("0"), 2, 1));
    EXPECT_FALSE(other.ConnectToServer(_T("127.0.0.1"), _T("70000"), 2, 1));
    EXPECT_FALSE(other.ConnectToServer(_T("127.0.0.1"), _T("2000"), 23, 1));
    EXPECT_FALSE(m_client.WriteData(nullptr, 1, kWaitForever, 1));
    const unsigned char byte = 1;
    EXPECT_FALSE(m_client.WriteData(&byte, 1, kWaitForever, 2)) << "part of a message";
    EXPECT_FALSE(m_client.WriteData(&byte, -1, kWaitForever, -1));
    EXPECT_TRUE(m_client.IsValid());
}

// Calls what the test gives it.
struct Calls : SocketObserver {
    void SocketEvent(SocketEventParams*) override { onEvent(); }
    void SocketDataReceived(char*, int) override { onData(); }
    std::function<void()> onEvent = [] {};
    std::function<void()> onData = [] {};
};

TEST_F(Sockets, ObserversComeAndGoDuringACall) {
    Calls once, late;
    int onceCalls = 0, lateCalls = 0;
    late.onData = [&] { lateCalls++; };
    once.onData = [&] {
        onceCalls++;
        EXPECT_TRUE(m_client.RemoveObserver(&once));
        EXPECT_TRUE(m_client.RemoveObserver(&m_clientInbox));
        EXPECT_TRUE(m_client.AddObserver(&late));
        EXPECT_FALSE(m_client.AddObserver(&late));
        EXPECT_TRUE(m_client.AddObserver(&m_clientInbox));
    };
    EXPECT_FALSE(m_client.AddObserver(nullptr));
    m_client.RemoveObserver(&m_clientInbox);
    m_client.AddObserver(&once);
    m_client.AddObserver(&m_clientInbox);
    Send(*m_peer, "first");
    Send(*m_peer, "second");
    std::string message = m_clientInbox.messages.Take();
    if (message == "first") {  // told as one who came back
        message = m_clientInbox.messages.Take();
    }
    EXPECT_EQ(message, "second");
    m_client.ReInitSocketCommunition();
    EXPECT_EQ(onceCalls, 1);
    EXPECT_EQ(lateCalls, 1);
    EXPECT_FALSE(m_client.RemoveObserver(&once));
}

TEST_F(Sockets, RemovingAnObserverWaitsForItsCall) {
    Calls slow;
    std::promise<void> inside, go;
    std::atomic<bool> left = false;
    slow.onData = [&] {
        inside.set_value();
        go.get_future().get();
        left = true;
    };
    m_client.AddObserver(&slow);
    Send(*m_peer, "x");
    inside.get_future().get();
    std::thread remover([&] {
        EXPECT_TRUE(m_client.RemoveObserver(&slow));
        EXPECT_TRUE(left);
    });
    go.set_value();
    remover.join();
}

TEST_F(Sockets, AnObserverThatThrowsDoesNotEndTheConnection) {
    Calls bad;
    bad.onData = [] { throw std::runtime_error("bad"); };
    m_client.RemoveObserver(&m_clientInbox);
    m_client.AddObserver(&bad);
    m_client.AddObserver(&m_clientInbox);
    Send(*m_peer, "one");
    Send(*m_peer, "two");
    EXPECT_EQ(m_clientInbox.messages.Take(), "one");
    EXPECT_EQ(m_clientInbox.messages.Take(), "two");
    m_client.RemoveObserver(&bad);
}

// The thread of the old connection must not take the new one for lost.
TEST_F(Sockets, AnObserverMayConnectAnew) {
    for (const bool onLoss : {true, false}) {
        Calls reconnect;
        std::atomic<int> events = 0;
        // What the end of the old one has told is looked at before the new one can end, too.
        const auto connect = [&] {
            EXPECT_TRUE(Connect(m_client, m_server));
            EXPECT_EQ(events, 1);
            EXPECT_TRUE(m_client.Start());
        };
        reconnect.onEvent = [&] {
            if (++events == 1 && onLoss) {
                m_client.ReInitSocketCommunition();
                connect();
            }
        };
        reconnect.onData = [&] {
            if (events == 0) {
                connect();
            }
        };
        m_client.AddObserver(&reconnect);
        if (onLoss) {
            m_peer->ReInitSocketCommunition();
        } else {
            Send(*m_peer, "connect anew");
        }
        const auto newPeer = m_server.TakePeer();
        newPeer->Start();
        m_peer.reset();
        EXPECT_TRUE(Send(*newPeer, "after"));
        std::string message = m_clientInbox.messages.Take();
        if (!onLoss && message != "after") {
            message = m_clientInbox.messages.Take();
        }
        EXPECT_EQ(message, "after");
        EXPECT_TRUE(m_client.IsValid());
        EXPECT_EQ(m_clientInbox.events.Count(), 1u);
        m_clientInbox.events.Take();
        m_client.ReInitSocketCommunition();
        m_clientInbox.events.Take();
        EXPECT_EQ(events, 2);
        m_client.RemoveObserver(&reconnect);
        SetUp();
    }
}

// Who ends a connection may destroy the observer next.
TEST_F(Sockets, AnEndWaitsForAnObserverThatEndsItToo) {
    Calls last;
    std::promise<void> inside, ending;
    std::atomic<bool> left = false;
    last.onEvent = [&] {
        m_client.ReInitSocketCommunition();
        inside.set_value();
        ending.get_future().get();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));  // for an end that does not wait
        left = true;
    };
    m_client.AddObserver(&last);
    m_peer->ReInitSocketCommunition();
    inside.get_future().get();
    std::thread ender([&] {
        ending.set_value();
        m_client.ReInitSocketCommunition();
        EXPECT_TRUE(left);
    });
    ender.join();
    EXPECT_TRUE(m_client.RemoveObserver(&last));
}

TEST_F(Sockets, AnObserverDoesNotConnectWhileAnotherThreadEnds) {
    Calls reconnect;
    std::promise<void> done;
    std::thread ender;
    bool isFirst = true;
    reconnect.onEvent = [&] {
        if (!std::exchange(isFirst, false)) {
            return;  // of the second connection
        }
        EXPECT_TRUE(Connect(m_client, m_server)) << "while nobody ends";
        ender = std::thread([&] { m_client.ReInitSocketCommunition(); });
        while (m_client.IsValid()) {
            std::this_thread::yield();
        }
        EXPECT_FALSE(Connect(m_client, m_server)) << "the other waits for this call";
        EXPECT_EQ(platform::LastError(), platform::kRequestAborted);
        done.set_value();
    };
    m_client.AddObserver(&reconnect);
    m_peer->ReInitSocketCommunition();
    done.get_future().get();
    ender.join();
    EXPECT_FALSE(m_client.IsValid());
    m_client.RemoveObserver(&reconnect);
}

TEST_F(Sockets, ConnectionsComeAndGoInManyThreads) {
    Calls reconnect;
    reconnect.onEvent = [&] {
        m_client.ReInitSocketCommunition();
        Connect(m_client, m_server);
        m_client.Start();
    };
    m_client.AddObserver(&reconnect);
    std::atomic<bool> stop = false;
    std::thread breaker([&] {
        while (!stop) {
            const auto peer = m_server.TakePeer();
            peer->Start();
        }
    });
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; thread++) {
        threads.emplace_back([&, thread] {
            for (int round = 0; round < 50; round++) {
                if (thread == 0) {
                    m_client.ReInitSocketCommunition();
                } else if (Connect(m_client, m_server)) {
                    m_client.Start();
                }
                Send(m_client, "x");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    m_client.RemoveObserver(&reconnect);
    m_client.ReInitSocketCommunition();
    EXPECT_FALSE(m_client.IsValid());
    stop = true;
    SocketConnection last;  // wakes the breaker
    EXPECT_TRUE(Connect(last, m_server));
    breaker.join();
}

TEST_F(Sockets, AnEndMayBeDestroyedWhileItReceivesAndSends) {
    std::atomic<bool> stop = false;
    std::thread sender([&] {
        while (!stop) {
            Send(*m_peer, "flood");
        }
    });
    for (int round = 0; round < 20; round++) {
        m_clientInbox.messages.Take();
    }
    {
        SocketConnection other;
        ASSERT_TRUE(Connect(other, m_server));
        ASSERT_TRUE(other.Start());
        const auto peer = m_server.TakePeer();
        peer->Start();
        std::thread floods([&] {
            while (Send(*peer, "flood")) {
            }
        });
        Send(other, "x");
        other.ReInitSocketCommunition();
        floods.join();
    }
    stop = true;
    sender.join();
}

TEST(SocketUtilities, TheLocalAddressNeedsItsBuffer) {
    TCHAR buffer[10] = {};
    EXPECT_EQ(SocketUtilities::GetLocalAddress(buffer, 10), 1);
    EXPECT_EQ(CString(buffer), _T("127.0.0.1"));
    EXPECT_EQ(SocketUtilities::GetLocalAddress(buffer, 9), 0);
    EXPECT_EQ(SocketUtilities::GetLocalAddress(nullptr, 260), 0);
}

}  // namespace
}  // namespace rampart
