// Messages of the connection between GUI and service. An input is the awaited command and the frame that
// comes.
#include "engine/vaultlib.h"
#include "framework/cmem_file.h"
#include "framework/guarded.h"
#include "fuzz/fuzz_input.h"

namespace rampart::fuzz {
namespace {

constexpr size_t kHeader = 3 * sizeof(int32_t);

// A host's end that reads what a request carries, and goes on reading behind its end.
class Host : public BackupSocketConnection {
public:
    void HandleRequestCommand(CArchive& archive, int command) override {
        ++requests;
        this->command = command;
        payload.resize(static_cast<size_t>(archive.GetFile()->GetLength()));
        payload.resize(archive.Read(payload.data(), static_cast<UINT>(payload.size())));
        CString text;
        archive >> text;
    }

    int requests = 0;
    int command = 0;
    std::string payload;
};

void Receive(SocketCommands awaited, std::string frame) {
    const std::string sent = frame;
    Host host;
    host.SetWaitResultCommand(awaited);
    host.SocketDataReceived(frame.data(), static_cast<int>(frame.size()));
    if (sent.size() < kHeader) {
        Require(host.requests == 0 && host.GetResultSize() == 0, "a frame without a header is dropped");
        return;
    }
    Input header(reinterpret_cast<const uint8_t*>(sent.data()), sent.size());
    const auto command = header.Take<int32_t>();
    const auto direction = header.Take<int32_t>();
    const bool isReply = direction == BackupSocketConnection::kReplyDirection && command == awaited &&
                         awaited != kNoSocketCommand;
    if (!isReply) {
        Require(host.requests == 1 && host.command == command && host.payload == sent.substr(kHeader),
                "any other frame is a request with all it carries");
        Require(host.IsRecvMessageSuccessful() == 0 && host.GetResultBuffer() == nullptr,
                "a request is no result");
        return;
    }
    const std::string_view result(reinterpret_cast<const char*>(host.GetResultBuffer()),
                                  static_cast<size_t>(host.GetResultSize()));
    Require(host.requests == 0 && host.IsRecvMessageSuccessful() == 1 && result == sent,
            "the awaited reply is the result, as a whole");
    host.SocketDataReceived(frame.data(), static_cast<int>(frame.size()));
    Require(host.requests == 1, "a second reply is a request");
}

}  // namespace
}  // namespace rampart::fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rampart::SetGuardSink(nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace rampart::fuzz;
    Input input(data, size);
    const auto awaited = static_cast<SocketCommands>(input.Take<int32_t>());
    Receive(awaited, std::string(input.Rest()));
    return 0;
}
