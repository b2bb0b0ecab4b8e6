#include "baselib/whole_file.h"

#include "platform/file_system.h"
#include "platform/process.h"

namespace rampart {
namespace {

using platform::FileHandle;
using platform::Text;
using platform::TextView;

TextView FolderOf(TextView path) {
    const size_t backslash = path.rfind(_T('\\'));
    return backslash == TextView::npos ? TextView() : path.substr(0, backslash);
}

// A name beside the file that no other process or thread uses.
Text TemporaryName(TextView path) {
    Text name(path);
    name += _T(".new-");
    for (const char byte : platform::RandomBytes(8)) {
        name += static_cast<TCHAR>(_T('a') + (static_cast<unsigned char>(byte) & 15));
    }
    return name;
}

bool WriteNewFile(TextView path, std::string_view content) {
    const auto file =
        FileHandle::Open(path, platform::kOpenWrite | platform::kOpenCreate | platform::kOpenExclusive);
    if (!file) {
        return false;
    }
    const int64_t written = file->WriteAt(0, content.data(), content.size());
    if (written >= 0 && written < static_cast<int64_t>(content.size())) {
        platform::SetLastError(platform::kDiskFull);
        return false;
    }
    return written >= 0 && file->Sync();
}

}  // namespace

bool ReadWholeFile(TextView path, uint64_t limit, std::string& content) {
    const auto file = FileHandle::Open(path, platform::kOpenRead | platform::kOpenFollowLink);
    uint64_t size = 0;
    if (!file || !file->GetSize(size)) {
        return false;
    }
    if (size > limit) {
        platform::SetLastError(platform::kFileTooLarge);
        return false;
    }
    content.resize(size);
    const int64_t read = file->ReadAt(0, content.data(), size);
    content.resize(read > 0 ? static_cast<size_t>(read) : 0);
    return read >= 0;
}

bool WriteWholeFile(TextView path, std::string_view content) {
    const TextView folder = FolderOf(path);
    if (!folder.empty() && !platform::CreateFolders(folder)) {
        return false;
    }
    const Text temporary = TemporaryName(path);
    platform::FileStatus old;
    if (WriteNewFile(temporary, content) &&
        (!platform::QueryStatus(path, old) || platform::CopyAccessRights(path, temporary)) &&
        platform::RenamePath(temporary, path, true)) {
        platform::SyncFolder(folder);
        return true;
    }
    const uint32_t error = platform::LastError();
    platform::RemoveFile(temporary);
    platform::SetLastError(error);
    return false;
}

}  // namespace rampart
