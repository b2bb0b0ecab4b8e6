// Writes files into a vault until it is done or killed, and says on standard output what was acknowledged.
//
// vault_writer VAULT NAME COUNT [call N | after MILLISECONDS]
//   call N: the process ends in the middle of the Nth call of the object store
//   after M: it is killed M milliseconds after it opened the vault, wherever it is
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "platform/clock.h"
#include "storage/faulty_store.h"
#include "storage/vault_files.h"

namespace {

using namespace rampart;
using namespace rampart::test;

[[noreturn]] void EndAtOnce() {
#ifdef SIGKILL
    std::raise(SIGKILL);
#endif
    std::_Exit(9);
}

int Fail(const ServiceResult& result) {
    std::fprintf(stderr, "%d: %s\n", result.code, result.message.c_str());
    return 1;
}

void Acknowledge(const std::string& path) {
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        return 2;
    }
    const std::string name = argv[2];
    const int count = std::atoi(argv[3]);
    const std::string how = argc > 5 ? argv[4] : "";
    const int number = argc > 5 ? std::atoi(argv[5]) : 0;

    const auto plan = std::make_shared<FaultPlan>();
    if (how == "call") {
        plan->halfway = [number](FaultPlan::Call, int call) {
            if (call == number) {
                EndAtOnce();
            }
        };
    }
    VaultOptions options;
    options.packLimit = 200'000;
    options.wrapStore = WithPlan(plan);
    std::unique_ptr<EmbeddedService> service;
    const ServiceResult opened = EmbeddedService::Open(argv[1], options, service);
    if (!opened.Ok()) {
        return Fail(opened);
    }
    if (how == "after") {
        std::thread([number] {
            platform::SleepMilliseconds(static_cast<uint32_t>(number));
            EndAtOnce();
        }).detach();
    }
    int64_t id = 0;
    ServiceResult result = service->CreateFolder("\\" + name, "", 0, id);
    for (int i = 0; i < count && result.Ok(); ++i) {
        const std::string path = "\\" + name + "\\" + std::to_string(i);
        result = StoreFile(*service, path, WrittenContent(name, static_cast<uint32_t>(i)), 16'384);
        if (result.Ok()) {
            Acknowledge(path);
        }
    }
    return result.Ok() ? 0 : Fail(result);
}
