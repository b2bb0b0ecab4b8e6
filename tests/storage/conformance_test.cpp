#include "storage/service_conformance.h"

namespace rampart::test {
namespace {

std::unique_ptr<StorageService> NewVault(const TempFolder& folder) {
    ExpectOk(EmbeddedService::Create(folder.Native("vault")));
    VaultOptions options;
    options.packLimit = 1 << 20;  // so that files lie across packs
    return OpenVault(folder.Native("vault"), options);
}

INSTANTIATE_TEST_SUITE_P(Embedded, ServiceConformance, testing::Values(ServiceFactory(NewVault)),
                         [](const auto&) { return "Vault"; });

}  // namespace
}  // namespace rampart::test
