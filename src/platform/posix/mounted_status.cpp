#include "platform/posix/mounted_status.h"

#include <unistd.h>

#include "platform/posix/attributes_at.h"

namespace rampart::platform {
namespace {

constexpr int64_t kNanoseconds = 1'000'000'000;
constexpr uint64_t kStatBlock = 512;

timespec TimeOf(int64_t nanoseconds) {
    const int64_t rest = (nanoseconds % kNanoseconds + kNanoseconds) % kNanoseconds;
    return {(nanoseconds - rest) / kNanoseconds, rest};
}

mode_t KindOf(MountedStatus::Kind kind) {
    switch (kind) {
        case MountedStatus::Kind::kFolder:
            return S_IFDIR;
        case MountedStatus::Kind::kLink:
            return S_IFLNK;
        case MountedStatus::Kind::kSpecial:
            return S_IFIFO;
        default:
            return S_IFREG;
    }
}

mode_t OwnRights(MountedStatus::Kind kind) {
    return kind == MountedStatus::Kind::kLink ? 0777 : kind == MountedStatus::Kind::kFolder ? 0700 : 0600;
}

}  // namespace

struct stat StatOf(const MountedStatus& status) {
    struct stat result {};
    result.st_mode = KindOf(status.kind) | OwnRights(status.kind);
    result.st_nlink = 1;
    result.st_uid = geteuid();
    result.st_gid = getegid();
    result.st_size = static_cast<off_t>(status.size);
    result.st_blksize = kMountedBlockBytes;
    result.st_blocks = static_cast<blkcnt_t>((status.size + kStatBlock - 1) / kStatBlock);
    result.st_mtim = result.st_atim = TimeOf(status.writeTime);
    result.st_ctim = TimeOf(status.changeTime);
    const Attributes* const kept = status.attributes.get();
    if (kept != nullptr && kept->system == Attributes::kPosix && kept->mode != 0) {
        const bool isSpecial = status.kind == MountedStatus::Kind::kSpecial;
        result.st_mode = (isSpecial ? kept->mode & S_IFMT : KindOf(status.kind)) | (kept->mode & 07777);
        result.st_uid = OwnerNumber(*kept);
        result.st_gid = GroupNumber(*kept);
        result.st_rdev = isSpecial ? kept->device : 0;
        if (kept->farWriteSeconds != 0) {
            result.st_mtim = {kept->farWriteSeconds, kept->farWriteNanoseconds};
        }
    }
    return result;
}

}  // namespace rampart::platform
