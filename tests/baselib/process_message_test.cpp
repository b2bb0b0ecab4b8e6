#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "interfaces/baselib.h"
#include "platform/error.h"
#include "support/temp_home.h"

namespace rampart {
namespace {

// What came back: the result and the bytes.
std::pair<__int64, std::string> Send(const CString& receiver, ULONG_PTR command, std::string data) {
    COPYDATASTRUCT message;
    message.dwData = command;
    message.cbData = static_cast<DWORD>(data.size());
    message.lpData = data.data();
    unsigned char* reply = nullptr;
    __int64 size = -1;
    const __int64 result = SendProcessMsgRetBuf(receiver, _T("sender"), message, &reply, &size);
    std::string bytes(reinterpret_cast<char*>(reply), static_cast<size_t>(size));
    free(reply);
    return {result, bytes};
}

using Bytes = std::vector<unsigned char>;

__int64 Echo(const COPYDATASTRUCT& message, const CString& sender, Bytes& reply) {
    const std::string head = sender.ToUtf8() + ":";
    const auto* const data = static_cast<const unsigned char*>(message.lpData);
    reply.assign(head.begin(), head.end());
    reply.insert(reply.end(), data, data + message.cbData);
    return static_cast<__int64>(message.dwData) + 1;
}

TEST(ProcessMessage, TravelsWholeAndBringsTheAnswerBack) {
    test::TempHome home;
    const auto receiver = ProcessMessageReceiver::Open(_T("GUI \u00fc"), Echo);
    ASSERT_TRUE(receiver);
    EXPECT_EQ(Send(_T("GUI \u00fc"), 41, "hello"), std::pair(42LL, std::string("sender:hello")));
    const std::string large(3 << 20, '\0');
    EXPECT_EQ(Send(_T("GUI \u00fc"), 1, large).second, "sender:" + large);
    EXPECT_EQ(Send(_T("GUI \u00fc"), 1, ""), std::pair(2LL, std::string("sender:")));
}

TEST(ProcessMessage, NobodyReceivingIsZero) {
    test::TempHome home;
    EXPECT_EQ(Send(_T("Nobody"), 1, "x"), std::pair(0LL, std::string()));
    EXPECT_TRUE(ProcessMessageReceiver::Open(_T("Gone"), Echo));
    EXPECT_EQ(Send(_T("Gone"), 1, "x"), std::pair(0LL, std::string()));
}

TEST(ProcessMessage, ANameHasOneReceiverAndIsFreeAfterIt) {
    test::TempHome home;
    auto first = ProcessMessageReceiver::Open(_T("Name"), Echo);
    ASSERT_TRUE(first);
    EXPECT_FALSE(ProcessMessageReceiver::Open(_T("Name"), Echo));
    EXPECT_EQ(platform::LastError(), platform::kAlreadyExists);
    EXPECT_EQ(Send(_T("Name"), 1, "x").first, 2);
    first = nullptr;
    EXPECT_TRUE(ProcessMessageReceiver::Open(_T("Name"), Echo));
}

TEST(ProcessMessage, AHandlerThatThrowsAnswersZeroAndGoesOn) {
    test::TempHome home;
    const auto receiver = ProcessMessageReceiver::Open(
        _T("Name"), [](const COPYDATASTRUCT& message, const CString&, Bytes& reply) -> __int64 {
            reply = {1, 2, 3};
            if (message.dwData == 13) {
                throw std::runtime_error("no");
            }
            return 1;
        });
    EXPECT_EQ(Send(_T("Name"), 13, "x"), std::pair(0LL, std::string()));
    EXPECT_EQ(Send(_T("Name"), 14, "x").first, 1);
}

TEST(ProcessMessage, SendersTakeTurns) {
    test::TempHome home;
    int inside = 0;  // only the receiver's own thread touches it
    const auto receiver = ProcessMessageReceiver::Open(
        _T("Name"), [&](const COPYDATASTRUCT&, const CString&, Bytes&) -> __int64 {
            EXPECT_EQ(++inside, 1);
            --inside;
            return 7;
        });
    std::vector<std::thread> senders;
    for (int index = 0; index < 4; index++) {
        senders.emplace_back([] {
            for (int round = 0; round < 25; round++) {
                EXPECT_EQ(Send(_T("Name"), 1, "x").first, 7);
            }
        });
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
}

}  // namespace
}  // namespace rampart
