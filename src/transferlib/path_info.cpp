#include "transferlib/path_info.h"

#include "platform/clock.h"

namespace rampart {
namespace {

constexpr int64_t kNanoseconds = 1'000'000'000;
constexpr int kFirstYear = 1900;
constexpr int kLastYear = 9999;

}  // namespace

int64_t SecondsOf(int64_t nanoseconds) {
    if (nanoseconds == kNoTime) {
        return 0;
    }
    return nanoseconds / kNanoseconds - (nanoseconds % kNanoseconds < 0 ? 1 : 0);
}

SYSTEMTIME SystemTimeOf(int64_t nanoseconds) {
    SYSTEMTIME time;
    if (nanoseconds == kNoTime) {
        return time;
    }
    const platform::BrokenDownTime utc = platform::ToUtcTime(SecondsOf(nanoseconds));
    if (utc.year < kFirstYear || utc.year > kLastYear) {
        return time;
    }
    time.wYear = static_cast<WORD>(utc.year);
    time.wMonth = static_cast<WORD>(utc.month);
    time.wDayOfWeek = static_cast<WORD>(utc.weekday);
    time.wDay = static_cast<WORD>(utc.day);
    time.wHour = static_cast<WORD>(utc.hour);
    time.wMinute = static_cast<WORD>(utc.minute);
    time.wSecond = static_cast<WORD>(utc.second);
    return time;
}

FileKind KindOfRecord(uint32_t flags) {
    return (flags & kRecordLink) != 0      ? FileKind::kLink
           : (flags & kRecordSpecial) != 0 ? FileKind::kSpecial
                                           : FileKind::kFile;
}

std::unique_ptr<MyPathInfo> MakePathInfo(const MirrorRecord& found) {
    auto info = std::make_unique<MyPathInfo>();
    const StoredRecord& record = found.record;
    info->m_size = record.size;
    info->m_modifiedTime = SystemTimeOf(record.modifiedTime);
    info->m_createdTime = SystemTimeOf(record.createdTime);
    info->m_hasFlag = (record.flags & kRecordHidden) != 0 ? 1 : 0;
    info->m_subItemCount = static_cast<int>(record.subItemCount);
    info->m_isFolder = record.isFolder ? 1 : 0;
    info->m_path = found.path;
    info->m_name = CString::FromUtf8(record.name);
    info->m_description = CString::FromUtf8(record.description);
    info->m_storedTime = SecondsOf(record.storedTime);
    info->m_isExact = record.changeTime != kNoTime;
    info->m_exactModifiedTime = record.modifiedTime;
    info->m_changeTime = record.changeTime;
    info->m_kind = KindOfRecord(record.flags);
    info->m_isDamaged = (record.flags & kRecordDamaged) != 0;
    info->m_isGone = (record.flags & kRecordGone) != 0;
    return info;
}

}  // namespace rampart

CAutoMyPathInfo& CAutoMyPathInfo::operator=(MyPathInfo* info) {
    m_info.reset(info);
    return *this;
}
