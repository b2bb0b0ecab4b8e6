#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "platform/posix/file_status.h"
#include "platform/posix/native.h"
#include "platform/posix/open_files.h"

namespace rampart::platform {
namespace {

bool IsDots(const char* name) {
    return name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0));
}

class PosixDirectoryReader : public DirectoryReader {
public:
    PosixDirectoryReader(DIR* directory, bool withStatus)
        : m_directory(directory), m_withStatus(withStatus) {}
    ~PosixDirectoryReader() override { closedir(m_directory); }

    bool Next(DirectoryEntry& entry) override {
        while (true) {
            errno = 0;
            const dirent* raw = readdir(m_directory);
            if (raw == nullptr) {
                SetLastError(errno == 0 ? static_cast<uint32_t>(kNoMoreItems) : ErrorOfErrno(errno));
                return false;
            }
            if (IsDots(raw->d_name)) {
                continue;
            }
            const std::string_view name = raw->d_name;
            if (!Describe(*raw, name, entry)) {
                continue;
            }
            entry.name = NameToEngine(name);
            return true;
        }
    }

private:
    // False for an entry that vanished since it was listed.
    bool Describe(const dirent& raw, std::string_view name, DirectoryEntry& entry) const {
        entry.status = {};
        entry.hasStatus = false;
        if (m_withStatus || raw.d_type == DT_UNKNOWN) {
            entry.hasStatus = ReadStatus(dirfd(m_directory), raw.d_name, name, entry.status);
            if (!entry.hasStatus) {
                FailWithErrno(errno);
                if (errno == ENOENT || errno == ENOTDIR) {
                    return false;
                }
            }
        }
        if (!entry.hasStatus) {
            entry.status.attributes = AttributesOfEntry(raw.d_type, name);
        }
        return true;
    }

    DIR* const m_directory;
    const bool m_withStatus;
};

}  // namespace

std::unique_ptr<DirectoryReader> ReaderOf(Descriptor fd, bool withStatus) {
    DIR* const directory = fdopendir(fd.Get());
    if (directory == nullptr) {
        return nullptr;
    }
    fd.Release();
    return std::make_unique<PosixDirectoryReader>(directory, withStatus);
}

std::unique_ptr<DirectoryReader> DirectoryReader::Open(TextView folder, bool withStatus) {
    const std::string native = ToNativePath(folder);
    if (native.empty()) {
        return nullptr;
    }
    Descriptor fd(
        Retry([&] { return open(native.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); }));
    auto reader = fd ? ReaderOf(std::move(fd), withStatus) : nullptr;
    if (!reader) {
        FailOnPath(errno, native);
    }
    return reader;
}

}  // namespace rampart::platform
