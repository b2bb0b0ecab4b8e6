#include "run/file_compare.h"

#include <stdexcept>

#include "interfaces/baselib.h"
#include "manager/backup_manage.h"
#include "paths/global_function.h"
#include "run/run_state.h"

namespace rampart {

namespace {

constexpr WORD kFirstKnownYear = 1900;
constexpr WORD kFirstTimeYear = 1970;

}  // namespace

int32_t IgnoreTimeSpan() {
    return DictUtil::GetConfigInt(_T("Options"), _T("IgnoreTimeSpan"), _T("3"), _T(""));
}

__int64 RecordSeconds(SYSTEMTIME const& stamp) {
    return stamp.wYear < kFirstKnownYear ? 0 : TimeUtil::SystemTimeToTime(stamp).GetTime();
}

}  // namespace rampart

namespace {

enum SameFile : unsigned int {
    kSizesDiffer = 0,
    kSame = 1,
    kNoRecord = 2,
    kException = 3,
    kLocalNewer = 4,
    kServerNewer = 5,
};

// A stamp that is no date is an error here, not a time.
__int64 CheckedSeconds(SYSTEMTIME const& stamp) {
    if (stamp.wYear < rampart::kFirstKnownYear) {
        return 0;
    }
    if (stamp.wYear < rampart::kFirstTimeYear || stamp.wMonth < 1 || stamp.wMonth > 12 || stamp.wDay < 1 ||
        stamp.wDay > 31 || stamp.wHour > 23 || stamp.wMinute > 59 || stamp.wSecond > 59) {
        throw std::invalid_argument("a server time out of range");
    }
    return rampart::RecordSeconds(stamp);
}

}  // namespace

unsigned int GlobalFunction::IsServerLocalSameFile(CString const& serverPath, CString const& localPath,
                                                   int useCreationTime) {
    try {
        CAutoMyPathInfo const record(ApiUtil::GetServerPathlist().FindPath(
            serverPath, ApiUtil::IsSharePath(serverPath), 0, nullptr, 1));
        if (record == nullptr) {
            return kNoRecord;
        }
        CFileInfo const info(localPath);
        __int64 const local = (useCreationTime != 0 ? info.m_creationTime : info.m_lastWriteTime).GetTime();
        __int64 const server =
            CheckedSeconds(useCreationTime != 0 ? record->m_createdTime : record->m_modifiedTime);
        int32_t const span = rampart::IgnoreTimeSpan();
        if (rampart::TimesAgree(server, local, span)) {
            return record->m_size - rampart::OverheadOf(serverPath) == info.m_size ? kSame : kSizesDiffer;
        }
        auto const difference =
            static_cast<int32_t>(static_cast<uint32_t>(server) - static_cast<uint32_t>(local));
        return difference >= -static_cast<int64_t>(span) ? kServerNewer : kLocalNewer;
    } catch (...) {
        rampart::DebugLine(_T("Error: IsServerLocalSameFile"));
        return kException;
    }
}

CompareLocalAndServer CBackupManage::CompareLocaAndServerFiles(CString const& localPath,
                                                               CString const& serverPath, int& error) {
    return rampart::Guarded(_T("Error:CompareLocaAndServerFiles"), COMPARE_REFRESH_FAILED, [&] {
        CServerPathList& mirror = ApiUtil::GetServerPathlist();
        CAutoMyPathInfo const record(
            mirror.FindPath(serverPath, ApiUtil::IsSharePath(serverPath), 0, nullptr, 1));
        if (!KXFile::FileExists(localPath)) {
            return record == nullptr ? COMPARE_NEITHER : COMPARE_SERVER_ONLY;
        }
        error = mirror.RefreshFolder(rampart::DictionaryText(_T("InfoPath")), 1, 1);
        if (error != 0) {
            rampart::DebugLine(_T("PathList: Failed to refresh folder from web server."));
            return COMPARE_REFRESH_FAILED;
        }
        if (record == nullptr) {
            return COMPARE_LOCAL_ONLY;
        }
        __int64 const server = rampart::RecordSeconds(record->m_modifiedTime);
        __int64 const local = CFileInfo(localPath).m_lastWriteTime.GetTime();
        if (server == local) {
            return COMPARE_SAME_TIME;
        }
        return server > local ? COMPARE_SERVER_NEWER : COMPARE_LOCAL_NEWER;
    });
}
