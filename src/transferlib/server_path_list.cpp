#include "framework/safe_point.h"
#include "interfaces/transferlib.h"
#include "transferlib/path_info.h"
#include "transferlib/service_connection.h"

using namespace rampart;

namespace {

// A lookup that does not reach the service is tried again before the process counts as logged off, so that a
// scan ends instead of taking every file for a new one. From then on each is tried once: the rest of a large
// folder must not take hours.
constexpr int kMostTries = 4;
constexpr DWORD kRetryAfterMs = 250;

template <typename Lookup>
int LookUp(const Lookup& lookup) {
    int code = kOk;
    const int most = LogonStatus().GetLogOnStatus() == LogonStatusOff ? 1 : kMostTries;
    for (int tries = 0; tries < most; ++tries) {
        if (tries > 0) {
            Sleep(kRetryAfterMs);
        }
        code = WithService(_T("Error: CServerPathList"), nullptr, [&](ServiceConnection& connection) {
            ServiceResult result;  // without a text: most files of a first backup are looked up in vain
            result.code = lookup(connection.Mirror());
            return result;
        });
        if (code != kConnectionFailed) {
            break;
        }
    }
    if (code == kOk || code == kNotFound) {
        if (LogonStatus().GetLogOnStatus() != LogonStatusOn) {
            LogonStatus().SetLogOnStatus(LogonStatusOn);
        }
    } else {
        LogonStatus().SetLogOnStatus(LogonStatusOff);
    }
    return code;
}

int LookUpRecord(const CString& path, MirrorRecord& found) {
    return LookUp([&](ServerMirror& mirror) { return mirror.FindRecord(path, true, found); });
}

bool IsPresent(const MirrorFolder& folder, uint32_t entry) {
    return (folder.RecordFlags(entry) & (kRecordGone | kRecordPartial)) == 0;
}

// All below a folder, parents first, as of one moment.
int ListWholeTree(ServiceConnection& connection, const CString& path,
                  const std::function<void(MirrorRecord&)>& take) {
    int64_t sequence = 0;
    const std::string folder = connection.Mirror().OwnFolderPath(path);
    const ServiceResult result = connection.Service().ListTree(
        folder,
        [&](const std::string& folderPath, const StoredRecord&, std::span<const StoredRecord> records) {
            const CString base = folderPath.size() > 1 ? CString::FromUtf8(folderPath) : CString();
            for (const StoredRecord& record : records) {
                MirrorRecord listed{base + _T('\\') + CString::FromUtf8(record.name), record};
                take(listed);
            }
            return true;
        },
        sequence);
    return result.code;
}

}  // namespace

MyPathInfo* CServerPathList::FindPath(CString path, int, int, POSITION* pos, int) {
    if (pos != nullptr) {
        *pos = nullptr;
    }
    MirrorRecord found;
    return LookUpRecord(path, found) == kOk ? MakePathInfo(found).release() : nullptr;
}

int CServerPathList::FindRecord(CString const& path, CAutoMyPathInfo& record) {
    MirrorRecord found;
    const int code = LookUpRecord(path, found);
    record = code == kOk ? MakePathInfo(found).release() : nullptr;
    return code;
}

int CServerPathList::FindFacts(CString const& path, Facts& facts) {
    ServerMirror::Facts found;
    const int code =
        LookUp([&](ServerMirror& mirror) { return mirror.FindFacts(path, found, facts.inexactPath); });
    facts.isFolder = found.isFolder;
    facts.size = found.size;
    facts.modifiedTime = SecondsOf(found.modifiedTime);
    facts.isExact = found.changeTime != kNoTime;
    facts.exactModifiedTime = found.modifiedTime;
    facts.changeTime = found.changeTime;
    facts.attributes = found.attributes;
    facts.kind = KindOfRecord(found.flags);
    facts.isDamaged = (found.flags & kRecordDamaged) != 0;
    facts.isGone = (found.flags & kRecordGone) != 0;
    return code;
}

int CServerPathList::VisitEntries(
    CString const& folder,
    std::function<bool(std::basic_string_view<TCHAR> name, bool isFolder)> const& visit) {
    return LookUp([&](ServerMirror& mirror) {
        return mirror.VisitEntries(folder, [&](const MirrorFolder& entries, uint32_t entry) {
            return !IsPresent(entries, entry) || visit(entries.Name(entry), entries.IsFolder(entry));
        });
    });
}

int CServerPathList::IsPathExistEx(CString path, int, int) {
    Facts facts;
    return FindFacts(path, facts) == kOk ? 1 : 0;
}

int CServerPathList::RefreshFolder(CString path, int, int) {
    return LookUp([&](ServerMirror& mirror) { return mirror.RefreshFolder(path); });
}

int CServerPathList::GetSubList(CPtrList& out, CString path, int, int recursive, int) {
    std::vector<std::unique_ptr<MyPathInfo>> infos;
    int code = kOk;
    if (recursive != 0) {
        code = WithService(_T("Error: GetSubList"), nullptr, [&](ServiceConnection& connection) {
            const int listed = ListWholeTree(
                connection, path, [&](MirrorRecord& record) { infos.push_back(MakePathInfo(record)); });
            return listed == kOk ? ServiceResult() : ServiceResult(listed, ServiceCodeText(listed));
        });
    } else {
        std::vector<MirrorRecord> records;
        code = LookUp([&](ServerMirror& mirror) { return mirror.ListFolder(path, records); });
        for (const MirrorRecord& record : records) {
            infos.push_back(MakePathInfo(record));
        }
    }
    if (code == kOk) {
        for (auto& info : infos) {
            out.AddTail(info.get());
            static_cast<void>(info.release());  // the list's from here on
        }
    }
    return code;
}
