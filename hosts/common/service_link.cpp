#include "common/service_link.h"

#include "common/exit_code.h"
#include "common/text.h"

namespace rampart::host {

namespace {

// An edit may wait for the end of a run that it cuts short.
constexpr unsigned int kAnswerMs = 120000;
constexpr unsigned int kRetryMs = 100;
constexpr int kRetries = 150;  // while a service comes up or goes down

std::string Bytes(nlohmann::json const& json) {
    std::vector<std::uint8_t> const packed = nlohmann::json::to_cbor(json);
    return {packed.begin(), packed.end()};
}

ServiceAnswer UnpackAnswer(std::string const& bytes) {
    nlohmann::json const json = nlohmann::json::from_cbor(bytes);
    return {json.at(0), json.at(1), json.at(2)};
}

}  // namespace

CString ServiceReceiverName() {
    return _T("KorvaneRampartServiceRequests");
}

std::string PackRequest(RequestKind kind, nlohmann::json const& body) {
    return Bytes({{"kind", static_cast<int>(kind)}, {"body", body}});
}

RequestKind UnpackRequest(std::string const& bytes, nlohmann::json& body) {
    nlohmann::json const json = nlohmann::json::from_cbor(bytes);
    body = json.at("body");
    return static_cast<RequestKind>(json.at("kind").get<int>());
}

std::string PackAnswer(ServiceAnswer const& answer) {
    return Bytes(nlohmann::json::array({answer.code, answer.text, answer.data}));
}

std::optional<ServiceAnswer> AskService(RequestKind kind, nlohmann::json const& body) {
    std::string const request = PackRequest(kind, body);
    for (int attempt = 0; attempt < kRetries; ++attempt) {
        std::string bytes;
        if (SendRequest(ServiceReceiverName(), request, kAnswerMs, bytes)) {
            try {
                return UnpackAnswer(bytes);
            } catch (nlohmann::json::exception const&) {
                throw CommandError(kExitFailed, "BackupService gave an answer that makes no sense");
            }
        }
        if (!GlobalFunction::IsBackupServiceRunning()) {
            return std::nullopt;
        }
        SleepMilliseconds(kRetryMs);
    }
    throw CommandError(kExitFailed, "BackupService runs, but does not answer");
}

std::string ServicePresence::Complaint() const {
    if (isHere) {
        return "";
    }
    return otherVault.empty() ? "BackupService is not running"
                              : "BackupService works on another vault, " + Printable(otherVault);
}

ServicePresence LookForService() {
    std::optional<ServiceAnswer> const answer = AskService(RequestKind::kHello);
    if (!answer) {
        return {};
    }
    std::string const vault = answer->data.value("vault", "");
    bool const isHere = vault == Utf8(VaultAdmin::Location());
    return {isHere, isHere ? "" : vault};
}

void TellServiceToReload() {
    std::string answer;
    SendRequest(ServiceReceiverName(), PackRequest(RequestKind::kReload, {}), kAnswerMs, answer);
}

CString RunMarkName(CBackupTask const& task) {
    return _T("KorvaneRampartRun-") + task.IdAndNameMark();
}

}  // namespace rampart::host
