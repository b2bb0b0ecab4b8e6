#include "platform/memory_map.h"

#include <fcntl.h>
#include <sys/mman.h>

#include "platform/posix/native.h"

namespace rampart::platform {
namespace {

void* MapWithRoom(void* address, size_t size, int protection, int flags, int fd, off_t offset) {
    if ((protection & PROT_WRITE) != 0 && (flags & MAP_SHARED) != 0 && fd >= 0) {
        const int reserved = Retry([&] { return fallocate(fd, 0, offset, static_cast<off_t>(size)); });
        // A file system that cannot reserve is mapped as it is.
        if (reserved != 0 && errno != EOPNOTSUPP && errno != ENOSYS) {
            return MAP_FAILED;
        }
    }
    return mmap(address, size, protection, flags, fd, offset);
}

}  // namespace

SystemCall ReservingMemoryMap() {
    return reinterpret_cast<SystemCall>(&MapWithRoom);
}

}  // namespace rampart::platform
