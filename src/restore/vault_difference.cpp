#include "restore/vault_difference.h"

#include "restore/tree_difference.h"
#include "transferlib/service_connection.h"

namespace rampart {

int VaultDifference::Run(DifferenceRequest const& request, CString& message) {
    return WithService(_T("Error: VaultDifference::Run"), &message, [&](ServiceConnection& connection) {
        return TreeDifference(connection.Service(), request).Run();
    });
}

}  // namespace rampart
