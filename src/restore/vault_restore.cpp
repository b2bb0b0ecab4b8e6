#include "restore/vault_restore.h"

#include "platform/process.h"
#include "restore/restore_run.h"
#include "restore/tree_state.h"
#include "storage/server_path.h"
#include "transferlib/service_connection.h"

namespace rampart {
namespace {

VaultEntry EntryOf(const std::string& path, const StoredRecord& record) {
    VaultEntry entry;
    entry.path = CString::FromUtf8(path);
    entry.name = CString::FromUtf8(record.name);
    entry.isFolder = record.isFolder;
    entry.isPartial = (record.flags & kRecordPartial) != 0;
    entry.isLink = (record.flags & kRecordLink) != 0;
    entry.isSpecial = (record.flags & kRecordSpecial) != 0;
    entry.size = record.size;
    entry.modifiedTime = record.modifiedTime;
    entry.storedTime = record.storedTime;
    entry.goneTime = (record.flags & kRecordGone) != 0 ? record.goneTime : INT64_MIN;
    return entry;
}

ServiceResult ListEntries(TreeState& state, const std::string& top, bool recursive,
                          const std::function<bool(VaultEntry const&)>& visit) {
    std::vector<std::string> left{top};
    std::vector<StateEntry> entries;
    while (!left.empty()) {
        const std::string folder = std::move(left.back());
        left.pop_back();
        ServiceResult listed = state.Entries(folder, entries);
        if (!listed.Ok()) {
            if (listed.code == kNotFound && folder != top) {
                continue;  // deleted meanwhile
            }
            return listed;
        }
        const size_t below = left.size();
        for (const StateEntry& entry : entries) {
            const std::string path = JoinServerPath(folder, entry.record.name);
            if (!entry.isImplied && !visit(EntryOf(path, entry.record))) {
                return {};
            }
            if (entry.record.isFolder && recursive) {
                left.push_back(path);
            }
        }
        std::reverse(left.begin() + static_cast<std::ptrdiff_t>(below), left.end());
    }
    return {};
}

}  // namespace

int VaultRestore::Run(RestoreRequest const& request, RestoreReport& report, CString& message) {
    report = {};
    return WithService(_T("Error: VaultRestore::Run"), &message, [&](ServiceConnection& connection) {
        return RestoreRun(connection.Service(), request, report).Run();
    });
}

int VaultRestore::List(StateWish const& wish, CString const& serverPath, bool recursive,
                       std::function<bool(VaultEntry const&)> const& visit, CString& message,
                       __int64* firstStored) {
    return WithService(_T("Error: VaultRestore::List"), &message, [&](ServiceConnection& connection) {
        StorageService& service = connection.Service();
        std::string exact;
        StoredRecord record;
        if (ServiceResult found = ExactPath(service, serverPath.ToUtf8(), exact, record); !found.Ok()) {
            return found;
        }
        const std::unique_ptr<TreeState> state = StateOf(service, wish);
        ServiceResult result;
        if (record.isFolder) {
            result = ListEntries(*state, exact, recursive, visit);
        } else {
            StateEntry entry;
            const ServiceResult found = state->Entry(exact, entry);
            if (found.Ok()) {
                visit(EntryOf(exact, entry.record));
            } else if (found.code != kNotFound) {
                result = found;
            }
        }
        if (firstStored != nullptr) {
            *firstStored = state->FirstStored();
        }
        return result;
    });
}

int VaultRestore::Versions(StateWish const& wish, CString const& serverFile,
                           std::vector<VaultEntry>& versions, CString& message) {
    versions.clear();
    return WithService(_T("Error: VaultRestore::Versions"), &message, [&](ServiceConnection& connection) {
        StorageService& service = connection.Service();
        std::string exact;
        StoredRecord record;
        if (ServiceResult found = ExactPath(service, serverFile.ToUtf8(), exact, record); !found.Ok()) {
            return found;
        }
        StateWish each = wish;
        each.moment.reset();
        each.withGone = true;
        for (each.version = 1;; ++each.version) {
            StateEntry entry;
            const ServiceResult found = StateOf(service, each)->Entry(exact, entry);
            if (found.code == kNotFound) {
                return ServiceResult();
            }
            if (!found.Ok()) {
                return found;
            }
            versions.push_back(EntryOf(exact, entry.record));
        }
    });
}

bool VaultRestore::MayGiveOwners() {
    return platform::MayGiveFilesAway();
}

}  // namespace rampart
