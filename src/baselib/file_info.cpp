#include "baselib/file_kind.h"
#include "interfaces/baselib.h"

using namespace rampart;

namespace {

constexpr int64_t kNanoseconds = 1'000'000'000;

CTime SecondsOf(int64_t nanoseconds) {
    return CTime(nanoseconds / kNanoseconds - (nanoseconds % kNanoseconds < 0 ? 1 : 0));
}

}  // namespace

CFileInfo::CFileInfo(CString const& path) : m_path(path) {
    platform::FileStatus status;
    if (!QueryKnownKind(path, status)) {
        return;
    }
    m_exists = 1;
    m_isFolder = status.IsDirectory() ? 1 : 0;
    m_size = m_isFolder ? 0 : static_cast<__int64>(status.size);
    m_creationTime = SecondsOf(status.creationTime);
    m_accessTime = SecondsOf(status.accessTime);
    m_lastWriteTime = SecondsOf(status.writeTime);
    m_kind = KindOf(status);
    m_exactWriteTime = status.writeTime;
    m_changeTime = status.changeTime;
    m_attributes = static_cast<DWORD>(status.attributes);
}
