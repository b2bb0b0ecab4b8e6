#include "restore/vault_mount.h"

#include "restore/mounted_vault.h"
#include "transferlib/service_connection.h"

namespace rampart {

bool VaultMount::IsAvailable(CString& reason) {
    std::string text;
    const bool isAvailable = platform::TreeMount::IsAvailable(text);
    reason = CString::FromUtf8(text);
    return isAvailable;
}

int VaultMount::Run(MountRequest const& request, CString& message) {
    return WithService(_T("Error: VaultMount::Run"), &message, [&](ServiceConnection& connection) {
        MountedVault vault(connection.Service(), request);
        std::string reason;
        const auto mount = platform::TreeMount::Mount(request.folder, vault, reason);
        if (!mount) {
            return ServiceResult(kFailed, "the vault cannot be mounted: " + reason);
        }
        if (request.mounted) {
            request.mounted();
        }
        mount->Serve(request.goOn);
        return ServiceResult();
    });
}

}  // namespace rampart
