#include "restore/later_disk.h"

#include "baselib/file_kind.h"
#include "interfaces/transferlib.h"
#include "paths/path_manage.h"
#include "platform/attributes.h"
#include "restore/same_attributes.h"
#include "restore/time_compare.h"
#include "run/run_state.h"
#include "run/time_agreement.h"
#include "storage/server_path.h"
#include "transferlib/stored_content.h"

namespace rampart {
namespace {

constexpr int kMaxPathLength = 1024;
// For records that know no more than seconds, as a run compares them.
constexpr int32_t kTimeSpan = 2;
constexpr int64_t kNanoseconds = 1'000'000'000;

NodeKind KindOfStatus(const platform::FileStatus& status) {
    return ReasonToSkip(status.attributes) != nullptr ? NodeKind::kSpecial
           : status.IsDirectory()                     ? NodeKind::kFolder
           : status.IsLink()                          ? NodeKind::kLink
                                                      : NodeKind::kFile;
}

CString LastReason() {
    return CString(TextView(platform::ErrorText(platform::LastError())));
}

int64_t Seconds(int64_t nanoseconds) {
    return nanoseconds / kNanoseconds - (nanoseconds % kNanoseconds < 0 ? 1 : 0);
}

bool IsSameWriteTime(const StoredRecord& record, int64_t there) {
    return record.changeTime != kNoTime ? IsSameTime(there, record.modifiedTime)
                                        : TimesAgree(Seconds(record.modifiedTime), Seconds(there), kTimeSpan);
}

}  // namespace

LaterDisk::LaterDisk(StorageService& service, const DifferenceRequest& request)
    : m_service(service), m_request(request), m_filter(request.task) {}

void LaterDisk::Tell(const CString& path, const CString& reason, bool isError) const {
    if (m_request.leftOut) {
        m_request.leftOut({path, reason, isError});
    }
}

ServiceResult LaterDisk::Entries(const ComparedPlace& folder, std::vector<LaterEntry>& entries,
                                 bool& isKnown) {
    entries.clear();
    isKnown = false;
    if (folder.localPath.GetLength() > kMaxPathLength) {
        Tell(folder.localPath, _T("its path is too long"));
        return {};
    }
    const auto reader = platform::DirectoryReader::Open(ApiUtil::PathToFullPath(folder.localPath), true);
    platform::DirectoryEntry entry;
    while (reader && reader->Next(entry)) {
        LaterEntry& added = entries.emplace_back();
        added.name = platform::ToUtf8(entry.name);
        added.status = entry.status;
        added.kind = KindOfStatus(entry.status);
        added.isUnknown = !entry.hasStatus;
        if (added.isUnknown) {
            const CString path = PathUtilities::Append(folder.localPath, CString(TextView(entry.name)));
            platform::QueryStatus(ApiUtil::PathToFullPath(path), entry.status);
            Tell(path, LastReason());
        }
    }
    isKnown = reader && platform::LastError() == platform::kNoMoreItems;
    if (!isKnown) {
        Tell(folder.localPath, LastReason());
    }
    return {};
}

ServiceResult LaterDisk::Entry(const ComparedPlace& place, std::optional<LaterEntry>& entry, bool& isKnown) {
    LaterEntry found;
    isKnown = false;
    if (CPathManage::IsInVault(place.localPath)) {
        Tell(place.localPath, _T("the vault itself lies there"));
    } else if (!platform::QueryStatus(ApiUtil::PathToFullPath(place.localPath), found.status)) {
        // A source that is away says nothing of what was in it.
        Tell(place.localPath, LastReason());
    } else {
        isKnown = true;
        found.name = SplitLastName(place.serverPath).name;
        found.kind = KindOfStatus(found.status);
        entry = std::move(found);
    }
    return {};
}

Taking LaterDisk::TakingOf(const ComparedPlace& place, NodeKind kind, bool isStored, uint32_t attributes) {
    if (kind == NodeKind::kSpecial && !isStored) {
        return Taking::kLeftOut;  // no run takes it
    }
    return m_filter.Of(place.localPath, kind, attributes);
}

bool LaterDisk::MayEnter(const ComparedPlace& place, const StateEntry& before, const LaterEntry& after) {
    std::string bytes;
    platform::Attributes recorded;
    const bool isMounted = (after.status.attributes & platform::kMountRoot) != 0;
    const bool isAway = !isMounted && before.record.attributes != 0 &&
                        m_service.ReadAttributes(before.record.attributes, bytes).Ok() &&
                        platform::DecodeAttributes(bytes, recorded) && recorded.isMountRoot;
    if (isAway) {
        Tell(place.localPath, _T("a file system was mounted there and is not now"));
    }
    return !isAway;
}

ServiceResult LaterDisk::Compare(const ComparedPlace& place, const StateEntry& before,
                                 const LaterEntry& after, std::optional<DifferenceKind>& change) {
    const bool isUntouched = before.record.changeTime != kNoTime &&
                             before.record.changeTime == after.status.changeTime &&
                             IsSameTime(after.status.writeTime, before.record.modifiedTime);
    if (after.kind == NodeKind::kFile || after.kind == NodeKind::kLink) {
        const int64_t size =
            before.record.size -
            (after.kind == NodeKind::kFile ? OverheadOf(CString::FromUtf8(place.serverPath)) : 0);
        if (after.kind == NodeKind::kFile && size != static_cast<int64_t>(after.status.size)) {
            change = DifferenceKind::kContent;
            return {};
        }
        return isUntouched ? ServiceResult() : CompareFile(place, before, after, change);
    }
    if (isUntouched) {
        return {};
    }
    bool same = true;
    ServiceResult compared = CompareKept(place, before, same);
    if (!same) {
        change = DifferenceKind::kAttributes;
    }
    return compared;
}

ServiceResult LaterDisk::CompareFile(const ComparedPlace& place, const StateEntry& before,
                                     const LaterEntry& after, std::optional<DifferenceKind>& change) {
    const bool sameTime = IsSameWriteTime(before.record, after.status.writeTime);
    const bool isExact = before.record.changeTime != kNoTime;
    bool isKnown = true;
    // A record that knows no more than seconds is believed by them, as a run does.
    if (isExact || !sameTime) {
        ServiceResult compared = CompareContent(place, before, after.kind, change, isKnown);
        if (!compared.Ok() || change || !isKnown) {
            return compared;
        }
    }
    bool same = true;
    ServiceResult compared = CompareKept(place, before, same);
    if (!same || !sameTime) {
        change = DifferenceKind::kAttributes;
    }
    return compared;
}

ServiceResult LaterDisk::CompareContent(const ComparedPlace& place, const StateEntry& before, NodeKind kind,
                                        std::optional<DifferenceKind>& change, bool& isKnown) {
    const CString path = ApiUtil::PathToFullPath(place.localPath);
    isKnown = kind == NodeKind::kLink || platform::FileHandle::Open(path, platform::kOpenRead) != nullptr;
    if (!isKnown) {
        Tell(place.localPath, LastReason());
        return {};
    }
    bool same = false;
    bool isCancelled = false;
    const auto goOn = [&] {
        isCancelled = m_request.goOn && !m_request.goOn();
        return !isCancelled;
    };
    ServiceResult compared = CompareStoredContent(
        m_service, JoinServerPath(before.contentFolder, before.contentName), path, goOn, same);
    if (isCancelled) {
        return ServiceResult::OfCode(kCancelled);
    }
    if (compared.code == kNotFound) {
        isKnown = false;
        Tell(place.localPath, _T("it was stored anew or removed meanwhile"));
        return {};
    }
    if (compared.Ok() && !same) {
        change = DifferenceKind::kContent;
    }
    return compared;
}

ServiceResult LaterDisk::CompareKept(const ComparedPlace& place, const StateEntry& before, bool& same) {
    same = true;
    if (before.record.attributes == 0) {
        return {};
    }
    const std::string there = platform::ReadAttributes(ApiUtil::PathToFullPath(place.localPath));
    if (there.empty()) {
        Tell(place.localPath, LastReason());
        return {};
    }
    return CompareAttributes(m_service, before.record.attributes, there, same);
}

}  // namespace rampart
