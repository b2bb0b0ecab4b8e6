#include "interfaces/vault_admin.h"

#include "interfaces/baselib.h"
#include "platform/path_mapping.h"
#include "storage/account_settings.h"
#include "storage/chunk.h"
#include "storage/embedded_service.h"
#include "storage/server_path.h"
#include "transferlib/file_download.h"
#include "transferlib/path_info.h"
#include "transferlib/service_connection.h"
#include "transferlib/stored_content.h"
#include "transferlib/transfer.h"
#include "transferlib/vault_address.h"

using namespace rampart;

namespace {

int Tell(const ServiceResult& result, CString& message) {
    message = result.Ok()
                  ? CString()
                  : CString::FromUtf8(result.message.empty() ? ServiceCodeText(result.code) : result.message);
    return result.code;
}

template <typename Body>
int Edge(TextView line, CString& message, const Body& body) {
    return Tell(Guarded(line, ServiceResult(kFailed, ServiceCodeText(kFailed)), body), message);
}

VaultEntry EntryOf(const CString& path, const StoredRecord& record) {
    VaultEntry entry;
    entry.path = path;
    entry.name = CString::FromUtf8(record.name);
    entry.isFolder = record.isFolder;
    entry.isPartial = (record.flags & kRecordPartial) != 0;
    entry.size = record.size;
    entry.modifiedTime = record.modifiedTime;
    entry.storedTime = record.storedTime;
    entry.isLink = (record.flags & kRecordLink) != 0;
    entry.isSpecial = (record.flags & kRecordSpecial) != 0;
    entry.goneTime = (record.flags & kRecordGone) != 0 ? record.goneTime : INT64_MIN;
    return entry;
}

// The entries of one folder, out of the service's hands before anybody sees them: what is called with them
// may call the service again.
ServiceResult ReadFolder(StorageService& service, const std::string& folder,
                         std::vector<StoredRecord>& records) {
    int64_t sequence = 0;
    records.clear();
    return service.ListFolder(
        folder,
        [&](const StoredRecord& record) {
            records.push_back(record);
            return true;
        },
        sequence);
}

ServiceResult ListEntries(StorageService& service, const std::string& top, bool recursive,
                          const std::function<bool(VaultEntry const&)>& visit) {
    std::vector<std::string> left{top};
    std::vector<StoredRecord> records;
    while (!left.empty()) {
        const std::string folder = std::move(left.back());
        left.pop_back();
        ServiceResult listed = ReadFolder(service, folder, records);
        if (!listed.Ok()) {
            if (listed.code == kNotFound && folder != top) {
                continue;  // deleted meanwhile
            }
            return listed;
        }
        for (const StoredRecord& record : records) {
            if (!visit(EntryOf(CString::FromUtf8(JoinServerPath(folder, record.name)), record))) {
                return {};
            }
        }
        for (size_t i = records.size(); recursive && i-- > 0;) {
            if (records[i].isFolder) {
                left.push_back(JoinServerPath(folder, records[i].name));
            }
        }
    }
    return {};
}

}  // namespace

int VaultAdmin::Open(CString const& url, bool create, CString& message) {
    return Edge(_T("Error: VaultAdmin::Open"), message, [&] {
        VaultAddress address;
        ServiceResult result = ResolveVaultAddress(url, address);
        std::shared_ptr<StorageService> service;
        if (result.Ok()) {
            // One that the configuration names and that is missing is away.
            result = OpenVaultAt(address.location, create && (!url.IsEmpty() || address.isDefault), service);
        }
        if (result.Ok()) {
            const auto connection = std::make_shared<ServiceConnection>(std::move(service), address.location);
            result = connection->EnsureSession();
            if (result.Ok()) {
                SetConnection(connection);
            }
        }
        return result;
    });
}

int VaultAdmin::Create(CString const& url, CString& message) {
    return Edge(_T("Error: VaultAdmin::Create"), message, [&] {
        VaultAddress address;
        ServiceResult result = ResolveVaultAddress(url, address);
        return result.Ok() ? EmbeddedService::Create(address.location) : result;
    });
}

CString VaultAdmin::Location() {
    const auto connection = PresentConnection();
    return connection ? NativeText(connection->Location()) : CString();
}

CString VaultAdmin::Folder() {
    const auto connection = PresentConnection();
    return connection ? CString(TextView(platform::ToEnginePath(connection->Location()))) : CString();
}

CString VaultAdmin::LocationOf(CString const& url) {
    VaultAddress address;
    return ResolveVaultAddress(url, address).Ok() ? NativeText(address.location) : CString();
}

CString VaultAdmin::FormerDefaultLocation() {
    VaultAddress address;
    const bool isDefault = ResolveVaultAddress(CString(), address).Ok() && address.isDefault;
    return isDefault ? NativeText(FormerDefaultVault()) : CString();
}

void VaultAdmin::Close() {
    SetConnection(nullptr);
}

void VaultAdmin::Transferred(TransferTotals& totals) {
    const auto connection = PresentConnection();
    totals = connection ? connection->Totals() : TransferTotals();
}

int VaultAdmin::Verify(bool readData, std::function<bool(__int64, __int64)> const& progress,
                       VaultCheck& check, CString& message) {
    return WithService(_T("Error: VaultAdmin::Verify"), &message, [&](ServiceConnection& connection) {
        VerifyOptions options;
        options.readData = readData;
        options.progress = progress;
        VerifyReport report;
        ServiceResult result = connection.Service().Verify(options, report);
        connection.Mirror().CheckNow();  // for the marks that it has set
        check.packsChecked = report.packsChecked;
        check.chunksChecked = report.chunksChecked;
        check.filesChecked = report.filesChecked;
        check.bytesRead = report.bytesRead;
        check.problemCount = report.problemCount;
        check.problems.clear();
        for (const std::string& problem : report.problems) {
            check.problems.push_back(CString::FromUtf8(problem));
        }
        return result;
    });
}

int VaultAdmin::Repair(CString const& url, std::function<bool(__int64, __int64)> const& progress,
                       VaultRepair& repair, CString& message) {
    return Edge(_T("Error: VaultAdmin::Repair"), message, [&] {
        VaultAddress address;
        ServiceResult result = ResolveVaultAddress(url, address);
        if (!result.Ok()) {
            return result;
        }
        RepairOptions options;
        options.progress = progress;
        RepairReport report;
        result = EmbeddedService::Repair(address.location, options, report);
        repair.base = static_cast<VaultRepair::Base>(report.base);
        repair.baseTime = report.baseTime;
        repair.changed = report.changed;
        repair.lostRecords = report.lostRecords;
        repair.setAside = CString::FromUtf8(report.setAside);
        repair.files = report.files;
        repair.folders = report.folders;
        repair.chunks = report.chunks;
        repair.newChunks = report.newChunks;
        repair.packs = report.packs;
        repair.filesLacking = report.filesLacking;
        repair.lacking.clear();
        for (const std::string& path : report.lacking) {
            repair.lacking.push_back(CString::FromUtf8(path));
        }
        return result;
    });
}

int VaultAdmin::Settings(std::vector<VaultSetting>& settings, CString& message) {
    return WithService(_T("Error: VaultAdmin::Settings"), &message, [&](ServiceConnection& connection) {
        settings.clear();
        for (const account_setting::Entry& entry : account_setting::Entries()) {
            std::string stored;
            if (ServiceResult result = connection.Service().GetSetting(entry.name, stored); !result.Ok()) {
                return result;
            }
            settings.push_back({CString::FromUtf8(entry.key),
                                CString::FromUtf8(account_setting::ShowText(entry, stored)), stored.empty(),
                                CString::FromUtf8(entry.meaning)});
        }
        return ServiceResult();
    });
}

int VaultAdmin::SetSetting(CString const& key, CString const& value, CString& message) {
    return WithService(_T("Error: VaultAdmin::SetSetting"), &message, [&](ServiceConnection& connection) {
        const account_setting::Entry* const entry = account_setting::FindEntry(key.ToUtf8());
        if (entry == nullptr) {
            return ServiceResult(kNotFound, "there is no setting \"" + key.ToUtf8() + "\"");
        }
        std::string stored;
        std::string fault;
        if (!account_setting::ReadText(*entry, value.ToUtf8(), stored, fault)) {
            return ServiceResult(kInvalidRequest, fault);
        }
        return connection.Service().SetSetting(entry->name, stored);
    });
}

int VaultAdmin::Statistics(VaultStatistics& statistics, CString& message) {
    return WithService(_T("Error: VaultAdmin::Statistics"), &message, [&](ServiceConnection& connection) {
        ServiceStatistics found;
        ServiceResult result = connection.Service().Statistics(found);
        statistics = {found.files,       found.folders, found.fileBytes, found.chunks, found.chunkBytes,
                      found.storedBytes, found.packs,   found.packBytes, found.tasks};
        return result;
    });
}

int VaultAdmin::Find(CString const& serverPath, VaultEntry& entry, CString& message) {
    return WithService(_T("Error: VaultAdmin::Find"), &message, [&](ServiceConnection& connection) {
        MirrorRecord found;
        if (const int code = connection.Mirror().FindRecord(serverPath, false, found)) {
            return ServiceResult(
                code, platform::ToUtf8(platform::ShownPath(serverPath)) + ": " + ServiceCodeText(code));
        }
        entry = EntryOf(found.path, found.record);
        return ServiceResult();
    });
}

int VaultAdmin::List(CString const& serverPath, bool recursive,
                     std::function<bool(VaultEntry const&)> const& visit, CString& message) {
    return WithService(_T("Error: VaultAdmin::List"), &message, [&](ServiceConnection& connection) {
        return ListEntries(connection.Service(), connection.Mirror().OwnFolderPath(serverPath), recursive,
                           visit);
    });
}

int VaultAdmin::Restore(CString const& serverPath, CString const& localPath, bool replace,
                        std::function<bool(__int64)> const& progress, CString& message) {
    return WithService(_T("Error: VaultAdmin::Restore"), &message, [&](ServiceConnection& connection) {
        Transfer transfer(nullptr);
        return FileDownload(connection.Service(), serverPath.ToUtf8(), localPath)
            .Run(replace, [&](int64_t done, int64_t total) -> int {
                if (progress && !progress(done)) {
                    return kCancelled;
                }
                return transfer.Advance(localPath, 0, done, total);
            });
    });
}

bool VaultAdmin::SameContent(CString const& serverPath, CString const& localPath) {
    bool same = false;
    WithService(_T("Error: VaultAdmin::SameContent"), nullptr, [&](ServiceConnection& connection) {
        return CompareStoredContent(connection.Service(), serverPath.ToUtf8(), localPath, {}, same);
    });
    return same;
}
