#include <fcntl.h>
#include <grp.h>
#include <linux/fs.h>
#include <pwd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "platform/clock.h"
#include "platform/immortal.h"
#include "platform/posix/attributes_at.h"
#include "platform/posix/file_status.h"
#include "platform/posix/native.h"

namespace rampart::platform {
namespace {

constexpr uint32_t kKeptInodeFlags =
    STATX_ATTR_COMPRESSED | STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND | STATX_ATTR_NODUMP;
constexpr uint64_t kBlockBytes = 512;
constexpr size_t kNameBufferBytes = 16384;

// Names of users or groups by number, and back; each is looked up once.
template <typename Entry, auto ByNumber, auto ByName>
class NameTable {
public:
    std::string NameOf(uint32_t number) {
        std::lock_guard lock(m_mutex);
        const auto [found, isNew] = m_names.try_emplace(number);
        if (isNew) {
            Entry entry{};
            Entry* result = nullptr;
            if (ByNumber(number, &entry, m_buffer.data(), m_buffer.size(), &result) == 0 &&
                result != nullptr) {
                found->second = NameIn(entry);
            }
        }
        return found->second;
    }

    std::optional<uint32_t> NumberOf(const std::string& name) {
        if (name.empty()) {
            return std::nullopt;
        }
        std::lock_guard lock(m_mutex);
        const auto [found, isNew] = m_numbers.try_emplace(name);
        if (isNew) {
            Entry entry{};
            Entry* result = nullptr;
            if (ByName(name.c_str(), &entry, m_buffer.data(), m_buffer.size(), &result) == 0 &&
                result != nullptr) {
                found->second = NumberIn(entry);
            }
        }
        return found->second;
    }

private:
    static const char* NameIn(const passwd& entry) { return entry.pw_name; }
    static const char* NameIn(const group& entry) { return entry.gr_name; }
    static uint32_t NumberIn(const passwd& entry) { return entry.pw_uid; }
    static uint32_t NumberIn(const group& entry) { return entry.gr_gid; }

    std::mutex m_mutex;  // guards what follows
    std::unordered_map<uint32_t, std::string> m_names;
    std::unordered_map<std::string, std::optional<uint32_t>> m_numbers;
    std::array<char, kNameBufferBytes> m_buffer;
};

using UserTable = NameTable<passwd, getpwuid_r, getpwnam_r>;
using GroupTable = NameTable<group, getgrgid_r, getgrnam_r>;

UserTable& Users() {
    static Immortal<UserTable> table;
    return *table;
}

GroupTable& Groups() {
    static Immortal<GroupTable> table;
    return *table;
}

// Calls one of the system's functions that fill a buffer and answer the length, or what is needed when the
// buffer is empty. Nothing on a failure.
template <typename Call>
std::optional<std::string> ReadSized(const Call& call) {
    std::string bytes(256, '\0');
    while (true) {
        const ssize_t length = call(bytes.data(), bytes.size());
        if (length >= 0) {
            bytes.resize(static_cast<size_t>(length));
            return bytes;
        }
        const ssize_t needed = errno == ERANGE ? call(nullptr, 0) : -1;
        if (needed < 0) {
            return std::nullopt;
        }
        bytes.resize(static_cast<size_t>(needed) + 256);
    }
}

// One thing in the file system whose extended attributes are asked for: an open file, or a path.
struct Target {
    int fd = -1;
    const char* path = nullptr;

    ssize_t List(char* buffer, size_t size) const {
        return path != nullptr ? llistxattr(path, buffer, size) : flistxattr(fd, buffer, size);
    }
    ssize_t Get(const char* name, char* buffer, size_t size) const {
        return path != nullptr ? lgetxattr(path, name, buffer, size) : fgetxattr(fd, name, buffer, size);
    }
};

bool ReadExtended(const Target& target, Attributes& attributes) {
    const auto names = ReadSized([&](char* buffer, size_t size) { return target.List(buffer, size); });
    if (!names) {
        return errno == ENOTSUP;
    }
    for (size_t at = 0; at < names->size();) {
        const std::string name = names->c_str() + at;
        at += name.size() + 1;
        auto value =
            ReadSized([&](char* buffer, size_t size) { return target.Get(name.c_str(), buffer, size); });
        if (value) {
            attributes.extended.emplace_back(name, std::move(*value));
        } else if (errno != ENODATA && errno != EACCES && errno != EPERM && errno != ENOTSUP) {
            return false;
        }
    }
    return true;
}

std::string ReadFrom(int directory, const char* path, int flags, const Target& target) {
    struct statx raw;
    if (statx(directory, path, flags | AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_BASIC_STATS, &raw) != 0) {
        return {};
    }
    Attributes attributes;
    attributes.mode = raw.stx_mode;
    attributes.owner = raw.stx_uid;
    attributes.group = raw.stx_gid;
    attributes.ownerName = Users().NameOf(raw.stx_uid);
    attributes.groupName = Groups().NameOf(raw.stx_gid);
    attributes.inodeFlags = static_cast<uint32_t>(raw.stx_attributes & kKeptInodeFlags);
    if (S_ISCHR(raw.stx_mode) || S_ISBLK(raw.stx_mode)) {
        attributes.device = makedev(raw.stx_rdev_major, raw.stx_rdev_minor);
    }
    if (!S_ISDIR(raw.stx_mode) && raw.stx_nlink > 1) {
        attributes.linkVolume = makedev(raw.stx_dev_major, raw.stx_dev_minor);
        attributes.linkFile = raw.stx_ino;
    }
    attributes.isMountRoot = S_ISDIR(raw.stx_mode) && (raw.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
    if (!FitsNanoseconds(raw.stx_mtime.tv_sec)) {
        attributes.farWriteSeconds = raw.stx_mtime.tv_sec;
        attributes.farWriteNanoseconds = raw.stx_mtime.tv_nsec;
    }
    attributes.isSparse = S_ISREG(raw.stx_mode) && raw.stx_blocks * kBlockBytes < raw.stx_size;
    return ReadExtended(target, attributes) ? EncodeAttributes(attributes) : std::string();
}

// ---- Applying ----

class Applying {
public:
    Applying(int directory, const char* name, const Attributes& attributes, const ApplyOptions& options,
             std::vector<std::string>& missed)
        : m_directory(directory),
          m_name(name),
          m_attributes(attributes),
          m_options(options),
          m_missed(missed) {}

    void Run() {
        struct stat status;
        if (fstatat(m_directory, m_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
            Miss("attributes");
            return;
        }
        m_mode = status.st_mode;
        if (S_ISREG(m_mode) || S_ISDIR(m_mode)) {
            m_file = Descriptor(Retry([&] {
                return openat(m_directory, m_name,
                              O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC |
                                  (S_ISDIR(m_mode) ? O_DIRECTORY : 0));
            }));
        }
        if (m_attributes.system == Attributes::kPosix && m_attributes.mode != 0) {
            SetOwner(status);
            DropInheritedLists();
            SetMode(status);
            SetExtended();
        }
        SetTime();
        SetInodeFlags();
    }

private:
    void Miss(const std::string& what) { m_missed.push_back(what); }

    void SetOwner(const struct stat& status) {
        if (!m_options.owner) {
            return;
        }
        const uid_t owner = OwnerNumber(m_attributes);
        const gid_t group = GroupNumber(m_attributes);
        m_isOwners = true;
        if (status.st_uid == owner && status.st_gid == group) {
            return;
        }
        if (fchownat(m_directory, m_name, owner, group, AT_SYMLINK_NOFOLLOW) != 0) {
            m_isOwners = false;
            Miss("owner");
        }
    }

    void SetMode(const struct stat& status) {
        if (S_ISLNK(m_mode)) {
            return;
        }
        mode_t mode = m_attributes.mode & 07777;
        if (!m_isOwners && !S_ISDIR(m_mode)) {
            mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);  // the rights of somebody else
        }
        if (mode == (status.st_mode & 07777) && !m_isOwners) {
            return;
        }
        const int result = m_file ? fchmod(m_file.Get(), mode) : fchmodat(m_directory, m_name, mode, 0);
        if (result != 0) {
            Miss("permissions");
        }
    }

    void SetExtended() {
        for (const auto& [name, value] : m_attributes.extended) {
            // What has no descriptor here is a link or a device, whose attributes only root's programs use.
            const int result = m_file ? fsetxattr(m_file.Get(), name.c_str(), value.data(), value.size(), 0)
                                      : SetExtendedByPath(name, value);
            if (result != 0) {
                Miss("extended attribute " + name);
            }
        }
    }

    // A list that the file took over from its new folder is not its own.
    void DropInheritedLists() const {
        for (const char* const name : {"system.posix_acl_access", "system.posix_acl_default"}) {
            const bool isRecorded = std::any_of(m_attributes.extended.begin(), m_attributes.extended.end(),
                                                [&](const auto& pair) { return pair.first == name; });
            if (!isRecorded && m_file &&
                (S_ISDIR(m_mode) || name != std::string_view("system.posix_acl_default"))) {
                fremovexattr(m_file.Get(), name);
            }
        }
    }

    int SetExtendedByPath(const std::string& name, const std::string& value) const {
        const std::string path = m_directory == AT_FDCWD
                                     ? std::string(m_name)
                                     : "/proc/self/fd/" + std::to_string(m_directory) + "/" + m_name;
        return lsetxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0);
    }

    void SetTime() {
        if (m_options.writeTime == INT64_MIN) {
            return;
        }
        const int64_t time = m_options.writeTime;
        const int64_t seconds = time / kNanosecondsPerSecond - (time % kNanosecondsPerSecond < 0 ? 1 : 0);
        timespec times[2] = {{0, UTIME_OMIT},
                             {seconds, static_cast<long>(time - seconds * kNanosecondsPerSecond)}};
        // What such a time became on its way here is near the end of what 64 bits hold.
        constexpr int64_t kNearEnd = INT64_MAX - 86400 * kNanosecondsPerSecond;
        if (m_attributes.farWriteSeconds != 0 && (time > kNearEnd || time < -kNearEnd)) {
            times[1] = {m_attributes.farWriteSeconds, static_cast<long>(m_attributes.farWriteNanoseconds)};
        }
        if (utimensat(m_directory, m_name, times, AT_SYMLINK_NOFOLLOW) != 0) {
            Miss("last-write time");
        }
    }

    void SetInodeFlags() {
        if (m_attributes.system != Attributes::kPosix || m_attributes.inodeFlags == 0 || !m_file) {
            return;
        }
        int flags = 0;
        if (ioctl(m_file.Get(), FS_IOC_GETFLAGS, &flags) != 0) {
            Miss("flags");
            return;
        }
        const int wanted = flags | static_cast<int>(m_attributes.inodeFlags & kKeptInodeFlags);
        if (wanted != flags && ioctl(m_file.Get(), FS_IOC_SETFLAGS, &wanted) != 0) {
            Miss("flags");
        }
    }

    const int m_directory;
    const char* const m_name;
    const Attributes& m_attributes;
    const ApplyOptions& m_options;
    std::vector<std::string>& m_missed;
    mode_t m_mode = 0;
    bool m_isOwners = false;  // the file is its recorded owner's
    Descriptor m_file;
};

}  // namespace

uint32_t OwnerNumber(const Attributes& attributes) {
    return Users().NumberOf(attributes.ownerName).value_or(attributes.owner);
}

uint32_t GroupNumber(const Attributes& attributes) {
    return Groups().NumberOf(attributes.groupName).value_or(attributes.group);
}

std::string ReadAttributes(int fd) {
    return ReadFrom(fd, "", AT_EMPTY_PATH, {fd, nullptr});
}

std::string ReadAttributes(TextView path) {
    const std::string native = ToNativePath(path);
    if (native.empty()) {
        return {};
    }
    std::string bytes = ReadFrom(AT_FDCWD, native.c_str(), 0, {-1, native.c_str()});
    if (bytes.empty()) {
        FailOnPath(errno, native);
    }
    return bytes;
}

bool ApplyAttributesAt(int directory, const char* name, std::string_view bytes, const ApplyOptions& options,
                       std::vector<std::string>& missed) {
    Attributes attributes;
    const size_t before = missed.size();
    if (!bytes.empty() && !DecodeAttributes(bytes, attributes)) {
        missed.emplace_back("attributes of a later form");
    }
    Applying(directory, name, attributes, options, missed).Run();
    return missed.size() == before;
}

bool ApplyAttributes(TextView path, std::string_view bytes, const ApplyOptions& options,
                     std::vector<std::string>& missed) {
    const std::string native = ToNativePath(path);
    if (native.empty()) {
        missed.emplace_back("attributes");
        return false;
    }
    return ApplyAttributesAt(AT_FDCWD, native.c_str(), bytes, options, missed);
}

}  // namespace rampart::platform
