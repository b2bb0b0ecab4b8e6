#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <future>
#include <thread>

#include "link/backup_socket_client.h"
#include "link/send_socket_message_methods.h"
#include "paths/global_function.h"
#include "support/log_lines.h"
#include "support/socket_inbox.h"

int GlobalFunction::IsBackupServiceRunning() {
    return 1;
}

namespace rampart::test {

namespace {

constexpr int kReply = BackupSocketConnection::kReplyDirection, kRequest = 1;

std::string Frame(int32_t command, int32_t direction, std::string const& payload, int32_t messageType = 9) {
    CMemFile memory;
    CArchive archive(&memory, CArchive::store);
    archive << command << direction << messageType;
    archive.Write(payload.data(), static_cast<UINT>(payload.size()));
    archive.Close();
    const auto size = static_cast<size_t>(memory.GetLength());
    const std::unique_ptr<BYTE, void (*)(void*)> bytes(memory.Detach(), free);
    return std::string(reinterpret_cast<char*>(bytes.get()), size);
}

unsigned char* Bytes(std::string& frame) {
    return reinterpret_cast<unsigned char*>(frame.data());
}

SocketCommands Command(int value) {
    return static_cast<SocketCommands>(value);
}

struct Request {
    int command;
    std::string payload;
};

Request ReadRequest(CArchive& archive, int command) {
    Request request{command, std::string(static_cast<size_t>(archive.GetFile()->GetLength()), '\0')};
    request.payload.resize(archive.Read(request.payload.data(), static_cast<UINT>(request.payload.size())));
    return request;
}

// The service's end.
class Service : public BackupSocketConnection {
public:
    void Begin(std::unique_ptr<SocketConnection> socket) {
        m_socket = std::move(socket);
        m_socket->AddObserver(this);
        ASSERT_TRUE(m_socket->Start());
    }
    ~Service() override { End(); }
    // The receive thread uses the socket until it has ended.
    void End() {
        if (m_socket) {
            m_socket->ReInitSocketCommunition();
            m_socket.reset();
        }
    }
    void HandleRequestCommand(CArchive& archive, int command) override {
        requests.Put(ReadRequest(archive, command));
        if (onRequest) {
            onRequest(command);
        }
    }
    int SendBuffer(unsigned char* const buffer, int size) override {
        return m_socket->WriteData(buffer, size, kWaitForever, size);
    }
    bool Send(std::string frame) { return SendBuffer(Bytes(frame), static_cast<int>(frame.size())); }

    Handover<Request> requests;
    std::function<void(int command)> onRequest;

private:
    std::unique_ptr<SocketConnection> m_socket;
};

class Client : public BackupSocketClient {
public:
    ~Client() override { DisconnectFromServer(); }
    void HandleRequestCommand(CArchive& archive, int command) override {
        requests.Put(ReadRequest(archive, command));
    }
    void InvalidateConnection() override { losses.Put(1); }
    int Ask(int command, std::string frame) {
        return SendSocketPackageAndWait(Bytes(frame), static_cast<int>(frame.size()), Command(command));
    }
    std::string Result() {
        return std::string(reinterpret_cast<char*>(GetResultBuffer()), static_cast<size_t>(GetResultSize()));
    }

    Handover<Request> requests;
    Handover<int> losses;
};

// Asks while it handles a request, which is on the receive thread.
class AskingClient : public Client {
public:
    ~AskingClient() override { DisconnectFromServer(); }
    void HandleRequestCommand(CArchive&, int) override { answers.Put(Ask(40, Frame(40, kRequest, ""))); }

    Handover<int> answers;
};

class SocketMessages : public testing::Test {
protected:
    void SetUp() override {
        m_client.InitSocketClient(3);
        m_client.SetConnectionPort(m_server.Port());
        Connect();
    }
    void Connect() {
        ASSERT_TRUE(m_client.ConnectToServer());
        m_service.Begin(m_server.TakePeer());
    }
    // The service answers each request with these frames.
    void AnswerWith(std::vector<std::string> frames) {
        m_service.onRequest = [this, frames](int) {
            for (std::string const& frame : frames) {
                m_service.Send(frame);
            }
        };
    }

    LoopbackServer m_server;
    Client m_client;
    Service m_service;
};

TEST(SocketMessage, BeginsWithItsDefaults) {
    Client client;
    EXPECT_EQ(client.GetConnectionPort(), 2000);
    EXPECT_EQ(client.ConnectToServer(), false) << "without an address";
    client.InitSocketClient(1);
    EXPECT_EQ(client.m_strLocalAddress, _T("127.0.0.1"));
    EXPECT_EQ(client.IsBackupServiceRunnin(), 1);
    BackupSocketConnection end;
    std::string frame = Frame(1, kRequest, "");
    EXPECT_EQ(end.SendBuffer(Bytes(frame), static_cast<int>(frame.size())), 0);
}

TEST_F(SocketMessages, TheResultIsTheWholeFrame) {
    const std::string reply = Frame(40, kReply, "payload");
    AnswerWith({reply});
    EXPECT_EQ(m_client.Ask(40, Frame(40, kRequest, "question")), 1);
    EXPECT_EQ(m_client.Result(), reply);
    EXPECT_EQ(m_client.IsRecvMessageSuccessful(), 1);
    const Request request = m_service.requests.Take();
    EXPECT_EQ(request.command, 40);
    EXPECT_EQ(request.payload, "question") << "the archive stands behind the header";
    EXPECT_EQ(m_client.m_peerAddress, SockAddrIn(_T("127.0.0.1"), m_server.Port()));
    m_client.ClearReicveBuffer();
    EXPECT_EQ(m_client.GetResultBuffer(), nullptr);
    EXPECT_EQ(m_client.GetResultSize(), 0);
}

TEST_F(SocketMessages, OnlyTheAwaitedReplyEndsTheWait) {
    const std::string reply = Frame(40, kReply, "right");
    AnswerWith({Frame(41, kReply, "other command"), Frame(40, kRequest, "no reply"), reply,
                Frame(40, kReply, "second")});
    EXPECT_EQ(m_client.Ask(40, Frame(40, kRequest, "")), 1);
    EXPECT_EQ(m_client.requests.Take().payload, "other command");
    EXPECT_EQ(m_client.requests.Take().payload, "no reply");
    EXPECT_EQ(m_client.requests.Take().payload, "second") << "nothing is awaited any more";
    EXPECT_EQ(m_client.Result(), reply);
    EXPECT_EQ(m_client.GetSocketCommandsType(), kNoSocketCommand);
}

TEST_F(SocketMessages, ALossDuringAWaitLeavesNoResult) {
    AnswerWith({Frame(40, kReply, "old")});
    ASSERT_EQ(m_client.Ask(40, Frame(40, kRequest, "")), 1);
    m_service.onRequest = nullptr;
    auto waiting =
        std::async(std::launch::async, [&] { return m_client.Ask(40, Frame(40, kRequest, "again")); });
    m_service.requests.Take();
    m_service.requests.Take();  // the second has arrived, and nobody will answer
    m_service.End();
    EXPECT_EQ(waiting.get(), 0);
    EXPECT_EQ(m_client.GetResultBuffer(), nullptr);
    EXPECT_EQ(m_client.GetResultSize(), 0);
    EXPECT_EQ(m_client.IsRecvMessageSuccessful(), 0);
    m_client.losses.Take();
    EXPECT_FALSE(m_client.GetSocketConnectioned()->IsValid());

    const LogLines log;
    EXPECT_EQ(m_client.Ask(40, Frame(40, kRequest, "")), 0) << "not sent, so no wait";
    std::string frame = Frame(40, kRequest, "");
    EXPECT_EQ(m_client.SendSocketPackage(Bytes(frame), 12, Command(40)), 0);
    EXPECT_EQ(log.Count("CMD: failed to send buffer"), 1u);
    EXPECT_EQ(log.Count("CMD: failed to send.\n"), 1u);

    Connect();
    AnswerWith({Frame(40, kReply, "new")});
    EXPECT_EQ(m_client.Ask(40, Frame(40, kRequest, "")), 1);
    EXPECT_EQ(m_client.Result(), Frame(40, kReply, "new"));
}

TEST_F(SocketMessages, DisconnectingWakesWhoWaits) {
    auto waiting = std::async(std::launch::async, [&] { return m_client.Ask(40, Frame(40, kRequest, "")); });
    m_service.requests.Take();
    m_client.DisconnectFromServer();
    EXPECT_EQ(waiting.get(), 0);
    EXPECT_EQ(m_client.losses.Count(), 1u);
}

TEST_F(SocketMessages, SilentCommandsLeaveNoLine) {
    const LogLines log;
    for (int command : {2, 121, 122, 123, 127, 128, 129, 130, 131, 132}) {
        AnswerWith({Frame(command, kRequest, "unasked"), Frame(command, kReply, "")});
        EXPECT_EQ(m_client.Ask(command, Frame(command, kRequest, "")), 1);
        EXPECT_EQ(m_client.requests.Take().command, command);
    }
    EXPECT_EQ(log.Text(), "");
    for (int command : {1, 3, 120, 124, 125, 126, 133}) {
        AnswerWith({Frame(command, kRequest, "unasked", 77), Frame(command, kReply, "")});
        EXPECT_EQ(m_client.Ask(command, Frame(command, kRequest, "", 78)), 1);
        EXPECT_EQ(m_client.requests.Take().command, command);
        const std::string number = std::to_string(command) + "\n";
        EXPECT_EQ(log.Count("Recv msgType:77, commandType:" + number), 1u);
        EXPECT_EQ(log.Count("Recv msgType:78, commandType:" + number), 1u);
    }
}

TEST_F(SocketMessages, FramesWithoutAWholeHeaderAreDropped) {
    m_service.Send("");
    m_service.Send(Frame(40, kRequest, "").substr(0, 11));
    m_service.Send(Frame(40, kRequest, "whole"));
    EXPECT_EQ(m_client.requests.Take().payload, "whole");
    EXPECT_EQ(m_client.requests.Count(), 0u);
    EXPECT_TRUE(m_client.GetSocketConnectioned()->IsValid());
    const LogLines log;
    m_client.SocketDataReceived(nullptr, 0);
    m_client.SetResultBuffer(nullptr);
    EXPECT_EQ(log.Count("CMD: buffer is null."), 2u);
}

TEST_F(SocketMessages, AHandlerCannotWaitOnItsOwnConnection) {
    AskingClient client;
    client.InitSocketClient(4);
    client.SetConnectionPort(m_server.Port());
    ASSERT_TRUE(client.ConnectToServer());
    Service service;
    service.Begin(m_server.TakePeer());
    service.onRequest = [&](int command) { service.Send(Frame(command, kReply, "")); };
    const LogLines log;
    service.Send(Frame(7, kRequest, ""));
    EXPECT_EQ(client.answers.Take(), 0);
    EXPECT_EQ(log.Count("CMD: a handler must not wait for a reply on its own connection\n"), 1u);
    EXPECT_EQ(client.Ask(40, Frame(40, kRequest, "")), 1) << "another thread may";
}

TEST_F(SocketMessages, AnEmptyMessageIsSentAndLogged) {
    const LogLines log;
    AnswerWith({Frame(40, kReply, "")});
    auto waiting = std::async(std::launch::async, [&] {
        unsigned char none = 0;
        return m_client.SendSocketPackageAndWait(&none, -5, Command(40));
    });
    std::string second = Frame(41, kRequest, "");
    do {  // what is answered before the wait has begun does not end it
        EXPECT_EQ(m_client.SendBuffer(Bytes(second), static_cast<int>(second.size())), 1);
    } while (waiting.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready);
    EXPECT_EQ(waiting.get(), 1) << "the connection goes on";
    EXPECT_EQ(m_service.requests.Take().command, 41);
    EXPECT_EQ(log.Count("CMD:40 is null"), 1u);
}

TEST_F(SocketMessages, ALargeMessageGoesThereAndBack) {
    const std::string payload(10 << 20, 'p');
    AnswerWith({Frame(40, kReply, payload)});
    EXPECT_EQ(m_client.Ask(40, Frame(40, kRequest, payload)), 1);
    EXPECT_TRUE(m_client.Result() == Frame(40, kReply, payload));
    EXPECT_TRUE(m_service.requests.Take().payload == payload);
}

TEST_F(SocketMessages, ATooLargeMessageFailsAtOnce) {
    const LogLines log;
    EXPECT_EQ(m_client.Ask(40, Frame(40, kRequest, std::string(64 << 20, 'p'))), 0);
    EXPECT_EQ(log.Count("CMD: failed to send buffer"), 1u);
    AnswerWith({Frame(40, kReply, "")});
    EXPECT_EQ(m_client.Ask(40, Frame(40, kRequest, "")), 1) << "the connection goes on";
}

// None of them may take the other's observer away.
TEST_F(SocketMessages, ThreadsThatConnectTogetherLeaveOneConnection) {
    std::atomic<bool> stop = false;
    std::thread server([&] {
        std::deque<Service> services;
        for (auto peer = m_server.TakePeer(); !stop; peer = m_server.TakePeer()) {
            Service& service = services.emplace_back();
            service.onRequest = [&service](int) { service.Send(Frame(40, kReply, "")); };
            service.Begin(std::move(peer));
        }
    });
    for (int round = 0; round < 20; round++) {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 3; thread++) {
            threads.emplace_back([this] { m_client.ConnectToServer(); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(m_client.Ask(40, Frame(40, kRequest, "")), 1);
    }
    stop = true;
    m_client.ConnectToServer();
    server.join();
}

TEST_F(SocketMessages, ManyThreadsSendAndWait) {
    constexpr int kThreads = 4, kRounds = 50;
    m_service.onRequest = [this](int command) {
        if (command >= 200) {
            m_service.Send(Frame(command, kReply, std::to_string(command)));
        }
    };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; thread++) {
        threads.emplace_back([this, thread] {
            for (int round = 0; round < kRounds; round++) {
                const int command = 200 + thread;
                EXPECT_EQ(m_client.Ask(command, Frame(command, kRequest, "")), 1);
                std::string frame = Frame(100, kRequest, std::string(3000, 'x'));
                EXPECT_EQ(
                    m_client.SendSocketPackage(Bytes(frame), static_cast<int>(frame.size()), Command(100)),
                    1);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int count = 0; count < 2 * kThreads * kRounds; count++) {
        const Request request = m_service.requests.Take();
        EXPECT_EQ(request.payload.size(), request.command == 100 ? 3000u : 0u);
    }
}

// A sender whose reply is there as soon as it sends.
class Echo : public SendSocketMessageMethods {
public:
    int SendBuffer(unsigned char* const buffer, int size) override {
        if (!isConnected) {
            return 0;
        }
        awaited = GetSocketCommandsType();
        SetResultSize(size);
        if (hasMemory) {
            SetResultBuffer(reinterpret_cast<char*>(buffer));
        }
        SetRecvMessageSuccess(1);
        SetWaitResultEvent();
        return 1;
    }
    bool isConnected = true;
    bool hasMemory = true;
    int awaited = 0;
};

TEST(SendSocketMessageMethods, SendsWaitsAndLogs) {
    Echo echo;
    std::string frame = Frame(57, kRequest, "x");
    const auto ask = [&](int size, int command) {
        return echo.SendSocketPackageAndWait(Bytes(frame), size, Command(command));
    };
    const LogLines log;
    EXPECT_EQ(ask(13, 57), 1);
    EXPECT_EQ(echo.awaited, 57);
    EXPECT_EQ(echo.GetResultSize(), 13);
    EXPECT_EQ(memcmp(echo.GetResultBuffer(), frame.data(), frame.size()), 0);
    EXPECT_EQ(log.Count("CMD: 57\n"), 1u);
    EXPECT_EQ(ask(13, 2), 1);
    EXPECT_EQ(log.Count("CMD"), 1u) << "a silent one";
    EXPECT_EQ(ask(0, 58), 1);
    EXPECT_EQ(log.Count("CMD: 58 size is 0\n"), 1u);
    echo.hasMemory = false;
    EXPECT_EQ(ask(13, 2), 0) << "a reply that could not be kept is none";
    EXPECT_EQ(echo.GetResultSize(), 0);
    EXPECT_EQ(echo.IsRecvMessageSuccessful(), 0);
    echo.isConnected = false;
    EXPECT_EQ(ask(13, 2), 0);
    EXPECT_EQ(echo.GetResultBuffer(), nullptr);
    EXPECT_EQ(echo.SendSocketPackage(Bytes(frame), 13, Command(2)), 0);
    EXPECT_EQ(log.Count("CMD: failed to send buffer\n"), 1u);
    EXPECT_EQ(log.Count("CMD: failed to send.\n"), 1u);
    SendSocketMessageMethods base;
    EXPECT_EQ(base.SendBuffer(Bytes(frame), 13), 0);
}

}  // namespace

}  // namespace rampart::test
